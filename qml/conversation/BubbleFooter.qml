import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Under a bubble: its reactions, one chip per emoji with how many gave it
// (the person's own in the accent), and under the newest own message of a
// group the names of those who have read it.
Column {
    id: footer
    property var row: ({})

    readonly property var reactions: row.reactions || []
    readonly property var readBy: row.readBy || []
    // Re-read whenever rows come or go: a newer own message takes the line over.
    readonly property bool newestOwn: {
        AppModel.timeline.count
        return row.isMine === true && row.messageId === AppModel.timeline.lastOwnMessageId()
    }
    readonly property bool showsReaders: newestOwn && readBy.length > 0

    visible: reactions.length > 0 || showsReaders
    spacing: 4

    Flow {
        objectName: "reactions"
        visible: footer.reactions.length > 0
        width: footer.width
        spacing: 4
        layoutDirection: footer.row.isMine === true ? Qt.RightToLeft : Qt.LeftToRight
        Repeater {
            model: footer.reactions
            Rectangle {
                required property var modelData
                width: chipText.implicitWidth + 16
                height: 24
                radius: 12
                color: modelData.mine ? Theme.accentWash : Theme.surfaceRaised
                border.width: 1
                border.color: modelData.mine ? Theme.accent : Theme.separator
                Accessible.role: Accessible.StaticText
                Accessible.name: modelData.emoji + " " + modelData.count
                Text {
                    id: chipText
                    anchors.centerIn: parent
                    text: parent.modelData.emoji + " " + parent.modelData.count
                    color: Theme.text
                    font.pixelSize: Theme.secondary
                }
            }
        }
    }
    Text {
        objectName: "readReceipts"
        visible: footer.showsReaders
        width: footer.width
        horizontalAlignment: footer.row.isMine === true ? Text.AlignRight : Text.AlignLeft
        text: Loc.lf("Read by %@", [footer.readBy.join(", ")], Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.caption
        elide: Text.ElideRight
    }
}
