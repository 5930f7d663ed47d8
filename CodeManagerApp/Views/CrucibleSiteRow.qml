import QtQuick
import QtQuick.Layouts
import CodeManager

// One declared copy of the weights: its drive, its size, and whether it is the one that is served.
Item {
    id: root

    required property crucibleSiteValue site
    property bool separated: false

    signal serve
    signal copied

    implicitHeight: row.implicitHeight + 2 * Theme.spacing.small
    activeFocusOnTab: true
    Accessible.role: Accessible.Grouping
    Accessible.name: root.site.volume + " " + root.site.place + ", " + root.site.path + ", " + root.site.size + (root.site.serving ? ", serving" : "")
    Accessible.description: root.site.drive
    Accessible.focusable: true
    Accessible.focused: root.activeFocus

    Keys.onPressed: event => {
        if (event.matches(StandardKey.Copy)) {
            root.copied();
            event.accepted = true;
        }
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

        anchors.fill: parent
        anchors.leftMargin: Theme.spacing.large - 2
        anchors.rightMargin: Theme.spacing.large - 2
        spacing: Theme.spacing.medium

        Rectangle {
            implicitWidth: 10
            implicitHeight: 10
            radius: 5
            color: root.site.serving ? Theme.color.goodDot : Theme.color.restDot
            Layout.rightMargin: Theme.spacing.tiny
        }

        ColumnLayout {
            spacing: 2
            Layout.fillWidth: true

            RowLayout {
                spacing: Theme.spacing.small

                Words {
                    id: volume

                    text: root.site.volume
                    font: Theme.font.strong
                    Layout.fillWidth: true
                    Layout.maximumWidth: Math.ceil(implicitWidth)
                    Accessible.ignored: true

                    Hint {
                        text: volume.truncated ? root.site.volume : ""
                    }
                }

                Pill {
                    text: root.site.place
                }
            }

            Words {
                id: path

                text: root.site.path
                font: Theme.font.monospaced
                color: Theme.color.caption
                elide: Text.ElideMiddle
                Layout.fillWidth: true
                Accessible.ignored: true

                Hint {
                    text: path.truncated ? root.site.path : ""
                }
            }
        }

        ColumnLayout {
            visible: root.site.used >= 0 && root.width >= 620 * Theme.grown // of narrow rows the rest matters more
            spacing: 3

            Rectangle {
                implicitWidth: Math.round(110 * Theme.grown)
                implicitHeight: 6
                radius: 3
                color: Theme.color.controlPressed

                Rectangle {
                    width: Math.round(parent.width * Math.max(0, root.site.used))
                    height: parent.height
                    radius: 3
                    color: root.site.used > 0.95 ? Theme.color.badDot : Theme.color.accent
                }
            }

            Words {
                text: root.site.drive
                font: Theme.font.caption
                color: Theme.color.caption
                Accessible.ignored: true
            }
        }

        Words {
            text: root.site.size
            horizontalAlignment: Text.AlignRight
            Layout.minimumWidth: Math.round(70 * Theme.grown)
            Accessible.ignored: true
        }

        Item {
            implicitWidth: button.implicitWidth // in every row, so that sizes stand below each other
            implicitHeight: Theme.size.controlHeight

            Words {
                visible: root.site.serving
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "serving"
                font: Theme.font.caption
                color: Theme.color.caption
                Accessible.ignored: true
            }

            ActionButton {
                id: button

                visible: !root.site.serving && root.site.canServe
                anchors.right: parent.right
                text: "Serve from this drive"
                reason: root.site.reason
                onActivated: root.serve()
            }
        }
    }

    FocusRing {
        gap: -2
        shown: root.activeFocus
    }
}
