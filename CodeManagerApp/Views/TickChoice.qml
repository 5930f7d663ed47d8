import QtQuick

// A tick box with a text of its own, which the keyboard reaches. Shows what it is told and asks to be toggled.
FocusScope {
    id: root

    required property string text
    property bool ticked: false

    signal toggleRequested

    implicitWidth: box.implicitWidth + Theme.spacing.tiny + words.implicitWidth + Theme.spacing.tiny
    implicitHeight: Theme.size.controlHeight
    activeFocusOnTab: true
    Accessible.role: Accessible.CheckBox
    Accessible.name: root.text
    Accessible.checkable: true
    Accessible.checked: root.ticked
    Accessible.focusable: true
    Accessible.focused: root.activeFocus
    Accessible.onPressAction: root.toggleRequested()
    Accessible.onToggleAction: root.toggleRequested()
    Keys.onSpacePressed: root.toggleRequested()

    TickBox {
        id: box

        name: root.text
        ticked: root.ticked ? Qt.Checked : Qt.Unchecked
        Accessible.ignored: true
    }

    Words {
        id: words

        anchors.left: box.right
        anchors.leftMargin: Theme.spacing.tiny
        anchors.verticalCenter: parent.verticalCenter
        text: root.text
        Accessible.ignored: true
    }

    MouseArea {
        anchors.fill: parent
        onClicked: root.toggleRequested()
    }

    FocusRing {
        gap: 0
        shown: root.activeFocus
    }
}
