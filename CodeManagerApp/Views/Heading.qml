import QtQuick

// A title. Assistive tools go from one to the next.
Text {
    id: root

    color: Theme.color.ink
    font: Theme.font.headline
    elide: Text.ElideRight
    textFormat: Text.PlainText
    Accessible.role: Accessible.Heading
    Accessible.name: root.text
}
