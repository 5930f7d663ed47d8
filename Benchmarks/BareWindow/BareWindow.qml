pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as T

Window {
    id: root

    width: 980
    height: 640
    visible: true
    title: "Bare"

    Column {
        width: 204
        height: parent.height

        Repeater {
            model: 8

            T.ItemDelegate {
                id: row

                required property int index

                width: 204
                implicitHeight: 30
                contentItem: T.Label {
                    text: "Row " + row.index
                }
                background: Rectangle {
                    radius: 7
                    color: "#F3F4F6"
                }
            }
        }
    }

    Flickable {
        x: 204
        width: root.width - 204
        height: parent.height
        contentHeight: column.implicitHeight
        T.ScrollBar.vertical: T.ScrollBar {}

        ColumnLayout {
            id: column

            width: root.width - 204

            T.Label {
                text: "Heading"
                font.pixelSize: 16
            }

            Repeater {
                model: 5

                RowLayout {
                    id: line

                    required property int index

                    T.Label {
                        text: "Label " + line.index
                        Layout.preferredWidth: 130
                    }

                    TextEdit {
                        readOnly: true
                        text: "Value"
                        Layout.fillWidth: true
                    }
                }
            }

            T.Button {
                implicitWidth: 80
                implicitHeight: 28
                contentItem: T.Label {
                    text: "Press"
                }
                background: Rectangle {
                    radius: 7
                    border.width: 1
                }
            }
        }
    }
}
