import QtQuick

// Text to read, to select and to copy.
TextEdit {
    id: root

    property string name: ""

    // The whole text, unless some of it is selected: then that is meant, and false comes back.
    function copyWhole(): bool {
        if (root.selectedText !== "")
            return false;
        root.selectAll();
        root.copy();
        root.deselect();
        return true;
    }

    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    persistentSelection: false
    color: Theme.color.ink
    font: Theme.font.body
    selectionColor: Theme.color.selectedText
    selectedTextColor: Theme.color.ink
    textFormat: TextEdit.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: root.name === "" ? root.text : root.name
    Accessible.readOnly: true
    onActiveFocusChanged: {
        if (!root.activeFocus)
            root.deselect();
    }
}
