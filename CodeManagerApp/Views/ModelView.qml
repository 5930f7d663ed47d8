pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// The model that is served, and the models that can be installed.
PaneFrame {
    id: root

    title: "Model"
    busy: root.model.busy || root.model.refreshing
    refreshable: true
    fills: true
    onRefresh: {
        root.model.requestRefresh();
        root.model.requestModels();
    }
    Component.onCompleted: root.model.requestModels()

    Card {
        Layout.fillWidth: true

        Repeater {
            model: root.model.modelRows.length

            StatRow {
                required property int index
                readonly property statRowValue row: root.model.modelRows[index]

                label: row.label
                value: row.value
                good: row.good
                separated: index > 0
                path: label === "Path"
                Layout.fillWidth: true
            }
        }

        ModelActions {
            model: root.model
            Layout.margins: Theme.spacing.medium
            Layout.fillWidth: true
        }
    }

    ModelPicker {
        model: root.model
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.minimumHeight: Math.min(implicitHeight, 190)
        Layout.preferredHeight: Layout.minimumHeight
        Layout.maximumHeight: implicitHeight
    }

    ConsoleView {
        text: root.model.console
    }

    Item {
        Layout.fillHeight: true
    }
}
