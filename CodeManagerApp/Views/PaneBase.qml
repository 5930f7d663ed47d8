import QtQuick

// What every pane is: a head, and below it what the pane shows.
Item {
    id: root

    required property string title
    property string symbol: ""
    property bool busy: false
    property bool refreshable: false
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

    Item {
        id: body

        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        width: parent.width
    }
}
