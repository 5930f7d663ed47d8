import QtQuick
import CodeManager

// How far an operation is, between a pane's head and what the pane shows.
Rectangle {
    id: root

    required property Progress progress

    implicitHeight: line.implicitHeight + 2 * Theme.spacing.small
    color: Theme.color.header

    ProgressLine {
        id: line

        anchors.verticalCenter: parent.verticalCenter
        x: Theme.spacing.huge
        width: parent.width - 2 * x
        progress: root.progress
    }

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.color.cardBorder
    }
}
