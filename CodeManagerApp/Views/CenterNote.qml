import QtQuick

// A quiet word in the middle of a pane that has nothing else to show.
Item {
    id: root

    required property string symbol
    required property string text

    Accessible.role: Accessible.StaticText
    Accessible.name: root.text

    Column {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.spacing.huge, Theme.size.textWidth)
        spacing: Theme.spacing.medium

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: root.symbol
            size: Theme.size.noteSymbol
            color: Theme.color.disabledText
        }

        Words {
            width: parent.width
            text: root.text
            color: Theme.color.secondary
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
            Accessible.ignored: true
        }
    }
}
