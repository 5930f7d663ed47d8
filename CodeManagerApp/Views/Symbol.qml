import QtQuick

// A symbol by its name. Decoration: what it stands for is said beside it or by the control that it is on.
Item {
    id: root

    required property string name
    property color color: Theme.color.secondary
    property int size: Theme.size.symbol

    readonly property int pixels: Math.round(root.size * Screen.devicePixelRatio)

    implicitWidth: root.size
    implicitHeight: root.size
    Accessible.ignored: true

    Image {
        anchors.fill: parent
        source: root.name === "" ? "" : "image://symbol/" + root.name + "/" + String(root.color).slice(-6)
        sourceSize.width: root.pixels
        sourceSize.height: root.pixels
        fillMode: Image.PreserveAspectFit
    }
}
