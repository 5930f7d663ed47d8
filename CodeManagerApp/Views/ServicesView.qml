pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// The backend's launch agent: whether it runs, and what can be done with it.
PaneFrame {
    id: root

    title: "Services"
    busy: root.model.busy || root.model.refreshing
    refreshable: true
    fills: true
    onRefresh: root.model.requestRefresh()

    Card {
        padding: Theme.spacing.large
        spacing: Theme.spacing.large
        Layout.fillWidth: true

        RowLayout {
            spacing: Theme.spacing.medium
            Layout.fillWidth: true

            Heading {
                text: "mlx-vantor"
                font: Theme.font.section
            }

            Rectangle {
                visible: root.model.serviceRuns !== undefined
                implicitWidth: Theme.size.dot
                implicitHeight: Theme.size.dot
                radius: Theme.size.dot / 2
                color: root.model.serviceRuns === true ? Theme.color.goodDot : Theme.color.badDot
                Layout.rightMargin: -Theme.spacing.tiny
            }

            SelectableText {
                text: root.model.serviceState
                font: Theme.font.strong
                color: root.model.serviceRuns === true ? Theme.color.goodText : root.model.serviceRuns === false ? Theme.color.badText : Theme.color.secondary
                Layout.fillWidth: true
            }
        }

        Flow {
            spacing: Theme.spacing.small
            Layout.fillWidth: true

            Repeater {
                model: root.model.serviceActions.length

                ActionButton {
                    required property int index
                    readonly property actionState action: root.model.serviceActions[index]

                    text: action.title
                    reason: action.reason
                    onActivated: root.model.requestService(index)
                }
            }

            ActionButton {
                text: root.model.openLogAction.title
                reason: root.model.openLogAction.reason
                onActivated: root.model.requestOpenLog()
            }
        }
    }

    ConsoleView {
        text: root.model.console
    }

    Item {
        Layout.fillHeight: true
    }
}
