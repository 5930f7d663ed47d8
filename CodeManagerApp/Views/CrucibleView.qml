pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Layouts
import CodeManager

// The copies of the weights on all drives, and the two links that decide which one is used.
PaneFrame {
    id: root

    // Another copy was chosen here: the rows are read anew once that is done.
    property bool served: false

    title: "Crucible"
    symbol: "flame"
    busy: root.model.crucibleBusy
    refreshable: true
    fills: true
    onRefresh: root.model.requestCrucible()
    Component.onCompleted: root.model.requestCrucible()

    Connections {
        target: root.model

        function onCrucibleBusyChanged() {
            if (root.served && !root.model.crucibleBusy) {
                root.served = false;
                root.model.requestCrucible();
            }
        }
    }

    ColumnLayout {
        spacing: Theme.spacing.small
        Layout.fillWidth: true

        Heading {
            text: "Crucibles on this Mac"
            font: Theme.font.section
            Layout.leftMargin: 2
        }

        Words {
            visible: !root.model.crucibleKnown
            text: "Reading crucible layout…"
            color: Theme.color.secondary
            Layout.leftMargin: 2
        }

        Words {
            visible: root.model.crucibleKnown && root.model.crucibleSites.length === 0
            text: "The product's descriptor names no store of weights."
            color: Theme.color.secondary
            wrapMode: Text.Wrap
            Layout.leftMargin: 2
            Layout.fillWidth: true
        }

        Card {
            visible: root.model.crucibleSites.length > 0
            Layout.fillWidth: true

            Repeater {
                model: root.model.crucibleSites.length

                CrucibleSiteRow {
                    required property int index

                    site: root.model.crucibleSites[index]
                    separated: index > 0
                    Layout.fillWidth: true
                    onServe: {
                        root.served = true;
                        root.model.requestServe(index);
                    }
                    onCopied: root.model.copyText(site.path)
                }
            }
        }
    }

    CrucibleLinksView {
        visible: root.model.crucibleKnown
        links: root.model.crucibleLinks
        dangling: root.model.servedLinkDangles
        Layout.fillWidth: true
    }

    CrucibleRootPicker {
        model: root.model
        Layout.fillWidth: true
    }

    CrucibleLinkTools {
        model: root.model
        Layout.fillWidth: true
    }

    ConsoleView {
        text: root.model.console
    }

    Item {
        Layout.fillHeight: true
    }
}
