import QtQuick
import QtQuick.Templates as T

T.ScrollBar {
    id: root

    implicitWidth: 10
    implicitHeight: 10
    padding: root.pressed || root.hovered ? 2 : 3
    minimumSize: 0.06
    visible: root.policy !== T.ScrollBar.AlwaysOff && root.size < 1
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 4
        implicitHeight: 4
        radius: 3
        color: root.pressed || root.hovered ? Theme.color.caption : Theme.color.scrollBar
    }
}
