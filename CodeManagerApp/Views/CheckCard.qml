pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// What a check has found, with the counts at its head, until it is closed.
Card {
    id: root

    required property ManagerModel model

    readonly property list<findingValue> findings: root.model.findingRows
    readonly property string summary: root.model.findingsSummary

    signal closed

    Accessible.role: Accessible.Grouping
    Accessible.name: heading.text + ", " + root.summary

    RowLayout {
        spacing: Theme.spacing.small
        Layout.fillWidth: true
        Layout.leftMargin: Theme.spacing.large
        Layout.rightMargin: Theme.spacing.small
        Layout.topMargin: Theme.spacing.small
        Layout.bottomMargin: Theme.spacing.tiny

        Heading {
            id: heading

            text: "Check"
            font: Theme.font.section
        }

        Words {
            text: root.summary
            color: Theme.color.secondary
            horizontalAlignment: Text.AlignRight
            Layout.fillWidth: true
        }

        SymbolButton {
            symbol: "xmark"
            help: "Close the check"
            onActivated: root.closed()
        }
    }

    Repeater {
        model: root.findings

        FindingRow {
            required property findingValue modelData

            finding: modelData
            separated: true
            Layout.fillWidth: true
        }
    }
}
