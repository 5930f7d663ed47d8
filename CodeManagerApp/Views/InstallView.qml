pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// Builds and installs the product from its project folder.
PaneFrame {
    id: root

    title: "Install"
    busy: root.model.busy || root.model.refreshing
    placesProgress: true
    refreshable: true
    fills: true
    onRefresh: root.model.requestRefresh()

    ProjectRow {
        model: root.model
        Layout.fillWidth: true
    }

    Card {
        padding: Theme.spacing.large
        spacing: Theme.spacing.small
        Layout.fillWidth: true

        Heading {
            text: "Install / Update"
        }

        Words {
            text: root.model.installDescription
            color: Theme.color.secondary
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        TickChoice {
            text: root.model.desktopChoice
            ticked: root.model.installDesktop
            Layout.topMargin: Theme.spacing.tiny
            Layout.leftMargin: -Theme.spacing.tiny
            onToggleRequested: root.model.installDesktop = !root.model.installDesktop
        }

        Flow {
            spacing: Theme.spacing.small
            Layout.topMargin: Theme.spacing.tiny
            Layout.fillWidth: true

            ActionButton {
                text: root.model.busy ? "Installing…" : "Install / Update Everything"
                kind: ActionButton.Primary
                reason: root.model.reasonAgainstOperations
                running: root.model.busy
                onActivated: root.model.requestInstallEverything()
            }

            ActionButton {
                text: "CLI only"
                reason: root.model.reasonAgainstOperations
                onActivated: root.model.requestInstallCli()
            }
        }

        Loader {
            active: root.model.progress.shown
            visible: active
            Layout.topMargin: Theme.spacing.small
            Layout.fillWidth: true
            Component.onCompleted: setSource("ProgressLine.qml", {
                "progress": root.model.progress
            })
        }
    }

    ConsoleView {
        text: root.model.console
    }

    Item {
        Layout.fillHeight: true
    }
}
