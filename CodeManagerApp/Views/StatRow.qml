import QtQuick
import QtQuick.Layouts

// A label and its value on one line. The value can be selected, and copied as a whole while the row has the focus.
Item {
    id: root

    required property string label
    required property string value
    property var good: undefined
    property bool separated: false
    property bool path: false // the value is one

    readonly property bool judged: root.good === true || root.good === false

    implicitHeight: Math.max(Theme.size.rowHeight, text.implicitHeight + 2 * Theme.spacing.small)
    implicitWidth: Theme.size.labelWidth + text.implicitWidth
    activeFocusOnTab: true
    Accessible.role: Accessible.StaticText
    Accessible.name: root.label + ": " + root.value
    Accessible.description: root.good === true ? "healthy" : root.good === false ? "unhealthy" : ""
    Accessible.focusable: true
    Accessible.focused: root.activeFocus
    Keys.onPressed: event => {
        event.accepted = event.matches(StandardKey.Copy) && text.copyWhole();
    }

    Rectangle {
        visible: root.separated
        width: parent.width
        height: 1
        color: Theme.color.separator
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.large - 2
        anchors.rightMargin: Theme.spacing.large - 2
        spacing: 0

        Words {
            text: root.label
            color: Theme.color.secondary
            Layout.preferredWidth: Theme.size.labelWidth
            Accessible.ignored: true
        }

        Rectangle {
            visible: root.judged
            implicitWidth: Theme.size.dot
            implicitHeight: Theme.size.dot
            radius: Theme.size.dot / 2
            color: root.good === true ? Theme.color.goodDot : Theme.color.badDot
            Layout.rightMargin: Theme.spacing.small - 1

            Behavior on color {
                ColorAnimation {
                    duration: Theme.fade
                }
            }
        }

        SelectableText {
            id: text

            text: root.value
            font: root.path && root.value !== "—" ? Theme.font.monospaced : root.judged ? Theme.font.strong : Theme.font.body
            color: root.good === true ? Theme.color.goodText : root.good === false ? Theme.color.badText : Theme.color.ink
            wrapMode: TextEdit.WrapAtWordBoundaryOrAnywhere
            Layout.fillWidth: true
            Accessible.ignored: true
        }
    }

    FocusRing {
        gap: -2
        shown: root.activeFocus
    }
}
