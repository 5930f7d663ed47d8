import QtQuick
import QtQuick.Templates as T

T.ScrollBar {
    id: root

    implicitWidth: 10
    implicitHeight: 10
    padding: 2
    minimumSize: 0.06
    visible: root.policy !== T.ScrollBar.AlwaysOff && root.size < 1
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        implicitHeight: 6
        radius: 3
        color: root.pressed || root.hovered ? Theme.color.caption : Theme.color.scrollBar
        opacity: root.active || root.hovered ? 1 : 0.6
    }
}
