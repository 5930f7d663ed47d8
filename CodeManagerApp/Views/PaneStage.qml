import QtQuick

// Shows one pane. The next one is made bit by bit between the window's other work, behind the one that is shown and takes
// its place when it is whole, so that neither a key nor a frame waits for it.
Item {
    id: root

    readonly property Item pane: root.front.item as Item
    property Loader front: first
    readonly property Loader back: root.front === first ? second : first
    property bool changing: false

    // Told before the pane that is shown goes.
    signal leaving

    // The first pane is there at once. What is asked for while another is on its way takes that one's place.
    function show(view: string, properties: var) {
        const loader = root.pane === null ? root.front : root.back;
        root.changing = loader === root.back;
        loader.asynchronous = root.changing;
        loader.setSource(view, properties);
    }

    function exchange() {
        root.leaving();
        const gone = root.front;
        root.front = root.back;
        root.changing = false;
        gone.source = "";
    }

    Loader {
        id: first

        anchors.fill: parent
        visible: root.front === first
        onLoaded: {
            if (root.back === first)
                root.exchange();
        }
    }

    Loader {
        id: second

        anchors.fill: parent
        visible: root.front === second
        onLoaded: {
            if (root.back === second)
                root.exchange();
        }
    }

    // What is pressed meanwhile is not meant for the pane that goes.
    MouseArea {
        anchors.fill: parent
        visible: root.changing
        hoverEnabled: true
        acceptedButtons: Qt.AllButtons
        onWheel: wheel => wheel.accepted = true
    }
}
