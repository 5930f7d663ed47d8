pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// What each pane is for.
PaneFrame {
    id: root

    title: "Guide"

    Card {
        Layout.fillWidth: true

        Repeater {
            model: root.model.guideTopics()

            GuideRow {
                required property int index
                required property guideTopic modelData

                topic: modelData
                separated: index > 0
                Layout.fillWidth: true
            }
        }
    }
}
