pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// The product's health, as the last snapshot tells it.
PaneFrame {
    id: root

    title: "Overview"
    busy: root.model.refreshing
    refreshable: true
    onRefresh: root.model.requestRefresh()

    Card {
        Layout.fillWidth: true

        Repeater {
            model: root.model.overviewRows.length

            StatRow {
                required property int index
                readonly property statRowValue row: root.model.overviewRows[index]

                label: row.label
                value: row.value
                good: row.good
                separated: index > 0
                Layout.fillWidth: true
            }
        }
    }

    SpacePicture {
        visible: root.model.spaceShares.length > 0
        shares: root.model.spaceShares
        total: root.model.spaceTotal
        Layout.fillWidth: true
    }
}
