import QtQuick
import QtQuick.Templates as T

// A tick box that shows what it is told and asks to be toggled; it changes nothing by itself.
T.AbstractButton {
    id: root

    required property string name
    property int state3: Qt.Unchecked

    signal toggleRequested

    implicitWidth: Theme.size.symbol + 2 * Theme.spacing.tiny
    implicitHeight: Theme.size.controlHeight
    focusPolicy: Qt.NoFocus
    Accessible.role: Accessible.CheckBox
    Accessible.name: root.name
    Accessible.checkable: true
    Accessible.checked: root.state3 === Qt.Checked
    Accessible.checkStateMixed: root.state3 === Qt.PartiallyChecked
    Accessible.onPressAction: root.toggleRequested()
    Accessible.onToggleAction: root.toggleRequested()
    onClicked: root.toggleRequested()

    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            name: root.state3 === Qt.Checked ? "checkmark.square.fill" : root.state3 === Qt.PartiallyChecked ? "minus.square.fill" : "square"
            color: root.state3 === Qt.Unchecked ? Theme.color.disabledText : Theme.color.accent
            size: Math.round(18 * Theme.grown)
        }
    }
}
