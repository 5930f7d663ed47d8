import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

// Output to read and to copy, not there while there is none. Follows its end, unless its reader has scrolled up. In a
// column it takes what room is left, but no more than its text needs.
Rectangle {
    id: root

    required property string text

    readonly property int padding: Theme.spacing.medium + 1

    implicitHeight: edit.implicitHeight + 2 * root.padding
    implicitWidth: 200
    visible: root.text !== ""
    Layout.fillWidth: true
    Layout.fillHeight: true
    Layout.minimumHeight: Math.min(root.implicitHeight, 90)
    Layout.preferredHeight: Layout.minimumHeight
    Layout.maximumHeight: root.implicitHeight
    radius: Theme.radius.card
    color: Theme.color.card
    border.width: edit.activeFocus ? 2 : 1
    border.color: edit.activeFocus ? Theme.color.accent : Theme.color.cardBorder

    Flickable {
        id: scroll

        property bool atEnd: true

        anchors.fill: parent
        anchors.margins: root.padding
        clip: true
        contentWidth: width
        contentHeight: edit.implicitHeight
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        onMovementEnded: scroll.atEnd = scroll.atYEnd
        onContentHeightChanged: {
            if (scroll.atEnd)
                scroll.contentY = Math.max(0, scroll.contentHeight - scroll.height);
        }
        T.ScrollBar.vertical: ThinScrollBar {}

        SelectableText {
            id: edit

            width: scroll.width
            text: root.text
            font: Theme.font.monospaced
            wrapMode: TextEdit.WrapAnywhere
            horizontalAlignment: TextEdit.AlignLeft
            activeFocusOnTab: true
            Accessible.role: Accessible.EditableText
            Accessible.name: "Console"
        }
    }
}
