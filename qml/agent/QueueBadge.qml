import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Where an own message stands with the agent: "QUEUED" with the send-now
// button (and the bolt for a priority message), or the meter while in work.
RowLayout {
    id: badge
    property var info: ({})
    property color ink: Theme.accentForeground
    readonly property string status: info.status || ""

    visible: status.length > 0
    spacing: 4

    WorkingIndicator {
        visible: badge.status === "processing"
        barCount: 4
        barHeight: 10
        color: badge.ink
    }
    Icon {
        visible: badge.status === "pending"
        symbol: "tray.full.fill"
        size: 13
        color: badge.ink
    }
    Text {
        visible: badge.status === "pending"
        text: Loc.l("QUEUED", Loc.revision)
        color: badge.ink
        font.pixelSize: Theme.caption
        font.weight: Font.Bold
        font.letterSpacing: 0.5
    }
    Icon {
        visible: badge.status === "pending" && badge.info.priority === true
        symbol: "bolt.fill"
        size: 13
        color: badge.ink
    }
    IconButton {
        objectName: "sendNowButton"
        visible: badge.status === "pending"
        implicitWidth: 24
        implicitHeight: 24
        iconSize: 16
        symbol: "bolt.circle.fill"
        iconColor: badge.ink
        label: Loc.l("Send now", Loc.revision)
        onClicked: AppModel.agent.sendNow(badge.info.id)
    }
}
