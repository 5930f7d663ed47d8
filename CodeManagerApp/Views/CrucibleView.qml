import QtQuick
import QtQuick.Layouts
import CodeManager

PaneFrame {
    id: root

    required property ManagerModel model

    title: "Crucible"
    fills: true

    CenterNote {
        symbol: root.model.panes[root.model.section].symbol
        text: "This pane is not there yet."
        Layout.fillWidth: true
        Layout.fillHeight: true
    }
}
