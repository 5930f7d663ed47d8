import QtQuick
import QtQuick.Layouts
import CodeManager

// A topic of the guide: its symbol, its title and what there is to say.
Item {
    id: root

    required property guideTopic topic
    property bool separated: false

    implicitHeight: row.implicitHeight + 2 * row.y
    activeFocusOnTab: true
    Accessible.role: Accessible.StaticText
    Accessible.name: root.topic.title
    Accessible.description: root.topic.text
    Accessible.focusable: true
    Accessible.focused: root.activeFocus

    Rectangle {
        visible: root.separated
        width: parent.width
        height: 1
        color: Theme.color.separator
    }

    RowLayout {
        id: row

        x: Theme.spacing.large
        y: Theme.spacing.medium
        width: root.width - 2 * x
        spacing: Theme.spacing.medium + 2

        Symbol {
            name: root.topic.symbol
            color: root.topic.tint
            size: Math.round(20 * Theme.grown)
            Layout.alignment: Qt.AlignTop
        }

        ColumnLayout {
            spacing: Theme.spacing.tiny

            SelectableText {
                text: root.topic.title
                font: Theme.font.section
                wrapMode: TextEdit.Wrap
                Layout.fillWidth: true
                Accessible.ignored: true
            }

            SelectableText {
                text: root.topic.text
                color: Theme.color.secondary
                wrapMode: TextEdit.Wrap
                Layout.fillWidth: true
                Layout.maximumWidth: 1.2 * Theme.size.textWidth
                Accessible.ignored: true
            }
        }
    }

    FocusRing {
        gap: -2
        shown: root.activeFocus
    }
}
