import QtQuick

// A symbol by its name. Decoration: what it stands for is said beside it or by the control that it is on.
Image {
    id: root

    required property string name
    property color color: Theme.color.secondary
    property int size: Theme.size.symbol

    readonly property int pixels: Math.round(root.size * Screen.devicePixelRatio)

    source: root.name === "" ? "" : "image://symbol/" + root.name + "/" + String(root.color).slice(-6)
    sourceSize.width: root.pixels
    sourceSize.height: root.pixels
    width: root.size
    height: root.size
    fillMode: Image.PreserveAspectFit
    Accessible.ignored: true
}
