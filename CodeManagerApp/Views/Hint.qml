pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T

// What a control does, or why it cannot, shown while the pointer rests on its parent.
Item {
    id: root

    property string text: ""

    anchors.fill: parent
    Accessible.ignored: true

    HoverHandler {
        id: hover
    }

    Timer {
        id: rest

        interval: 600
        running: hover.hovered && root.text !== ""
    }

    Loader {
        active: hover.hovered && !rest.running && root.text !== ""
        sourceComponent: T.ToolTip {
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
