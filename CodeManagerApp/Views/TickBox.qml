import QtQuick

// A tick box that shows what it is told and asks to be toggled; it changes nothing by itself. The keyboard reaches it
// through the row that it is on.
Item {
    id: root

    required property string name
    property int ticked: Qt.Unchecked

    signal toggleRequested

    implicitWidth: Theme.size.symbol + 2 * Theme.spacing.tiny
    implicitHeight: Theme.size.controlHeight
    Accessible.role: Accessible.CheckBox
    Accessible.name: root.name
    Accessible.checkable: true
    Accessible.checked: root.ticked === Qt.Checked
    Accessible.checkStateMixed: root.ticked === Qt.PartiallyChecked
    Accessible.onPressAction: root.toggleRequested()
    Accessible.onToggleAction: root.toggleRequested()

    Symbol {
        anchors.centerIn: parent
        name: root.ticked === Qt.Checked ? "checkmark.square.fill" : root.ticked === Qt.PartiallyChecked ? "minus.square.fill" : "square"
        color: root.ticked === Qt.Unchecked ? Theme.color.tickBox : Theme.color.accent
        size: Math.round(18 * Theme.grown)
    }

    MouseArea {
        anchors.fill: parent
        onClicked: root.toggleRequested()
    }
}
