import QtQuick
import QtQuick.Templates as T

// A field whose text narrows a list. Escape empties it.
T.TextField {
    id: root

    required property string hint

    implicitWidth: Math.round(200 * Theme.grown)
    implicitHeight: Theme.size.controlHeight
    leftPadding: Theme.size.symbol + 2 * Theme.spacing.small
    rightPadding: Theme.spacing.small
    verticalAlignment: TextInput.AlignVCenter
    color: Theme.color.ink
    font: Theme.font.body
    selectByMouse: true
    selectionColor: Theme.color.selectedText
    selectedTextColor: Theme.color.ink
    Accessible.name: root.hint
    Keys.onEscapePressed: root.clear()

    background: Rectangle {
        radius: Theme.radius.control
        color: Theme.color.card
        border.width: root.activeFocus ? 2 : 1
        border.color: root.activeFocus ? Theme.color.accent : Theme.color.controlBorder

        Symbol {
            x: Theme.spacing.small
            anchors.verticalCenter: parent.verticalCenter
            name: "magnifyingglass"
            size: Math.round(14 * Theme.grown)
        }

        Words {
            x: root.leftPadding
            anchors.verticalCenter: parent.verticalCenter
            visible: root.text === ""
            text: root.hint
            color: Theme.color.caption
            Accessible.ignored: true
        }
    }
}
