import QtQuick

// A word about what stands beside it.
Rectangle {
    id: root

    required property string text

    implicitWidth: word.implicitWidth + 2 * Theme.spacing.small
    implicitHeight: word.implicitHeight + 4
    radius: height / 2
    color: Theme.color.controlPressed

    Words {
        id: word

        anchors.centerIn: parent
        text: root.text
        font: Theme.font.caption
        color: Theme.color.secondary
        Accessible.ignored: true
    }
}
