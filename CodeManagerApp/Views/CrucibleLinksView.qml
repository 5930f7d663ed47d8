pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// Where the two links lead that decide which weights are used.
ColumnLayout {
    id: root

    required property list<crucibleLinkValue> links
    required property bool dangling

    spacing: Theme.spacing.small

    Heading {
        text: "Links"
        font: Theme.font.section
        Layout.leftMargin: 2
    }

    Card {
        Layout.fillWidth: true

        Repeater {
            model: root.links

            StatRow {
                required property int index
                required property crucibleLinkValue modelData

                label: modelData.label
                value: modelData.target
                path: true
                separated: index > 0
                Layout.fillWidth: true
            }
        }
    }

    Words {
        visible: root.dangling
        text: "The served model link is dangling — pick a drive below that still has these weights to repair it."
        font: Theme.font.caption
        color: Theme.color.warning
        wrapMode: Text.Wrap
        Layout.leftMargin: 2
        Layout.fillWidth: true
    }
}
