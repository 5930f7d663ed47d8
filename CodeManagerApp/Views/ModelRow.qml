import QtQuick
import QtQuick.Layouts
import CodeManager

// A model of the catalog: whether it is ticked, its name, its size, and where its weights come from.
Item {
    id: root

    required property string name
    required property string slug
    required property string size
    required property string badge
    required property int ticked
    property bool current: false

    signal toggled

    implicitHeight: Theme.size.rowHeight - 4
    Accessible.role: Accessible.ListItem
    Accessible.name: root.name + ", " + (root.size === "" ? "" : root.size + ", ") + root.badge
    Accessible.description: root.slug
    Accessible.checkable: true
    Accessible.checked: root.ticked === Qt.Checked
    Accessible.selectable: true
    Accessible.selected: root.current
    Accessible.focusable: true
    Accessible.focused: root.current
    Accessible.onPressAction: root.toggled()
    Accessible.onToggleAction: root.toggled()

    // A row that waits to be used again is still there for assistive tools unless it hides.
    ListView.onPooled: root.visible = false
    ListView.onReused: root.visible = true

    Rectangle {
        x: 1
        width: parent.width - 2
        height: 1
        color: Theme.color.separator
    }

    MouseArea {
        anchors.fill: parent
        onClicked: root.toggled()
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.medium - 2
        anchors.rightMargin: Theme.spacing.large - 2
        spacing: Theme.spacing.small

        TickBox {
            name: "Select " + root.name
            ticked: root.ticked
            onToggleRequested: root.toggled()
        }

        Words {
            id: words

            text: root.name
            Layout.fillWidth: true
            Layout.maximumWidth: Math.ceil(implicitWidth)
            Accessible.ignored: true

            Hint {
                text: (words.truncated ? root.name + "\n" : "") + root.slug
            }
        }

        Pill {
            text: root.badge
        }

        Item {
            Layout.fillWidth: true
        }

        Words {
            text: root.size
            color: Theme.color.secondary
            horizontalAlignment: Text.AlignRight
            Accessible.ignored: true
        }
    }

    FocusRing {
        gap: -2
        shown: root.current
    }
}
