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

        // What the keyboard has come to is seen. Text takes the focus under the pointer, and stays where it is.
        function follow(item: Item): void {
            let holder = item;
            while (holder && holder !== column)
                holder = holder.parent;
            if (!holder || item instanceof TextEdit)
                return;
            const top = item.mapToItem(scroll.contentItem, 0, 0).y - Theme.spacing.medium;
            const bottom = top + item.height + 2 * Theme.spacing.medium;
            const wanted = Math.min(top, Math.max(scroll.contentY, bottom - scroll.height));
            scroll.contentY = Math.max(0, Math.min(wanted, scroll.contentHeight - scroll.height));
        }

        Connections {
            target: root.Window.window

            function onActiveFocusItemChanged() {
                scroll.follow(root.Window.window?.activeFocusItem ?? null);
            }
        }

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
