pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T

// What a control does, or why it cannot, shown while the pointer rests on its parent.
Item {
    id: root

    property string text: ""
    property T.ToolTip shown: null

    readonly property bool wanted: hover.hovered && root.text !== ""

    anchors.fill: parent
    Accessible.ignored: true
    onWantedChanged: {
        if (!root.wanted)
            root.hide();
    }

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
            root.shown = popup.createObject(root);
        }
    }

    Component {
        id: popup

        T.ToolTip {
            id: tip

            visible: true
            y: root.height + Theme.spacing.tiny
            x: Math.round((root.width - implicitWidth) / 2)
            implicitWidth: Math.min(contentItem.implicitWidth, 320) + leftPadding + rightPadding
            implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
            margins: Theme.spacing.small
            padding: 6
            leftPadding: Theme.spacing.small
            rightPadding: Theme.spacing.small
            closePolicy: T.Popup.NoAutoClose
            text: root.text
            contentItem: Words {
                text: tip.text
                color: Theme.color.hintText
                font: Theme.font.caption
                wrapMode: Text.Wrap
            }
            background: Rectangle {
                radius: Theme.radius.control
                color: Theme.color.hintBackground
            }
        }
    }
}
