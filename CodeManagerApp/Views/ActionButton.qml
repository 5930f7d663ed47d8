import QtQuick
import QtQuick.Templates as T

// A button with a text. A reason why it cannot be pressed disables it and is its tool tip. The keyboard keeps its place
// meanwhile, and is seen there.
FocusScope {
    id: root

    enum Kind {
        Plain,
        Primary,
        Destructive
    }

    required property string text
    property string name: root.text // by which assistive tools know it
    property string reason: ""
    property int kind: ActionButton.Plain
    property bool running: false // what it began is under way: it waits, but stays what it is

    property bool byKeyboard: false // it was the keyboard that came here
    readonly property bool stranded: root.activeFocus && !button.enabled // the keyboard is here in vain

    signal activated

    // The keyboard, once what it opened is gone.
    function comeBack() {
        root.forceActiveFocus(root.byKeyboard ? Qt.TabFocusReason : Qt.PopupFocusReason);
    }

    implicitWidth: button.implicitWidth
    implicitHeight: Theme.size.controlHeight

    T.Button {
        id: button

        readonly property bool primary: root.kind === ActionButton.Primary
        readonly property bool filled: button.primary && (button.enabled || root.running)
        readonly property color ink: button.filled ? Theme.color.accentInk : !button.enabled ? Theme.color.disabledText : root.kind === ActionButton.Destructive ? Theme.color.badText : Theme.color.ink

        anchors.fill: parent
        focus: true
        enabled: root.reason === ""
        text: root.text
        implicitWidth: contentItem.implicitWidth + 2 * Theme.spacing.medium
        hoverEnabled: true
        focusPolicy: Qt.StrongFocus
        Accessible.name: root.name
        Accessible.description: root.reason
        Accessible.onPressAction: {
            if (button.enabled)
                root.activated();
        }
        onVisualFocusChanged: {
            if (button.visualFocus)
                root.byKeyboard = true;
        }
        onFocusReasonChanged: {
            if (button.focusReason === Qt.MouseFocusReason)
                root.byKeyboard = false;
        }
        Keys.onReturnPressed: root.activated()
        Keys.onEnterPressed: root.activated()
        onClicked: root.activated()

        contentItem: Words {
            text: button.text
            font: Theme.font.strong
            color: button.ink
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            Accessible.ignored: true
        }

        background: Rectangle {
            radius: Theme.radius.control
            border.width: button.filled ? 0 : 1
            border.color: root.kind === ActionButton.Destructive && button.enabled ? Theme.color.badBorder : Theme.color.controlBorder
            color: {
                if (button.filled)
                    return button.down ? Theme.color.accentPressed : Theme.color.accent;
                return button.down ? Theme.color.controlPressed : button.hovered ? Theme.color.controlHover : Theme.color.card;
            }

            Behavior on color {
                ColorAnimation {
                    duration: Theme.fade
                }
            }

            FocusRing {
                // Around a button of its own colour it would not be seen.
                gap: button.filled ? -2 : 2
                ink: button.filled ? Theme.color.accentInk : Theme.color.accent
                shown: root.activeFocus && root.byKeyboard
            }
        }
    }

    Hint {
        text: root.reason
    }
}
