import QtQuick

// A tick box that shows what it is told and asks to be toggled; it changes nothing by itself. The keyboard reaches one
// with a label; one without is reached through the row that it is on.
FocusScope {
    id: root

    property string label: ""
    property string name: root.label
    property int ticked: Qt.Unchecked

    signal toggleRequested

    implicitWidth: box.width + 2 * Theme.spacing.tiny + (words.visible ? words.implicitWidth + Theme.spacing.small : 0)
    implicitHeight: Theme.size.controlHeight
    activeFocusOnTab: root.label !== ""
    Accessible.role: Accessible.CheckBox
    Accessible.name: root.name
    Accessible.checkable: true
    Accessible.checked: root.ticked === Qt.Checked
    Accessible.checkStateMixed: root.ticked === Qt.PartiallyChecked
    Accessible.focusable: root.activeFocusOnTab
    Accessible.focused: root.activeFocus
    Accessible.onPressAction: root.toggleRequested()
    Accessible.onToggleAction: root.toggleRequested()
    Keys.onSpacePressed: root.toggleRequested()

    Symbol {
        id: box

        anchors.verticalCenter: parent.verticalCenter
        x: Theme.spacing.tiny
        name: root.ticked === Qt.Checked ? "checkmark.square.fill" : root.ticked === Qt.PartiallyChecked ? "minus.square.fill" : "square"
        color: root.ticked === Qt.Unchecked ? Theme.color.disabledText : Theme.color.accent
        size: Math.round(18 * Theme.grown)
    }

    Words {
        id: words

        visible: root.label !== ""
        anchors.left: box.right
        anchors.leftMargin: Theme.spacing.small
        anchors.verticalCenter: parent.verticalCenter
        text: root.label
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
