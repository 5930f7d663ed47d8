pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import CodeManager

// The databases that the product can use.
PaneFrame {
    id: root

    readonly property bool empty: root.model.databaseRows.length === 0

    title: "Databases"
    busy: root.model.busy
    refreshable: true
    fills: true
    wide: root.empty
    onRefresh: root.model.requestDatabases()
    Component.onCompleted: root.model.requestDatabases()

    CenterNote {
        visible: root.empty && root.model.databasesLoaded
        symbol: "cylinder.split.1x2"
        text: "No database descriptors found."
        Layout.fillWidth: true
        Layout.fillHeight: true
    }

    Card {
        visible: !root.empty
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: Math.min(implicitHeight, 190)
        Layout.preferredHeight: Layout.minimumHeight
        Layout.maximumHeight: implicitHeight

        ListView {
            id: list

            clip: true
            implicitHeight: contentHeight
            model: root.model.databaseRows.length
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: "Databases"
            Layout.fillWidth: true
            Layout.fillHeight: true
            T.ScrollBar.vertical: ThinScrollBar {}

            delegate: DatabaseRow {
                required property int index

                width: list.width
                database: root.model.databaseRows[index]
                separated: index > 0
                reason: root.model.reasonAgainstOperations
                onActivated: root.model.requestDatabase(index)
                onReached: list.positionViewAtIndex(index, ListView.Contain)
            }
        }
    }

    ConsoleView {
        text: root.model.console
    }

    Item {
        visible: !root.empty
        Layout.fillHeight: true
    }
}
