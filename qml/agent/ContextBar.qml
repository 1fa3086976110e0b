import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// How full the session's context is, with the model and effort menus and the
// badge of what actually runs.
AgentBarLine {
    id: bar
    objectName: "contextBar"
    readonly property var agent: AppModel.agent

    Accessible.role: Accessible.StatusBar
    Accessible.name: agent.contextText + ", " + agent.contextPercent

    Icon { symbol: "gauge.with.dots.needle.33percent"; color: bar.agent.contextColor; size: 18 }
    Text {
        objectName: "contextText"
        text: bar.agent.contextText
        color: Theme.text
        font.pixelSize: Theme.secondary
    }
    Text {
        text: bar.agent.contextPercent
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
    }
    Rectangle {
        Layout.fillWidth: true
        Layout.minimumWidth: 40
        Layout.maximumWidth: 220
        implicitHeight: 6
        radius: 3
        color: Theme.hover
        Rectangle {
            width: Math.max(height, parent.width * bar.agent.contextShare)
            height: parent.height
            radius: 3
            color: bar.agent.contextColor
            Behavior on width { NumberAnimation { duration: Theme.motion } }
        }
    }
    Item { Layout.fillWidth: true }
    MenuChip {
        text: Loc.l("Model", Loc.revision)
        options: bar.agent.modelOptions
        onChosen: option => bar.agent.setModel(option.id)
    }
    MenuChip {
        text: Loc.l("Effort", Loc.revision)
        options: bar.agent.effortOptions
        onChosen: option => bar.agent.setEffort(option.raw)
    }
    CCModelBadge {
        objectName: "modelBadge"
        text: bar.agent.modelBadge
        tint: bar.agent.modelBadgeTint
    }
}
