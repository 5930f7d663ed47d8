pragma ComponentBehavior: Bound

import QtQuick
import CodeManager

// The window's content: the panes' names on the left, the chosen pane on the right.
FocusScope {
    id: root

    required property ManagerModel model

    readonly property Item reached: root.Window.activeFocusItem
    property bool refreshDue: false
    property Item last: null // where the keyboard was last that is something to be on
    // What the keyboard was on can no longer be used, or is gone; what runs may still bring it back.
    readonly property bool waiting: root.model.operationRuns || root.model.refreshing || root.model.scanning
    readonly property bool lost: !root.waiting && (root.reached instanceof Loader || (root.reached as ActionButton)?.stranded === true)

    onReachedChanged: {
        if (root.reached !== null && !(root.reached instanceof Loader))
            root.last = root.reached;
    }
    onLostChanged: {
        if (root.lost)
            soon.restart();
    }

    // Not amid the change that took its place.
    Timer {
        id: soon

        interval: 0
        onTriggered: root.goOn()
    }

    Sidebar {
        id: sidebar

        width: Theme.size.sidebarWidth
        height: parent.height
        focus: true
        model: root.model
    }

    PaneStage {
        id: stage

        objectName: "stage"
        anchors.left: sidebar.right
        anchors.right: parent.right
        height: parent.height
        onLeaving: root.keepKeyboard()
        onChangingChanged: {
            if (!stage.changing && root.refreshDue)
                root.refresh();
        }
        Component.onCompleted: root.load()
    }

    // A view is made with its model, which it requires.
    function load() {
        root.keepKeyboard();
        stage.show(root.model.panes[root.model.section].title + "View.qml", {
            "model": root.model
        });
    }

    // The keyboard does not go with the view that it was on.
    function keepKeyboard() {
        if (stage.front.activeFocus)
            sidebar.choose(root.model.section);
    }

    // A refresh during a pane switch applies to the new pane.
    function refresh() {
        const shown = stage.pane as PaneBase;
        root.refreshDue = stage.changing;
        if (!stage.changing && shown?.refreshable)
            shown.refresh();
    }

    // The keyboard goes to the nearest of the buttons beside, to what surrounds what is gone, or to what comes next.
    function goOn() {
        if (!root.lost)
            return;
        const button = root.reached as ActionButton;
        const next = button !== null ? root.nearest(button) : root.around(root.last);
        const reason = button !== null && !button.byKeyboard ? Qt.OtherFocusReason : Qt.TabFocusReason;
        (next ?? root.reached.nextItemInFocusChain(true))?.forceActiveFocus(reason);
    }

    function nearest(button: Item): Item {
        let found = null;
        let distance = Infinity;
        const beside = button.parent.children;
        for (let index = 0; index < beside.length; index++) {
            const other = beside[index] as ActionButton;
            if (other === null || !other.visible || other.reason !== "" || other.kind === ActionButton.Destructive)
                continue;
            const away = Math.abs(other.x - button.x) + Math.abs(other.y - button.y);
            if (away < distance) {
                found = other;
                distance = away;
            }
        }
        return found;
    }

    function around(item: Item): Item {
        let above = item;
        while (above !== null && !(above.activeFocusOnTab && above.visible && above.enabled))
            above = above.parent;
        return above;
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
        onActivated: root.refresh()
    }
}
