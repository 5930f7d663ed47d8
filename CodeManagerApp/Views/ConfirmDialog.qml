import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// Asks before something that is meant: the answer is the destructive choice or none. Opens when it is made. The
// keyboard goes back to where it was.
T.Dialog {
    id: root

    required property string message
    required property string confirmText

    property Item before: null // where the keyboard was
    property bool seenBefore: false // by its ring

    signal confirmed

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(420, (parent?.width ?? 420) - 2 * Theme.spacing.huge)
    implicitHeight: contentItem.implicitHeight + topPadding + bottomPadding
    padding: Theme.spacing.huge
    modal: true
    focus: true
    closePolicy: T.Popup.CloseOnEscape
    Component.onCompleted: {
        root.before = (root.parent as Item)?.Window.activeFocusItem ?? null;
        root.seenBefore = (root.before as T.Control)?.visualFocus ?? false;
        root.open();
    }
    onClosed: root.before?.forceActiveFocus(root.seenBefore ? Qt.TabFocusReason : Qt.PopupFocusReason)

    T.Overlay.modal: Rectangle {
        color: Theme.color.dim
    }

    background: Rectangle {
        radius: Theme.radius.card
        color: Theme.color.card
        border.width: 1
        border.color: Theme.color.cardBorder
    }

    contentItem: ColumnLayout {
        spacing: Theme.spacing.small

        Words {
            text: root.title
            font: Theme.font.section
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        Words {
            text: root.message
            color: Theme.color.secondary
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        RowLayout {
            spacing: Theme.spacing.small
            Layout.topMargin: Theme.spacing.medium
            Layout.alignment: Qt.AlignRight

            ActionButton {
                text: "Cancel"
                focus: true
                onActivated: root.close()
            }

            ActionButton {
                text: root.confirmText
                kind: ActionButton.Destructive
                onActivated: {
                    root.confirmed();
                    root.close();
                }
            }
        }
    }
}
