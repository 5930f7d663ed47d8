import QtQuick
import CodeManager

// What every pane is: a head, below it how far a running operation is, then what the pane shows.
Item {
    id: root

    required property ManagerModel model
    required property string title
    property string symbol: ""
    property bool busy: false
    property bool refreshable: false
    property bool placesProgress: false // the pane has a place of its own for it
    property alias extras: header.extras
    default property alias body: body.data

    signal refresh

    PaneHeader {
        id: header

        width: parent.width
        title: root.title
        symbol: root.symbol
        busy: root.busy
        refreshable: root.refreshable
        onRefresh: root.refresh()
    }

    Rectangle {
        id: running

        anchors.top: header.bottom
        width: parent.width
        height: visible ? line.implicitHeight + 2 * Theme.spacing.small : 0
        visible: line.visible
        color: Theme.color.header

        ProgressLine {
            id: line

            anchors.verticalCenter: parent.verticalCenter
            x: Theme.spacing.huge
            width: parent.width - 2 * x
            progress: root.model.progress
            visible: root.model.progress.shown && !root.placesProgress
        }

        Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 1
            color: Theme.color.cardBorder
        }
    }

    Item {
        id: body

        anchors.top: running.bottom
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
