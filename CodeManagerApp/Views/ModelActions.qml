pragma ComponentBehavior: Bound

import QtQuick
import CodeManager

// What can be done with the served model.
Flow {
    id: root

    required property ManagerModel model
    property ConfirmDialog question: null

    spacing: Theme.spacing.small

    ActionButton {
        text: root.model.busy ? "Installing…" : "Install model"
        reason: root.model.reasonAgainstOperations
        onActivated: root.model.requestInstallModel()
    }

    ActionButton {
        text: "Reveal in Finder"
        reason: root.model.reasonAgainstRevealingModel
        onActivated: root.model.requestRevealModel()
    }

    ActionButton {
        text: "Open Backend Log"
        reason: root.model.openLogAction.reason
        onActivated: root.model.requestOpenLog()
    }

    ActionButton {
        text: "Remove model"
        kind: ActionButton.Destructive
        reason: root.model.reasonAgainstRemovingModel
        onActivated: {
            if (root.question === null)
                root.question = confirmation.createObject(root);
        }
    }

    Component {
        id: confirmation

        ConfirmDialog {
            title: "Remove the local model?"
            message: "Stops the mlx-vantor backend and moves the model to the Trash (recoverable)."
            confirmText: "Stop backend & move model to Trash"
            onConfirmed: root.model.requestRemoveModel()
            onClosed: {
                root.question = null;
                destroy();
            }
        }
    }
}
