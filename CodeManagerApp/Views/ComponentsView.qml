pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import CodeManager

// What the product put on disk, by category: tick it, and move it to the Trash.
PaneBase {
    id: root

    // Something of this pane was said in the console.
    property bool told: false

    title: "Components"
    busy: root.model.scanning || root.model.busy
    refreshable: true
    onRefresh: root.model.requestScan()
    Component.onCompleted: {
        root.model.components.filter = "";
        root.model.requestScan();
    }

    extras: FilterField {
        id: filter

        visible: !root.model.nothingFound
        hint: "Filter"
        onTextChanged: root.model.components.filter = text

        Shortcut {
            sequence: "Ctrl+F"
            onActivated: filter.forceActiveFocus(Qt.ShortcutFocusReason)
        }
    }

    CenterNote {
        anchors.fill: parent
        visible: root.model.nothingFound && root.model.scanned
        symbol: "checkmark.seal"
        text: root.model.nothingInstalledText
    }

    CenterNote {
        anchors.fill: parent
        visible: root.model.nothingFound && !root.model.scanned
        symbol: "magnifyingglass"
        text: "Reading the disk…"
    }

    CenterNote {
        anchors.fill: list
        visible: !root.model.nothingFound && list.count === 0
        symbol: "magnifyingglass"
        text: "No item holds “" + filter.text + "” in its name or path."
    }

    ListView {
        id: list

        readonly property int page: Math.max(1, Math.floor(list.height / Theme.size.itemHeight) - 1) // in rows

        anchors.top: parent.top
        anchors.bottom: output.visible ? output.top : totals.top
        anchors.bottomMargin: output.visible ? Theme.spacing.medium : 0
        width: parent.width
        visible: !root.model.nothingFound
        clip: true
        model: root.model.components
        topMargin: Theme.spacing.large + 2
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: true
        cacheBuffer: 400
        activeFocusOnTab: true
        keyNavigationEnabled: true
        highlightMoveDuration: 0
        Accessible.role: Accessible.List
        Accessible.name: "Found items"
        T.ScrollBar.vertical: ThinScrollBar {}
        Keys.onSpacePressed: root.model.components.toggle(list.currentIndex)
        Keys.onLeftPressed: list.close(true)
        Keys.onRightPressed: list.close(false)
        Keys.onReturnPressed: root.model.components.reveal(list.currentIndex)
        Keys.onPressed: event => {
            event.accepted = true;
            if (event.matches(StandardKey.Copy))
                root.model.components.copyPath(list.currentIndex);
            else if (event.key === Qt.Key_PageDown)
                list.go(list.currentIndex + list.page);
            else if (event.key === Qt.Key_PageUp)
                list.go(list.currentIndex - list.page);
            else if (event.key === Qt.Key_Home)
                list.go(0);
            else if (event.key === Qt.Key_End)
                list.go(list.count - 1);
            else
                event.accepted = false;
        }

        function go(row: int) {
            list.currentIndex = Math.max(0, Math.min(list.count - 1, row));
        }

        function close(wanted: bool) {
            const section = root.model.components.sectionRow(list.currentIndex);
            const row = list.itemAtIndex(section) as ItemRow;
            if (row !== null && row.isExpanded === wanted) {
                list.currentIndex = section;
                root.model.components.toggleExpanded(section);
            }
        }

        delegate: ItemRow {
            required property int index

            width: list.width
            current: list.activeFocus && ListView.isCurrentItem
            onToggled: root.model.components.toggle(index)
            onExpansionToggled: root.model.components.toggleExpanded(index)
            onCopied: root.model.components.copyPath(index)
            onRevealed: {
                root.told = true;
                root.model.components.reveal(index);
            }
            onChosen: {
                list.currentIndex = index;
                list.forceActiveFocus(Qt.MouseFocusReason);
            }
        }
    }

    ConsoleView {
        id: output

        anchors.bottom: totals.top
        anchors.bottomMargin: Theme.spacing.medium
        x: Theme.spacing.huge
        width: parent.width - 2 * x
        height: Math.min(implicitHeight, 120)
        visible: root.told && root.model.console !== ""
        text: root.model.console
    }

    TotalsBar {
        id: totals

        anchors.bottom: parent.bottom
        width: parent.width
        visible: !root.model.nothingFound
        model: root.model
        onMoving: root.told = true
    }
}
