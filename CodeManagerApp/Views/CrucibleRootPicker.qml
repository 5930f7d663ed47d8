pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import CodeManager

// Points the store's root at a folder that its user picks.
RowLayout {
    id: root

    required property ManagerModel model

    spacing: Theme.spacing.medium

    ActionButton {
        id: set

        text: "Set crucible folder…"
        reason: root.model.reasonAgainstCrucibleWork
        onActivated: picker.createObject(root)
    }

    Words {
        text: "Points the crucible root at a folder on any drive. Only the link changes — weights are never moved or copied by this button."
        font: Theme.font.caption
        color: Theme.color.caption
        wrapMode: Text.Wrap
        Layout.fillWidth: true
    }

    Component {
        id: picker

        FolderDialog {
            title: "Use as Crucible"
            acceptLabel: "Use as Crucible"
            onAccepted: root.model.requestCrucibleRoot(selectedFolder)
            onVisibleChanged: {
                if (!visible)
                    destroy();
            }
            Component.onCompleted: open()
            Component.onDestruction: set.comeBack()
        }
    }
}
