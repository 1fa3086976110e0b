import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// While the agent works: the looping meter, what it does now, the tools it
// drives, and a stop button that reads "Stopping…" once pressed.
AgentBarLine {
    id: status
    objectName: "ccStatusBar"
    readonly property var agent: AppModel.agent

    Accessible.role: Accessible.StatusBar
    Accessible.name: agent.statusLine

    WorkingIndicator { Layout.alignment: Qt.AlignVCenter }
    Text {
        objectName: "statusLine"
        Layout.fillWidth: true
        text: status.agent.statusLine
        color: Theme.text
        font.pixelSize: Theme.secondary
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }
    ToolChip {
        visible: status.agent.chromeActive
        symbol: "globe"
        text: Loc.l("Using Chrome", Loc.revision)
    }
    ToolChip {
        visible: status.agent.screenshotActive
        symbol: "camera.viewfinder"
        text: Loc.l("Using Screenshot", Loc.revision)
    }
    BusyIndicator {
        visible: status.agent.stopRequested
        running: visible
        implicitWidth: 18
        implicitHeight: 18
    }
    Text {
        objectName: "stoppingText"
        visible: status.agent.stopRequested
        text: Loc.l("Stopping…", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
    }
    IconButton {
        objectName: "stopButton"
        visible: !status.agent.stopRequested
        symbol: "stop.circle.fill"
        iconColor: Theme.danger
        label: Loc.l("Stop", Loc.revision)
        onClicked: status.agent.stop()
    }
}
