import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// After an idle hour with a full context: the advice to reset, in French on
// purpose, with the three ways out.
AgentBarLine {
    id: bar
    objectName: "idleResetBar"
    readonly property var agent: AppModel.agent

    tint: Theme.accentWash
    Accessible.role: Accessible.AlertMessage
    Accessible.name: advice.text

    Icon { symbol: "clock.arrow.circlepath"; color: Theme.accentText }
    ColumnLayout {
        Layout.fillWidth: true
        Layout.topMargin: 6
        Layout.bottomMargin: 6
        spacing: 6
        Text {
            id: advice
            Layout.fillWidth: true
            text: "Pour économiser sur votre usage Claude Code, nous vous conseillons de réinitialiser votre contexte maintenant."
            color: Theme.text
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
        }
        Flow {
            Layout.fillWidth: true
            spacing: Theme.pad
            BarChipButton {
                objectName: "idleResetNow"
                text: "Réinitialiser"
                strong: true
                onClicked: bar.agent.resetContext(false)
            }
            BarChipButton {
                text: "Garder les 50 derniers messages"
                onClicked: bar.agent.resetContext(true)
            }
            BarChipButton {
                text: "Continuer sans réinitialiser"
                onClicked: bar.agent.dismissIdleReset()
            }
        }
    }
    IconButton {
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 2
        symbol: "xmark"
        label: Loc.l("Close", Loc.revision)
        onClicked: bar.agent.dismissIdleReset()
    }
}
