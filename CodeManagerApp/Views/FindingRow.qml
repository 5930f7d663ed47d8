import QtQuick
import QtQuick.Layouts
import CodeManager

// What a check has found: what was looked at, how it stands with that, and what to do. The message can be selected, and
// copied as a whole while the row has the focus.
Item {
    id: root

    required property findingValue finding
    property bool separated: false

    readonly property color tint: root.finding.state === "error" ? Theme.color.badText : root.finding.state === "warning" ? Theme.color.warning : Theme.color.goodText

    implicitHeight: row.implicitHeight + 2 * row.y
    activeFocusOnTab: true
    Accessible.role: Accessible.StaticText
    Accessible.name: root.finding.check + ", " + root.finding.word
    Accessible.description: root.finding.message
    Accessible.focusable: true
    Accessible.focused: root.activeFocus
    Keys.onPressed: event => {
        event.accepted = event.matches(StandardKey.Copy) && message.copyWhole();
    }

    Rectangle {
        visible: root.separated
        x: 1
        width: parent.width - 2
        height: 1
        color: Theme.color.separator
    }

    RowLayout {
        id: row

        x: Theme.spacing.large - 2
        y: Theme.spacing.medium - 2
        width: root.width - 2 * x
        spacing: Theme.spacing.medium

        Symbol {
            name: root.finding.symbol
            color: root.tint
            Layout.alignment: Qt.AlignTop
        }

        ColumnLayout {
            spacing: 2

            RowLayout {
                spacing: Theme.spacing.small

                Words {
                    text: root.finding.check
                    font: Theme.font.strong
                    Layout.alignment: Qt.AlignBaseline
                    Accessible.ignored: true
                }

                Words {
                    text: root.finding.word
                    font: Theme.font.caption
                    color: root.tint
                    Layout.alignment: Qt.AlignBaseline
                    Accessible.ignored: true
                }
            }

            SelectableText {
                id: message

                text: root.finding.message
                color: Theme.color.secondary
                wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
                Layout.fillWidth: true
                Accessible.ignored: true
            }
        }
    }

    FocusRing {
        gap: -2
        shown: root.activeFocus
    }
}
