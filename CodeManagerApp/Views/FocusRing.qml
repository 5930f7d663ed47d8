import QtQuick

// Shows which control the keyboard is on.
Rectangle {
    id: root

    property bool shown: false
    property int gap: 2
    property color ink: Theme.color.accent

    visible: root.shown
    anchors.fill: parent
    anchors.margins: -root.gap
    radius: Theme.radius.control + root.gap
    color: "transparent"
    border.width: 2
    border.color: root.ink
    Accessible.ignored: true
}
