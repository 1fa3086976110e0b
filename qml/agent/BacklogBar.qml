import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The messages waiting for the agent: one line that opens their review;
// choosing one edits it before the agent gets to it.
AgentBarLine {
    id: bar
    objectName: "backlogBar"
    readonly property var agent: AppModel.agent
    signal editBacklog(var messageId)

    Button {
        id: open
        objectName: "backlogButton"
        Layout.fillWidth: true
        implicitHeight: 30
        flat: true
        padding: 0
        Accessible.name: bar.agent.backlogText
        onClicked: review.open()
        contentItem: RowLayout {
            spacing: Theme.pad
            Icon { symbol: "tray.full.fill"; size: 18; color: Theme.accentText }
            Text {
                objectName: "backlogText"
                Layout.fillWidth: true
                text: bar.agent.backlogText
                color: Theme.text
                font.pixelSize: Theme.secondary
                elide: Text.ElideRight
            }
            Icon { symbol: "chevron.up"; size: 18; color: Theme.textSecondary }
        }
        background: Rectangle {
            radius: Theme.radiusControl
            color: open.down ? Theme.accentWash : open.hovered ? Theme.hover : "transparent"
        }
    }

    Popup {
        id: review
        objectName: "backlogReview"
        x: 0
        y: -height - Theme.pad
        width: Math.min(bar.width - 2 * Theme.padL, 520)
        padding: Theme.pad
        modal: false
        focus: true
        background: Rectangle {
            radius: Theme.radiusCard
            color: Theme.surfaceRaised
            border.color: Theme.separator
        }
        contentItem: ColumnLayout {
            spacing: 2
            Text {
                Layout.margins: Theme.pad
                text: Loc.l("Queued messages", Loc.revision)
                color: Theme.textSecondary
                font.pixelSize: Theme.caption
                font.weight: Font.DemiBold
            }
            Repeater {
                model: bar.agent.backlog
                ItemDelegate {
                    objectName: "backlogEntry"
                    required property var modelData
                    Layout.fillWidth: true
                    implicitHeight: 34
                    Accessible.name: modelData.text
                    onClicked: {
                        review.close()
                        bar.editBacklog(modelData.id)
                    }
                    contentItem: RowLayout {
                        spacing: Theme.pad
                        Icon {
                            visible: modelData.priority
                            symbol: "bolt.fill"
                            size: 14
                            color: Theme.accentText
                        }
                        Text {
                            Layout.fillWidth: true
                            text: modelData.text
                            color: Theme.text
                            font.pixelSize: Theme.body
                            elide: Text.ElideRight
                            textFormat: Text.PlainText
                        }
                        Icon { symbol: "pencil"; size: 14; color: Theme.textSecondary }
                    }
                    background: Rectangle {
                        radius: Theme.radiusControl
                        color: parent.hovered ? Theme.hover : "transparent"
                    }
                }
            }
        }
    }
}
