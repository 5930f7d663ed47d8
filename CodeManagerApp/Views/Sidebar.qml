pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T
import CodeManager

// The program's title line and a row for each pane. One stop of the Tab key; the arrows go from row to row.
FocusScope {
    id: root

    required property ManagerModel model

    Rectangle {
        anchors.fill: parent
        color: Theme.color.sidebar
    }

    Rectangle {
        anchors.right: parent.right
        width: 1
        height: parent.height
        color: Theme.color.sidebarEdge
    }

    Row {
        id: titleLine

        x: Theme.spacing.large + 3
        height: Theme.size.headerHeight
        spacing: Theme.spacing.small + 1

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            name: "trash.circle.fill"
            color: Theme.color.ember
            size: Math.round(18 * Theme.grown)
        }

        Heading {
            id: name

            anchors.verticalCenter: parent.verticalCenter
            width: root.width - titleLine.x - 3 * Theme.spacing.large
            text: root.model.display
            color: Theme.color.titleInk

            Hint {
                text: name.truncated ? root.model.display : ""
            }
        }
    }

    Flickable {
        id: scroll

        anchors.top: titleLine.bottom
        anchors.bottom: parent.bottom
        width: parent.width
        clip: true
        contentHeight: rows.height + Theme.spacing.medium
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        T.ScrollBar.vertical: ThinScrollBar {}

        Column {
            id: rows

            x: Theme.spacing.small + 2
            width: root.width - 2 * x - 1
            spacing: 2
            Accessible.role: Accessible.List
            Accessible.name: "Panes"
            Keys.onUpPressed: root.choose(root.model.section - 1)
            Keys.onDownPressed: root.choose(root.model.section + 1)

            Repeater {
                id: repeater

                model: root.model.panes

                SidebarRow {
                    required property int index
                    required property paneRow modelData

                    width: rows.width
                    title: modelData.title
                    symbol: modelData.symbol
                    key: index + 1
                    selected: root.model.section === index
                    focus: selected
                    onChosen: root.choose(index)
                }
            }
        }
    }

    function choose(index: int) {
        root.model.section = index;
        repeater.itemAt(root.model.section)?.forceActiveFocus(Qt.TabFocusReason);
    }
}
