pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Dialogs
import QtQuick.Layouts
import CodeManager

// The folder that the product is built from, and a way to choose another one.
Card {
    id: root

    required property ManagerModel model

    readonly property bool known: root.model.project !== ""

    padding: Theme.spacing.medium

    RowLayout {
        spacing: Theme.spacing.medium

        Symbol {
            name: "folder"
            Layout.leftMargin: Theme.spacing.tiny
        }

        Words {
            id: path

            text: root.known ? root.model.project : "No project folder is set."
            font: root.known ? Theme.font.monospaced : Theme.font.body
            color: root.known ? Theme.color.ink : Theme.color.caption
            elide: Text.ElideMiddle
            Layout.fillWidth: true

            Hint {
                text: path.truncated ? root.model.project : ""
            }
        }

        SymbolButton {
            visible: root.known
            symbol: "doc.on.doc"
            help: "Copy the path"
            onActivated: root.model.copyText(root.model.project)
        }

        ActionButton {
            id: change

            text: root.known ? "Change" : "Locate project folder…"
            reason: root.model.reasonAgainstOperations
            onActivated: chooser.createObject(root)
        }
    }

    Component {
        id: chooser

        FolderDialog {
            title: "Locate project folder…"
            acceptLabel: "Choose"
            onAccepted: root.model.requestProject(selectedFolder)
            onVisibleChanged: {
                if (!visible)
                    destroy();
            }
            Component.onCompleted: open()
            Component.onDestruction: change.comeBack()
        }
    }
}
