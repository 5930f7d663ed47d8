import QtQuick
import QtQuick.Templates as T

// A plain button that shows a symbol; its help text is its tool tip and its name.
Item {
    id: root

    required property string symbol
    required property string help
    property alias focusPolicy: button.focusPolicy

    signal activated

    implicitWidth: Theme.size.controlHeight
    implicitHeight: Theme.size.controlHeight

    T.Button {
        id: button

        anchors.fill: parent
        hoverEnabled: true
        focusPolicy: Qt.StrongFocus
        Accessible.name: root.help
        Accessible.onPressAction: {
            if (button.enabled)
                root.activated();
        }
        Keys.onReturnPressed: root.activated()
        Keys.onEnterPressed: root.activated()
        onClicked: root.activated()

        contentItem: Item {
            Symbol {
                anchors.centerIn: parent
                name: root.symbol
                color: button.enabled ? Theme.color.secondary : Theme.color.disabledText
            }
        }

        background: Rectangle {
            radius: Theme.radius.control
            color: button.down ? Theme.color.controlPressed : button.hovered ? Theme.color.controlHover : "transparent"

            FocusRing {
                gap: 0
                shown: button.visualFocus
            }
        }
    }

    Hint {
        text: root.help
        focused: button.visualFocus
    }
}
