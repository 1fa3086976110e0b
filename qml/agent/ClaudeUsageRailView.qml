import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Models

// Two small pies of the main sign-in's use, 5 hours and 7 days: red when use
// runs ahead of the time passed, with a tick where pace stands.
GridLayout {
    id: rail
    objectName: "claudeUsageRail"
    property bool vertical: true
    property int pieSize: 22

    columns: vertical ? 1 : 2
    rowSpacing: 6
    columnSpacing: Theme.pad

    Repeater {
        model: AppModel.usage.pies
        delegate: ColumnLayout {
            required property var modelData
            spacing: 2
            Accessible.role: Accessible.Indicator
            Accessible.name: modelData.short + " " + Math.round(modelData.util) + "%"
            Item {
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: rail.pieSize
                Layout.preferredHeight: rail.pieSize
                PieSlice {
                    anchors.fill: parent
                    fraction: modelData.util / 100
                    color: modelData.overPace ? Theme.danger : Theme.online
                    trackColor: Theme.hover
                }
                RadialTick {
                    anchors.fill: parent
                    visible: modelData.expected >= 0
                    fraction: modelData.expected / 100
                    color: Theme.text
                    length: rail.pieSize / 4
                }
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: modelData.short
                color: Theme.textSecondary
                font.pixelSize: Theme.caption
            }
        }
    }
}
