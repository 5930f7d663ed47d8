import QtQuick
import QtQuick.Layouts

// The head of a pane: its title, whether something runs, and a way to read everything anew.
Rectangle {
    id: root

    required property string title
    property string symbol: ""
    property bool busy: false
    property bool refreshable: false
    property alias extras: extraRow.data

    signal refresh

    implicitHeight: Theme.size.headerHeight
    color: Theme.color.header

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.huge
        anchors.rightMargin: Theme.spacing.huge - 6
        spacing: Theme.spacing.medium

        Symbol {
            visible: root.symbol !== ""
            name: root.symbol
            color: Theme.color.ink
            size: Math.round(18 * Theme.grown)
            Layout.rightMargin: -Theme.spacing.tiny
        }

        Heading {
            text: root.title
        }

        BusyMark {
            running: root.busy
        }

        Item {
            Layout.fillWidth: true
        }

        RowLayout {
            id: extraRow

            spacing: Theme.spacing.small
        }

        SymbolButton {
            visible: root.refreshable
            symbol: "arrow.clockwise"
            help: "Refresh"
            onActivated: root.refresh()
        }
    }

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.color.cardBorder
    }
}
