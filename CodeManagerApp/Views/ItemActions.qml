import QtQuick

// What can be done with a found item beside ticking it.
Row {
    id: root

    signal copied
    signal revealed

    spacing: Theme.spacing.small

    SymbolButton {
        focusPolicy: Qt.NoFocus
        symbol: "doc.on.doc"
        help: "Copy the path"
        onActivated: root.copied()
    }

    SymbolButton {
        focusPolicy: Qt.NoFocus
        symbol: "arrow.up.forward.square"
        help: "Show in the file manager"
        onActivated: root.revealed()
    }
}
