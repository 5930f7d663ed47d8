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

    // Made when it is needed: most panes are left before it is.
    Loader {
        id: running

        anchors.top: header.bottom
        width: parent.width
        height: active ? implicitHeight : 0
        active: root.model.progress.shown && !root.placesProgress
        Component.onCompleted: setSource("ProgressStrip.qml", {
            "progress": root.model.progress
        })
    }

    Item {
        id: body

        anchors.top: running.bottom
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
