import QtQuick

// Something is under way. Turns, or stands still where the desktop asks for less motion.
Item {
    id: root

    property bool running: false

    implicitWidth: Theme.size.symbol
    implicitHeight: Theme.size.symbol
    visible: root.running
    Accessible.role: Accessible.Animation
    Accessible.name: "Working"

    Symbol {
        anchors.centerIn: parent
        name: Theme.fade > 0 ? "arrow.clockwise" : "hourglass"

        RotationAnimator on rotation {
            running: root.visible && Theme.fade > 0
            from: 0
            to: 360
            duration: 1000
            loops: Animation.Infinite
        }
    }
}
