pragma ComponentBehavior: Bound

import QtQuick
import CodeManager

// The program's one window.
Window {
    id: root

    required property ManagerModel model

    // Set once the user agreed to cut short what runs.
    property bool closingAgreed: false
    property ConfirmDialog question: null

    objectName: "manager"
    title: root.model.windowTitle
    width: Math.max(980, root.minimumWidth)
    height: Math.max(640, root.minimumHeight)
    minimumWidth: 760
    minimumHeight: 520
    color: Theme.color.canvas
    visible: true

    // Of the toolkit's own choosers, which are drawn where the desktop has none.
    palette.window: Theme.color.card
    palette.windowText: Theme.color.ink
    palette.base: Theme.color.card
    palette.text: Theme.color.ink
    palette.button: Theme.color.card
    palette.buttonText: Theme.color.ink
    palette.highlight: Theme.color.selectedText
    palette.highlightedText: Theme.color.ink

    onClosing: close => {
        if (root.model.operationRuns && !root.closingAgreed) {
            close.accepted = false;
            root.ask();
        }
    }

    RootView {
        anchors.fill: parent
        model: root.model
        focus: true
    }

    Shortcut {
        sequences: ["Ctrl+W", "Ctrl+Q"]
        onActivated: root.close()
    }

    function ask() {
        if (root.question === null)
            root.question = closingQuestion.createObject(root.contentItem);
    }

    Component {
        id: closingQuestion

        ConfirmDialog {
            title: "An operation is still running."
            message: "Closing the window stops it where it is."
            confirmText: "Stop and Close"
            onConfirmed: {
                root.closingAgreed = true;
                root.close();
            }
            onClosed: {
                root.question = null;
                destroy();
            }
        }
    }
}
