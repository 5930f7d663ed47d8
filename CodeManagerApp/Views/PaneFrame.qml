import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// What every pane is made of: a head, and below it a column that scrolls when it is longer than the window.
Item {
    id: root

    required property string title
    property bool busy: false
    property bool refreshable: false
    property bool fills: false // takes all the height there is; otherwise what it needs
    default property alias content: column.data

    signal refresh

    PaneHeader {
        id: header

        width: parent.width
        title: root.title
        busy: root.busy
        refreshable: root.refreshable
        onRefresh: root.refresh()
    }

    Flickable {
        id: scroll

        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        width: parent.width
        clip: true
        contentWidth: width
        contentHeight: Math.max(height, column.implicitHeight + 2 * column.y)
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        T.ScrollBar.vertical: ThinScrollBar {}

        ColumnLayout {
            id: column

            x: Theme.spacing.huge
            y: Theme.spacing.large + 2
            width: scroll.width - 2 * x
            height: root.fills ? Math.max(implicitHeight, scroll.height - 2 * y) : implicitHeight
            spacing: Theme.spacing.large
        }
    }
}
