import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// One pane's name in the sidebar.
T.ItemDelegate {
    id: root

    required property string title
    required property string symbol
    required property int key
    required property bool selected

    signal chosen

    implicitHeight: Theme.size.sidebarRowHeight
    hoverEnabled: true
    text: root.title
    activeFocusOnTab: root.selected
    focusPolicy: root.selected ? Qt.StrongFocus : Qt.ClickFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: root.title
    Accessible.selectable: true
    Accessible.selected: root.selected
    Accessible.focusable: true
    Accessible.onPressAction: root.chosen()
    onClicked: root.chosen()

    contentItem: RowLayout {
        spacing: Theme.spacing.small + 1

        Symbol {
            name: root.symbol
            color: root.selected ? Theme.color.accentInk : Theme.color.secondary
            Layout.leftMargin: Theme.spacing.small + 1
        }

        Words {
            text: root.title
            color: root.selected ? Theme.color.accentInk : Theme.color.titleInk
            font: root.selected ? Theme.font.strong : Theme.font.body
            Layout.fillWidth: true
            Accessible.ignored: true
        }
    }

    background: Rectangle {
        radius: Theme.radius.sidebarRow
        color: root.selected ? Theme.color.accent : root.hovered ? Theme.color.sidebarHover : "transparent"

        FocusRing {
            gap: -2
            ink: root.selected ? Theme.color.accentInk : Theme.color.accent
            shown: root.visualFocus
        }
    }

    Hint {
        text: Qt.platform.os === "osx" ? "⌘" + root.key : "Ctrl+" + root.key
    }
}
