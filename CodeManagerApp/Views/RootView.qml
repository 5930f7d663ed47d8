pragma ComponentBehavior: Bound

import QtQuick
import CodeManager

// The window's content: the panes' names on the left, the chosen pane on the right.
FocusScope {
    id: root

    required property ManagerModel model

    Sidebar {
        id: sidebar

        width: Theme.size.sidebarWidth
        height: parent.height
        focus: true
        model: root.model
    }

    Loader {
        id: pane

        anchors.left: sidebar.right
        anchors.right: parent.right
        height: parent.height
        Component.onCompleted: root.load()
    }

    // A view is made with its model, which it requires. The keyboard does not go with the view that it was on.
    function load() {
        const left = pane.activeFocus;
        pane.setSource(root.model.panes[root.model.section].title + "View.qml", {
            "model": root.model
        });
        if (left)
            sidebar.choose(root.model.section);
    }

    Connections {
        target: root.model

        function onSectionChanged() {
            root.load();
        }
    }

    Repeater {
        model: root.model.panes.length

        Item {
            id: key

            required property int index

            Shortcut {
                sequence: "Ctrl+" + (key.index + 1)
                onActivated: root.model.section = key.index
            }
        }
    }

    Shortcut {
        sequences: ["Ctrl+R", "F5"]
        onActivated: {
            const shown = pane.item as PaneBase;
            if (shown?.refreshable)
                shown.refresh();
        }
    }
}
