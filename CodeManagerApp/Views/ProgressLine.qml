import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import CodeManager

// Where the operation under way stands: its step, a bar, the time it has taken, what it printed last, and a way to stop
// it.
RowLayout {
    id: root

    required property Progress progress

    spacing: Theme.spacing.large
    visible: root.progress.shown

    ColumnLayout {
        spacing: Theme.spacing.small - 2
        Layout.fillWidth: true

        T.ProgressBar {
            id: bar

            readonly property bool counted: root.progress.fraction >= 0

            value: Math.max(0, root.progress.fraction)
            indeterminate: !bar.counted
            implicitHeight: 6
            Accessible.name: root.progress.text
            Accessible.description: root.progress.lastLine
            Layout.fillWidth: true

            background: Rectangle {
                radius: 3
                color: Theme.color.controlPressed
            }

            // Of one that counts, the part that is done; else a piece that wanders, or rests in the middle.
            contentItem: Item {
                clip: true

                Rectangle {
                    width: bar.counted ? Math.round(parent.width * bar.visualPosition) : Math.round(parent.width / 4)
                    height: parent.height
                    radius: 3
                    color: Theme.color.accent
                    x: bar.counted ? 0 : Math.round((parent.width - width) / 2)

                    Behavior on width {
                        NumberAnimation {
                            duration: Theme.fade
                        }
                    }

                    SequentialAnimation on x {
                        running: !bar.counted && root.visible && Theme.fade > 0
                        loops: Animation.Infinite

                        NumberAnimation {
                            from: 0
                            to: bar.width * 3 / 4
                            duration: 1400
                            easing.type: Easing.InOutQuad
                        }
                        NumberAnimation {
                            from: bar.width * 3 / 4
                            to: 0
                            duration: 1400
                            easing.type: Easing.InOutQuad
                        }
                    }
                }
            }
        }

        RowLayout {
            spacing: Theme.spacing.medium

            Words {
                id: step

                text: root.progress.text
                font: Theme.font.caption
                color: Theme.color.secondary
                Layout.fillWidth: true
                Layout.minimumWidth: Math.min(Layout.maximumWidth, bar.width * 0.6)
                Layout.maximumWidth: Math.ceil(implicitWidth)

                Hint {
                    text: step.truncated ? root.progress.text : ""
                }
            }

            Words {
                id: line

                text: root.progress.lastLine
                font: Theme.font.monospaced
                color: Theme.color.caption
                horizontalAlignment: Text.AlignRight
                Layout.fillWidth: true
                Accessible.ignored: true

                Hint {
                    text: line.truncated ? root.progress.lastLine : ""
                }
            }

            Words {
                text: root.progress.elapsed
                font: Theme.font.caption
                color: Theme.color.secondary
                horizontalAlignment: Text.AlignRight
                Layout.minimumWidth: Math.round(28 * Theme.grown)
                Accessible.name: "Elapsed " + root.progress.elapsed
            }
        }
    }

    ActionButton {
        text: "Stop"
        name: "Stop the operation"
        reason: root.progress.reasonAgainstStopping
        onActivated: root.progress.stop()
    }
}
