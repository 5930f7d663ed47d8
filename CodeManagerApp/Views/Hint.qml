pragma ComponentBehavior: Bound

import QtQuick

// What a control does, or why it cannot, shown while the pointer rests on its parent or the keyboard is there. What it
// covers can be clicked all the same.
Item {
    id: root

    property string text: ""
    property bool focused: false
    property Item shown: null

    readonly property bool wanted: (hover.hovered || root.focused) && root.text !== ""

    anchors.fill: parent
    Accessible.ignored: true
    onWantedChanged: {
        if (!root.wanted)
            root.hide();
    }
    Component.onDestruction: root.hide()

    function hide() {
        root.shown?.destroy();
        root.shown = null;
    }

    HoverHandler {
        id: hover
    }

    Timer {
        interval: 600
        running: root.wanted
        onTriggered: {
            root.hide();
            root.shown = box.createObject(root.Window.contentItem) as Item;
        }
    }

    Component {
        id: box

        Rectangle {
            id: tip

            readonly property int edge: Theme.spacing.small // that it keeps from the window's
            readonly property point over: root.mapToItem(tip.parent, 0, 0)
            readonly property real below: tip.over.y + root.height + Theme.spacing.tiny
            readonly property bool fits: tip.below + tip.height + tip.edge <= (tip.parent?.height ?? 0)

            x: Math.round(Math.max(tip.edge, Math.min(tip.over.x + (root.width - tip.width) / 2, (tip.parent?.width ?? 0) - tip.width - tip.edge)))
            y: Math.round(tip.fits ? tip.below : tip.over.y - tip.height - Theme.spacing.tiny)
            z: 1000
            width: words.width + 2 * words.x
            height: words.height + 2 * words.y
            radius: Theme.radius.control
            color: Theme.color.hintBackground
            Accessible.role: Accessible.ToolTip
            Accessible.name: root.text

            Words {
                id: words

                x: Theme.spacing.small
                y: 6
                width: Math.min(Math.ceil(implicitWidth), 320 * Theme.grown)
                text: root.text
                color: Theme.color.hintText
                font: Theme.font.caption
                wrapMode: Text.Wrap
                Accessible.ignored: true
            }
        }
    }
}
