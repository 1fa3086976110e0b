import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Models

// The agent's bars over the composer, top to bottom: idle advice, context,
// build, working status, queue. Each shows only when it has something to say.
ColumnLayout {
    id: bars
    readonly property var agent: AppModel.agent
    signal editBacklog(var messageId)

    spacing: 0

    IdleResetBar {
        Layout.fillWidth: true
        visible: bars.agent.showIdleReset
    }
    ContextBar {
        Layout.fillWidth: true
        visible: bars.agent.hasContext
    }
    BuildStatusBar {
        Layout.fillWidth: true
        visible: bars.agent.hasBuild
    }
    AgentStatusBar {
        Layout.fillWidth: true
        visible: bars.agent.working
    }
    BacklogBar {
        Layout.fillWidth: true
        visible: bars.agent.backlogCount > 0
        onEditBacklog: id => bars.editBacklog(id)
    }
}
