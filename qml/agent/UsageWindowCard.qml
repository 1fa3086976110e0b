import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// One usage window: a ring of the share used with a tick at the share of
// time passed, whether that is ahead of pace, and when it resets.
Rectangle {
    id: card
    property var usageWindow: ({})
    readonly property color tone: usageWindow.overPace ? Theme.ahead : Theme.online

    implicitHeight: column.implicitHeight + 2 * Theme.padM
    radius: Theme.radiusCard
    color: Theme.surfaceRaised
    Accessible.role: Accessible.Grouping
    Accessible.name: Loc.l(usageWindow.title || "", Loc.revision)

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: Theme.padM
        spacing: Theme.pad

        RowLayout {
            Layout.fillWidth: true
            Text {
                Layout.fillWidth: true
                text: Loc.l(card.usageWindow.title || "", Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.body
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Rectangle {
                implicitWidth: pill.implicitWidth + 2 * Theme.pad
                implicitHeight: pill.implicitHeight + 4
                radius: height / 2
                color: Qt.rgba(card.tone.r, card.tone.g, card.tone.b, 0.16)
                Text {
                    id: pill
                    anchors.centerIn: parent
                    text: Loc.l(card.usageWindow.pill || "", Loc.revision)
                    color: card.tone
                    font.pixelSize: Theme.caption
                    font.weight: Font.DemiBold
                }
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.padL
            Item {
                Layout.preferredWidth: 76
                Layout.preferredHeight: 76
                PieSlice {
                    anchors.fill: parent
                    fraction: (card.usageWindow.util || 0) / 100
                    color: card.tone
                    trackColor: Theme.hover
                }
                Rectangle {
                    anchors.centerIn: parent
                    width: 52
                    height: 52
                    radius: 26
                    color: Theme.surfaceRaised
                    Text {
                        anchors.centerIn: parent
                        text: Math.round(card.usageWindow.util || 0) + "%"
                        color: Theme.text
                        font.pixelSize: Theme.body
                        font.weight: Font.DemiBold
                    }
                }
                RadialTick {
                    anchors.fill: parent
                    visible: card.usageWindow.expected >= 0
                    fraction: card.usageWindow.expected / 100
                    color: Theme.text
                    length: 12
                }
            }
            GridLayout {
                Layout.fillWidth: true
                columns: 2
                rowSpacing: 4
                columnSpacing: Theme.padM
                Text { text: Loc.l("Used", Loc.revision); color: Theme.textSecondary; font.pixelSize: Theme.secondary }
                Text {
                    text: Math.round(card.usageWindow.util || 0) + "%"
                    color: card.tone
                    font.pixelSize: Theme.secondary
                    font.weight: Font.DemiBold
                }
                Text {
                    visible: card.usageWindow.expected >= 0
                    text: Loc.l("Elapsed", Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                }
                Text {
                    visible: card.usageWindow.expected >= 0
                    text: Math.round(card.usageWindow.expected) + "%"
                    color: Theme.text
                    font.pixelSize: Theme.secondary
                }
                Text {
                    visible: (card.usageWindow.countdown || "").length > 0
                    text: Loc.l("Resets in", Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                }
                Text {
                    visible: (card.usageWindow.countdown || "").length > 0
                    text: card.usageWindow.countdown || ""
                    color: Theme.text
                    font.pixelSize: Theme.secondary
                }
            }
        }
        Text {
            visible: (card.usageWindow.resetClock || "").length > 0
            text: Loc.l("Resets", Loc.revision) + " " + (card.usageWindow.resetClock || "")
            color: Theme.textSecondary
            font.pixelSize: Theme.caption
        }
    }
}
