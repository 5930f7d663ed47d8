pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// Where the product's space goes: one bar in parts, and what each part is.
Card {
    id: root

    required property list<spaceShare> shares
    required property string total

    padding: Theme.spacing.large
    spacing: Theme.spacing.small
    Accessible.role: Accessible.Grouping
    Accessible.name: heading.text + ", " + root.total

    function colorOf(index: int, rest: bool): color {
        return rest ? Theme.color.rest : Theme.color.shares[index % Theme.color.shares.length];
    }

    // As few lines as the width allows, with as many in one as in the next.
    function columnsWithin(width: real): int {
        let columns = Math.max(1, entries.count);
        for (let lines = 2; columns > 1 && root.widthOf(columns) > width; lines++)
            columns = Math.ceil(entries.count / lines);
        return columns;
    }

    function widthOf(columns: int): real {
        const widest = new Array(columns).fill(0);
        for (let index = 0; index < entries.count; index++)
            widest[index % columns] = Math.max(widest[index % columns], entries.itemAt(index)?.implicitWidth ?? 0);
        return widest.reduce((sum, each) => sum + each, legends.columnSpacing * (columns - 1));
    }

    RowLayout {
        Layout.fillWidth: true

        Words {
            id: heading

            text: Qt.platform.os === "osx" ? "On this Mac" : "On this computer"
            font: Theme.font.section
            Layout.fillWidth: true
        }

        Words {
            text: root.total
        }
    }

    Item {
        id: bar

        implicitHeight: 14
        Layout.fillWidth: true

        Row {
            id: parts

            anchors.fill: parent
            spacing: 2

            Repeater {
                model: root.shares

                Rectangle {
                    required property int index
                    required property spaceShare modelData

                    width: Math.max(2, modelData.fraction * (bar.width - parts.spacing * (root.shares.length - 1)))
                    height: bar.height
                    radius: 3
                    color: root.colorOf(index, modelData.rest)
                }
            }
        }
    }

    Grid {
        id: legends

        property int created: 0 // itemAt() does not notify when an item is created

        columns: legends.created > 0 ? root.columnsWithin(legends.width) : 1
        columnSpacing: Theme.spacing.large
        rowSpacing: Theme.spacing.tiny
        Layout.fillWidth: true

        Repeater {
            id: entries

            model: root.shares
            onItemAdded: legends.created++
            onItemRemoved: legends.created--

            Row {
                id: legend

                required property int index
                required property spaceShare modelData

                spacing: Theme.spacing.small
                Accessible.role: Accessible.StaticText
                Accessible.name: modelData.title + ": " + modelData.humanSize

                Rectangle {
                    anchors.verticalCenter: parent.verticalCenter
                    width: Theme.size.dot
                    height: Theme.size.dot
                    radius: Theme.size.dot / 2
                    color: root.colorOf(legend.index, legend.modelData.rest)
                }

                Words {
                    text: legend.modelData.title
                    font: Theme.font.caption
                    color: Theme.color.caption
                    Accessible.ignored: true
                }

                Words {
                    text: legend.modelData.humanSize
                    font: Theme.font.caption
                    color: Theme.color.secondary
                    Accessible.ignored: true
                }
            }
        }
    }
}
