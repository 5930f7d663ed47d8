import QtQuick
import QtQuick.Layouts

// A row of the found items: the head of a category, or one item of it. Rows of a category make up one card.
Item {
    id: root

    required property bool isSection
    required property bool isLast
    required property bool isExpanded
    required property string title
    required property string symbol
    required property string detail
    required property string size
    required property int checkState
    property bool current: false

    readonly property int gap: root.isLast ? Theme.spacing.large : 0
    readonly property int radius: Theme.radius.card

    signal toggled
    signal expansionToggled
    signal copied
    signal revealed
    signal chosen

    implicitHeight: (root.isSection ? Theme.size.sectionHeight : Theme.size.itemHeight) + root.gap
    Accessible.role: Accessible.ListItem
    Accessible.name: root.title + (root.isSection ? " " : ", ") + root.detail + ", " + root.size
    Accessible.checkable: !root.isSection
    Accessible.checked: root.checkState === Qt.Checked
    Accessible.selectable: true
    Accessible.selected: root.current
    Accessible.focusable: true
    Accessible.focused: root.current
    Accessible.onPressAction: root.isSection ? root.expansionToggled() : root.toggled()
    Accessible.onToggleAction: root.isSection ? root.expansionToggled() : root.toggled()

    // A row that waits to be used again is still there for assistive tools unless it hides.
    ListView.onPooled: root.visible = false
    ListView.onReused: root.visible = true

    // The part of the category's card that lies in this row.
    Item {
        x: Theme.spacing.huge
        width: root.width - 2 * x
        height: root.height - root.gap
        clip: true

        Rectangle {
            y: root.isSection ? 0 : -root.radius
            width: parent.width
            height: parent.height + (root.isSection ? 0 : root.radius) + (root.isLast ? 0 : root.radius)
            radius: root.radius
            color: root.isSection ? Theme.color.sectionHead : Theme.color.card
            border.width: 1
            border.color: Theme.color.cardBorder
        }

        Rectangle {
            visible: !root.isSection
            x: 1
            width: parent.width - 2
            height: 1
            color: Theme.color.separator
        }

        MouseArea {
            anchors.fill: parent
            onClicked: {
                root.chosen();
                if (root.isSection)
                    root.expansionToggled();
            }
        }

        HoverHandler {
            id: hover
        }

        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: Theme.spacing.small + 2 + (root.isSection ? 0 : Theme.spacing.huge + 2)
            anchors.rightMargin: Theme.spacing.large - 2
            spacing: Theme.spacing.small

            TickBox {
                name: root.isSection ? "Select all of " + root.title : "Select " + root.title
                ticked: root.checkState
                onToggleRequested: root.toggled()
            }

            Symbol {
                visible: root.isSection
                name: root.isExpanded ? "chevron.down" : "chevron.right"
                size: Math.round(14 * Theme.grown)
            }

            Symbol {
                visible: root.isSection
                name: root.symbol
                Layout.leftMargin: Theme.spacing.tiny
            }

            Words {
                visible: root.isSection
                text: root.title
                font: Theme.font.section
                Layout.leftMargin: Theme.spacing.tiny
                Accessible.ignored: true
            }

            Words {
                visible: root.isSection
                text: root.detail
                color: Theme.color.caption
                Layout.fillWidth: true
                Accessible.ignored: true
            }

            ColumnLayout {
                visible: !root.isSection
                spacing: 0
                Layout.fillWidth: true

                Words {
                    id: name

                    text: root.title
                    maximumLineCount: 1
                    Layout.fillWidth: true
                    Accessible.ignored: true
                }

                Words {
                    id: path

                    text: root.detail
                    font: Theme.font.caption
                    color: Theme.color.caption
                    maximumLineCount: 1
                    elide: Text.ElideMiddle
                    Layout.fillWidth: true
                    Accessible.ignored: true

                    Loader {
                        y: -path.y
                        width: path.width
                        height: path.y + path.height
                        active: hover.hovered && (name.truncated || path.truncated)
                        source: "Hint.qml"
                        onLoaded: (item as Hint).text = Qt.binding(() => (name.truncated ? root.title + "\n" : "") + root.detail)
                    }
                }
            }

            // Of the row that somebody is on: a list makes its rows in less than half the time without them.
            Loader {
                visible: !root.isSection
                active: !root.isSection && (hover.hovered || root.current)
                source: "ItemActions.qml"
                Layout.preferredWidth: 2 * Theme.size.controlHeight + Theme.spacing.small
                Layout.preferredHeight: Theme.size.controlHeight
                onLoaded: {
                    const actions = item as ItemActions;
                    actions.copied.connect(root.copied);
                    actions.revealed.connect(root.revealed);
                }
            }

            Words {
                text: root.size
                font: root.isSection ? Theme.font.section : Theme.font.body
                color: root.isSection ? Theme.color.ink : Theme.color.secondary
                horizontalAlignment: Text.AlignRight
                Accessible.ignored: true
            }
        }

        FocusRing {
            gap: -2
            shown: root.current
        }
    }
}
