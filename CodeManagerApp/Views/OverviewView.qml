pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// The product's health, as the last snapshot tells it, and what a check has found.
PaneFrame {
    id: root

    title: "Overview"
    busy: root.model.refreshing || root.model.checking
    refreshable: true
    onRefresh: root.model.requestRefresh()
    extras: ActionButton {
        id: check

        text: "Check"
        onActivated: root.model.requestCheck()
    }

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

    // Made when it is needed: the pane is shown first of all. The keyboard goes back to where the check came from.
    Loader {
        id: found

        active: root.model.findingRows.length > 0
        visible: active
        Layout.fillWidth: true
        Component.onCompleted: setSource("CheckCard.qml", {
            "model": root.model
        })
    }

    Connections {
        target: found.item as CheckCard

        function onClosed() {
            check.forceActiveFocus(Qt.TabFocusReason);
            root.model.requestCloseCheck();
        }
    }
}
