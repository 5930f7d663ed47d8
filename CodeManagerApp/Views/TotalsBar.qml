pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// What is ticked, and what can be done with it.
Rectangle {
    id: root

    required property ManagerModel model
    property ConfirmDialog question: null

    signal moving

    implicitHeight: Theme.size.headerHeight
    color: Theme.color.header

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.color.cardBorder
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.huge
        anchors.rightMargin: Theme.spacing.huge
        spacing: Theme.spacing.small

        Words {
            text: root.model.totalsText
            wrapMode: Text.Wrap
            maximumLineCount: 2
            Layout.fillWidth: true
        }

        ActionButton {
            text: "Clear"
            reason: root.model.reasonAgainstClearing
            onActivated: root.model.requestClear()
        }

        ActionButton {
            text: "Select All"
            reason: root.model.reasonAgainstSelecting
            onActivated: root.model.requestSelectAll()
        }

        ActionButton {
            text: "Move to Trash"
            kind: ActionButton.Destructive
            reason: root.model.reasonAgainstMoving
            onActivated: {
                if (root.question === null)
                    root.question = confirmation.createObject(root);
            }
        }
    }

    Component {
        id: confirmation

        ConfirmDialog {
            title: root.model.confirmationTitle
            message: "This can be undone from the Trash."
            confirmText: "Move to Trash"
            onConfirmed: {
                root.moving();
                root.model.requestMoveToTrash();
            }
            onClosed: {
                root.question = null;
                destroy();
            }
        }
    }
}
