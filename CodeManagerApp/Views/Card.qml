import QtQuick
import QtQuick.Layouts

// A white sheet on the canvas; what it holds stands in a column.
Rectangle {
    id: root

    default property alias content: column.data
    property int padding: 0
    property alias spacing: column.spacing

    implicitHeight: column.implicitHeight + 2 * root.padding
    implicitWidth: column.implicitWidth + 2 * root.padding
    radius: Theme.radius.card
    color: Theme.color.card
    border.width: 1
    border.color: Theme.color.cardBorder

    ColumnLayout {
        id: column

        anchors.fill: parent
        anchors.margins: root.padding
        spacing: 0
    }
}
