pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Dialogs
import CodeManager

// Looks after all links of the store: checks and repairs them, writes them down and makes them again.
Flow {
    id: root

    required property ManagerModel model

    spacing: Theme.spacing.small

    ActionButton {
        text: "Check links"
        reason: root.model.reasonAgainstCrucibleWork
        onActivated: root.model.requestLinkCheck()
    }

    ActionButton {
        text: "Repair"
        reason: root.model.reasonAgainstRepairing
        onActivated: root.model.requestLinkRepair()
    }

    ActionButton {
        id: backUp

        text: "Back up links…"
        reason: root.model.reasonAgainstCrucibleWork
        onActivated: saving.createObject(root)
    }

    ActionButton {
        id: restore

        text: "Restore links…"
        reason: root.model.reasonAgainstCrucibleWork
        onActivated: opening.createObject(root)
    }

    Component {
        id: saving

        FileDialog {
            title: "Back up links"
            acceptLabel: "Back up"
            fileMode: FileDialog.SaveFile
            // A file that exists is refused: do not ask whether to replace it. The linter does not know the options.
            options: FileDialog.DontConfirmOverwrite // qmllint disable
            defaultSuffix: "toml"
            onAccepted: root.model.requestLinkBackup(selectedFile)
            onVisibleChanged: {
                if (!visible)
                    destroy();
            }
            Component.onCompleted: open()
            Component.onDestruction: backUp.comeBack()
        }
    }

    Component {
        id: opening

        FileDialog {
            title: "Restore links"
            acceptLabel: "Restore"
            onAccepted: root.model.requestLinkRestoration(selectedFile)
            onVisibleChanged: {
                if (!visible)
                    destroy();
            }
            Component.onCompleted: open()
            Component.onDestruction: restore.comeBack()
        }
    }
}
