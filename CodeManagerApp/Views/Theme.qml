pragma Singleton

import QtQuick
import CodeManager

// Every colour, distance and type of the window, and no other place.
QtObject {
    id: root

    component Colors: QtObject {
        readonly property color titleInk: "#1F2937"
        readonly property color ink: "#1D2330"
        readonly property color ember: "#E4572E"
        readonly property color secondary: "#5B6476"
        readonly property color caption: "#6B7385"
        readonly property color accent: "#2F6FED"
        readonly property color accentPressed: "#245BC7"
        readonly property color accentInk: "#FFFFFF"
        readonly property color goodText: "#15803D"
        readonly property color badText: "#C2372B"
        readonly property color goodDot: "#22A55A"
        readonly property color badDot: "#D9483B"
        readonly property color restDot: "#BFBFBF" // white at 75 %
        readonly property color warning: "#B45309"
        readonly property color canvas: "#FAFAFC"
        readonly property color card: "#FFFFFF"
        readonly property color header: "#FFFFFF"
        readonly property color sidebar: "#F3F4F6"
        readonly property color sidebarEdge: "#E3E5EA"
        readonly property color sidebarHover: "#E7E9EE"
        readonly property color sectionHead: "#F8F9FB"
        readonly property color cardBorder: "#E6E8ED"
        readonly property color separator: "#F0F1F4"
        readonly property color controlBorder: "#D5D9E0"
        readonly property color badBorder: "#EBC5C1" // of what destroys
        readonly property color controlHover: "#F5F6F8"
        readonly property color controlPressed: "#EBEDF1"
        readonly property color disabledText: "#9AA1AF"
        readonly property color tickBox: "#848C9C"
        readonly property color scrollBar: "#848C9C"
        readonly property color hintBackground: "#1F2937"
        readonly property color hintText: "#FFFFFF"
        readonly property color dim: "#40101828"
        readonly property color selectedText: "#BFD4FB"
        readonly property list<color> shares: ["#7C5CE0", "#2F6FED", "#14A38F", "#F0A020", "#E4572E", "#D9489B"]
        readonly property color rest: "#A5ADBD"
    }

    component Radii: QtObject {
        readonly property int card: 10
        readonly property int control: 7
        readonly property int sidebarRow: 7
    }

    component Spacings: QtObject {
        readonly property int tiny: 4
        readonly property int small: 8
        readonly property int medium: 12
        readonly property int large: 16
        readonly property int huge: 22
    }

    component Sizes: QtObject {
        readonly property int sidebarWidth: Math.round(204 * WindowStyle.textScale)
        readonly property int headerHeight: Math.round(52 * WindowStyle.textScale)
        readonly property int rowHeight: Math.round(40 * WindowStyle.textScale)
        readonly property int sectionHeight: Math.round(38 * WindowStyle.textScale)
        readonly property int itemHeight: Math.round(44 * WindowStyle.textScale)
        readonly property int sidebarRowHeight: Math.round(30 * WindowStyle.textScale)
        readonly property int controlHeight: Math.round(28 * WindowStyle.textScale)
        readonly property int labelWidth: Math.round(130 * WindowStyle.textScale)
        readonly property int symbol: Math.round(16 * WindowStyle.textScale)
        readonly property int noteSymbol: Math.round(40 * WindowStyle.textScale)
        readonly property int dot: 8
        readonly property int columnWidth: Math.round(1200 * WindowStyle.textScale)
        readonly property int textWidth: Math.round(640 * WindowStyle.textScale)
    }

    component Fonts: QtObject {
        readonly property font headline: Qt.font({family: WindowStyle.family, pixelSize: Math.round(16 * WindowStyle.textScale), weight: Font.DemiBold})
        readonly property font section: Qt.font({family: WindowStyle.family, pixelSize: Math.round(13 * WindowStyle.textScale), weight: Font.DemiBold})
        readonly property font body: Qt.font({family: WindowStyle.family, pixelSize: Math.round(13 * WindowStyle.textScale)})
        readonly property font strong: Qt.font({family: WindowStyle.family, pixelSize: Math.round(13 * WindowStyle.textScale), weight: Font.Medium})
        readonly property font caption: Qt.font({family: WindowStyle.family, pixelSize: Math.round(11 * WindowStyle.textScale)})
        readonly property font monospaced: Qt.font({family: WindowStyle.monospacedFamily, pixelSize: Math.round(11 * WindowStyle.textScale)})
    }

    // How much larger than usual the desktop's text is.
    readonly property real grown: WindowStyle.textScale
    // Milliseconds that a change of state takes.
    readonly property int fade: WindowStyle.reducedMotion ? 0 : 120

    readonly property Colors color: Colors {}
    readonly property Radii radius: Radii {}
    readonly property Spacings spacing: Spacings {}
    readonly property Sizes size: Sizes {}
    readonly property Fonts font: Fonts {}
}
