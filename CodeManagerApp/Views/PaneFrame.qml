import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// A pane whose content is a column that scrolls when it is longer than the window.
PaneBase {
    id: root

    property bool fills: false // takes all the height there is; otherwise what it needs
    default property alias content: column.data

    Flickable {
        id: scroll

        anchors.fill: parent
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
