import QtQuick
import QtQuick.Layouts
import CodeManager

// A database: its name, what it is, whether it is installed, and what can be done about that.
Item {
    id: root

    required property databaseValue database
    required property string reason
    property bool separated: false

    signal activated
    signal reached // by the keyboard

    implicitHeight: row.implicitHeight + 2 * Theme.spacing.medium
    Accessible.role: Accessible.Grouping
    Accessible.name: root.database.name + ", " + state.text
    Accessible.description: root.database.detail

    Rectangle {
        visible: root.separated
        x: 1
        width: parent.width - 2
        height: 1
        color: Theme.color.separator
    }

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.large - 2
        anchors.rightMargin: Theme.spacing.medium
        spacing: Theme.spacing.medium

        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true

            Words {
                id: name

                text: root.database.name
                font: Theme.font.strong
                Layout.fillWidth: true
                Accessible.ignored: true

                Hint {
                    text: name.truncated ? root.database.name : ""
                }
            }

            Words {
                visible: text !== ""
                text: root.database.detail
                font: Theme.font.caption
                color: Theme.color.caption
                wrapMode: Text.Wrap
                Layout.fillWidth: true
                Accessible.ignored: true
            }
        }

        Words {
            id: state

            text: root.database.installed ? "installed" : "not installed"
            color: root.database.installed ? Theme.color.goodText : Theme.color.caption
            Accessible.ignored: true
        }

        ActionButton {
            text: root.database.installed ? "Remove" : "Install"
            kind: root.database.installed ? ActionButton.Destructive : ActionButton.Plain
            reason: root.reason
            Layout.minimumWidth: Math.round(78 * Theme.grown) // whatever it says
            onActivated: root.activated()
            onActiveFocusChanged: {
                if (activeFocus)
                    root.reached();
            }
        }
    }
}
