import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Models

// The build of this conversation: what it does, with its progress below.
AgentBarLine {
    id: bar
    objectName: "buildStatusBar"
    readonly property var agent: AppModel.agent

    Accessible.role: Accessible.ProgressBar
    Accessible.name: agent.buildLine

    Icon { symbol: bar.agent.buildSymbol; color: Theme.accentText; size: 18 }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 4
        Text {
            objectName: "buildLine"
            Layout.fillWidth: true
            text: bar.agent.buildLine
            color: Theme.text
            font.pixelSize: Theme.secondary
            elide: Text.ElideRight
        }
        BuildProgressBar {
            Layout.fillWidth: true
            percent: bar.agent.buildPercent
            building: bar.agent.buildActive
        }
    }
}
