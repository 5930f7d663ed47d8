import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// A pane whose content is a column that scrolls when it is longer than the window.
PaneBase {
    id: root

    property bool wide: false // as the window is, though lines get long
    property bool fills: false // takes all the height there is; otherwise what it needs
    default property alias content: column.data
    readonly property Item reached: root.Window.activeFocusItem

    onReachedChanged: scroll.reveal(root.reached)

    Flickable {
        id: scroll

        anchors.fill: parent
        clip: true
        contentWidth: width
        contentHeight: Math.max(height, column.implicitHeight + 2 * column.y)
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        T.ScrollBar.vertical: ThinScrollBar {}

        // Scrolls to where the keyboard is, or to the list or console that it is in. Text that is partly seen may have
        // been clicked, and stays under the pointer.
        function reveal(item: Item) {
            let part = item;
            let above = item;
            while (above !== null && above !== column) {
                if (above.clip)
                    part = above;
                above = above.parent;
            }
            if (above === null)
                return;
            const top = part.mapToItem(column, 0, 0).y;
            const bottom = top + part.height + 2 * column.y;
            const seen = top < scroll.contentY + scroll.height && bottom > scroll.contentY;
            if (seen && item instanceof TextEdit)
                return;
            if (bottom > scroll.contentY + scroll.height)
                scroll.contentY = Math.min(bottom, scroll.contentHeight) - scroll.height;
            if (top < scroll.contentY)
                scroll.contentY = Math.max(0, top);
        }

        ColumnLayout {
            id: column

            x: Theme.spacing.huge
            y: Theme.spacing.large + 2
            width: Math.min(scroll.width - 2 * x, root.wide ? Infinity : Theme.size.columnWidth)
            height: root.fills ? Math.max(implicitHeight, scroll.height - 2 * y) : implicitHeight
            spacing: Theme.spacing.large
        }
    }
}
