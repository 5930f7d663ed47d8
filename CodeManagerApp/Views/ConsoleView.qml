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
        onContentHeightChanged: scroll.follow()
        onHeightChanged: scroll.follow()
        T.ScrollBar.vertical: ThinScrollBar {
            onPressedChanged: {
                if (!pressed)
                    scroll.atEnd = scroll.atYEnd;
            }
        }

        function follow() {
            if (scroll.atEnd)
                scroll.go(scroll.contentHeight);
        }

        function go(to: real) {
            scroll.contentY = Math.max(0, Math.min(to, scroll.contentHeight - scroll.height));
        }

        SelectableText {
            id: edit

            width: scroll.width - Theme.spacing.small // beside its bar
            text: root.text
            font: Theme.font.monospaced
            wrapMode: TextEdit.WrapAnywhere
            horizontalAlignment: TextEdit.AlignLeft
            activeFocusOnTab: true
            Accessible.role: Accessible.EditableText
            Accessible.name: "Console"
            Keys.onPressed: event => {
                event.accepted = event.key === Qt.Key_PageUp || event.key === Qt.Key_PageDown;
                const whole = event.modifiers & Qt.ControlModifier;
                if (event.key === Qt.Key_PageUp)
                    scroll.go(scroll.contentY - scroll.height);
                else if (event.key === Qt.Key_PageDown)
                    scroll.go(scroll.contentY + scroll.height);
                else if (event.key === Qt.Key_Up)
                    scroll.go(scroll.contentY - edit.cursorRectangle.height);
                else if (event.key === Qt.Key_Down)
                    scroll.go(scroll.contentY + edit.cursorRectangle.height);
                else if (whole && event.key === Qt.Key_Home)
                    scroll.go(0);
                else if (whole && event.key === Qt.Key_End)
                    scroll.go(scroll.contentHeight);
                else
                    return;
                scroll.atEnd = scroll.atYEnd;
            }
        }
    }
}
