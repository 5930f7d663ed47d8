pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T
import CodeManager

// The models of the project's catalog, to tick and to install.
Card {
    id: root

    required property ManagerModel model

    readonly property bool empty: list.count === 0

    Accessible.role: Accessible.Grouping
    Accessible.name: "Models"

    RowLayout {
        Layout.leftMargin: Theme.spacing.large - 2
        Layout.rightMargin: Theme.spacing.medium
        Layout.topMargin: Theme.spacing.small
        Layout.bottomMargin: Theme.spacing.small

        Heading {
            text: "Models"
            font: Theme.font.section
            Layout.fillWidth: true
        }

        ActionButton {
            text: "Select All"
            reason: root.empty ? "There is nothing to select." : ""
            onActivated: root.model.requestSelectAllModels()
        }
    }

    Words {
        visible: root.empty
        text: root.model.noModelsText
        color: Theme.color.secondary
        wrapMode: Text.Wrap
        Layout.fillWidth: true
        Layout.leftMargin: Theme.spacing.large - 2
        Layout.rightMargin: Theme.spacing.large - 2
        Layout.bottomMargin: Theme.spacing.small
    }

    ListView {
        id: list

        visible: !root.empty
        clip: true
        implicitHeight: contentHeight
        model: root.model.checklist
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: true
        activeFocusOnTab: true
        keyNavigationEnabled: true
        highlightMoveDuration: 0
        Accessible.role: Accessible.List
        Accessible.name: "Models of the catalog"
        Layout.fillWidth: true
        Layout.fillHeight: true
        T.ScrollBar.vertical: ThinScrollBar {}
        Keys.onSpacePressed: root.model.checklist.toggle(list.currentIndex)
        onActiveFocusChanged: {
            if (list.activeFocus && list.currentIndex < 0)
                list.currentIndex = 0;
        }

        delegate: ModelRow {
            required property int index

            width: list.width
            current: list.activeFocus && ListView.isCurrentItem
            onToggled: {
                list.currentIndex = index;
                root.model.checklist.toggle(index);
            }
        }
    }

    Rectangle {
        visible: !root.empty
        implicitHeight: 1
        color: Theme.color.separator
        Layout.leftMargin: 1
        Layout.rightMargin: 1
        Layout.fillWidth: true
    }

    RowLayout {
        visible: !root.empty
        Layout.margins: Theme.spacing.medium

        ActionButton {
            text: root.model.busy ? "Installing…" : root.model.installCheckedText
            kind: ActionButton.Primary
            reason: root.model.reasonAgainstOperations
            running: root.model.busy
            onActivated: root.model.requestInstallChecked()
        }
    }
}
