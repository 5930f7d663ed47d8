pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Templates as T

// A list of as many rows as are wanted, each with a tick, two lines of text and a size, and nothing behind them.
Window {
    id: root

    required property int rows

    width: 980
    height: 640
    visible: true
    title: "Bare list"

    ListView {
        id: list

        readonly property int page: Math.floor(list.height / 44) - 1

        anchors.fill: parent
        model: root.rows
        clip: true
        focus: true
        boundsBehavior: Flickable.StopAtBounds
        reuseItems: true
        highlightMoveDuration: 0
        T.ScrollBar.vertical: T.ScrollBar {
            implicitWidth: 10
            contentItem: Rectangle {
                color: "#B8BECA"
            }
        }
        Keys.onPressed: event => {
            if (event.key === Qt.Key_PageDown)
                list.currentIndex = Math.min(list.count - 1, list.currentIndex + list.page);
            else if (event.key === Qt.Key_PageUp)
                list.currentIndex = Math.max(0, list.currentIndex - list.page);
            else if (event.key === Qt.Key_Home)
                list.currentIndex = 0;
            else if (event.key === Qt.Key_End)
                list.currentIndex = list.count - 1;
        }

        delegate: Item {
            id: row

            required property int index

            width: list.width
            height: 44

            Rectangle {
                anchors.fill: parent
                border.width: 1
                border.color: "#E6E8ED"
            }

            Rectangle {
                x: 12
                y: 14
                width: 16
                height: 16
                radius: 3
                border.width: 1
            }

            T.Label {
                x: 48
                y: 5
                text: "Row " + row.index
            }

            T.Label {
                x: 48
                y: 23
                text: "/a/folder/of/rows/" + row.index
            }

            T.Label {
                anchors.right: parent.right
                y: 14
                text: row.index + " KB"
            }
        }
    }
}
