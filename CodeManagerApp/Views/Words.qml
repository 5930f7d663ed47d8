import QtQuick
import QtQuick.Templates as T

// A piece of text that assistive tools see.
T.Label {
    color: Theme.color.ink
    font: Theme.font.body
    elide: Text.ElideRight
    textFormat: Text.PlainText
}
