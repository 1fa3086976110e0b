import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// One message: own ones on the right in the accent, others' on the left on a
// neutral surface; the sender's name in groups, a reply quote, pictures, the
// styled text with its tables, and the time with the ticks at the bottom.
Item {
    id: bubble
    property var row: ({})
    property real maxWidth: 400
    signal contextMenu(real x, real y)
    signal jumpTo(var messageId)
    signal openMedia(var info)
    signal saveMedia(string url, string name)

    readonly property bool mine: row.isMine === true
    // The agent's word on this message: queue state, or the prompt it answers.
    readonly property var agentBadge: row.agentBadge || ({})
    readonly property color ink: mine ? Theme.accentForeground : Theme.text
    readonly property color inkSoft: mine ? Qt.rgba(1, 1, 1, 0.8) : Theme.textSecondary
    readonly property bool hasAlbum: !!row.album && row.album.length > 0
    readonly property bool hasImage: !hasAlbum && !!row.media && row.media.kind === "image"
    readonly property bool hasFile: !!row.file && row.file.name !== undefined
    readonly property bool isVoice: !!row.media && row.media.kind === "audio"
    readonly property real innerMax: maxWidth - 2 * Theme.padM
    // Rich text takes its link colour from a style sheet, not from linkColor.
    readonly property string linkStyle: "<style>a { color: " + (mine ? Theme.accentForeground : Theme.accentText) + "; }</style>"

    implicitHeight: body.implicitHeight + (under.visible ? under.implicitHeight + 4 : 0)
    Accessible.role: Accessible.StaticText
    Accessible.name: (mine ? "" : row.senderName + ": ") + (row.text || "") + ", " + (row.time || "")

    Rectangle {
        id: body
        anchors.right: bubble.mine ? parent.right : undefined
        anchors.left: bubble.mine ? undefined : parent.left
        width: Math.min(bubble.maxWidth, content.implicitWidth + 2 * Theme.padM)
        implicitHeight: content.implicitHeight + 2 * Theme.pad
        radius: Theme.radiusBubble
        color: bubble.row.emojiOnly ? "transparent" : bubble.mine ? Theme.accentFill : Theme.surfaceRaised

        // The last bubble of a run points at its sender with a tighter corner.
        Rectangle {
            visible: bubble.row.groupEnd === true && !bubble.row.emojiOnly
            width: Theme.radiusBubble
            height: Theme.radiusBubble
            radius: Theme.radiusBubbleTail
            color: parent.color
            anchors.bottom: parent.bottom
            anchors.right: bubble.mine ? parent.right : undefined
            anchors.left: bubble.mine ? undefined : parent.left
        }

        ColumnLayout {
            id: content
            x: Theme.padM
            y: Theme.pad
            width: body.width - 2 * Theme.padM
            spacing: 4

            Text {
                visible: bubble.row.showSender === true
                text: bubble.row.senderName || ""
                color: bubble.row.senderColor || Theme.accentText
                font.pixelSize: Theme.secondary
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                Layout.maximumWidth: bubble.innerMax
            }
            Text {
                visible: (bubble.row.forwarded || "").length > 0
                text: bubble.row.forwarded || ""
                color: bubble.inkSoft
                font.pixelSize: Theme.secondary
                font.italic: true
                Layout.maximumWidth: bubble.innerMax
                elide: Text.ElideRight
            }
            ReplyQuote {
                visible: !!bubble.row.reply && bubble.row.reply.id !== undefined
                reply: bubble.row.reply || ({})
                overAccent: bubble.mine
                Layout.fillWidth: true
                Layout.maximumWidth: bubble.innerMax
                onJump: id => bubble.jumpTo(id)
            }
            ReplyQuote {
                objectName: "answeredQuote"
                visible: !!bubble.agentBadge.answered
                reply: bubble.agentBadge.answered || ({})
                Layout.fillWidth: true
                Layout.maximumWidth: bubble.innerMax
                onJump: id => bubble.jumpTo(id)
            }
            AlbumGrid {
                visible: bubble.hasAlbum
                items: bubble.hasAlbum ? bubble.row.album : []
                maxWidth: Math.min(bubble.innerMax, 360)
                onOpen: info => bubble.openMedia(info)
            }
            MediaImage {
                visible: bubble.hasImage
                info: bubble.hasImage ? bubble.row.media : ({})
                maxWidth: Math.min(bubble.innerMax, 360)
                onOpen: bubble.openMedia(info)
            }
            // A voice message: play it, follow it, read its transcript.
            VoiceMessageView {
                objectName: "voiceRow"
                visible: bubble.isVoice
                media: bubble.isVoice ? bubble.row.media : ({})
                transcript: bubble.isVoice ? bubble.row.transcript || "" : ""
                isMine: bubble.mine
                createdAt: bubble.row.createdAt
                ink: bubble.ink
                inkSoft: bubble.inkSoft
                Layout.maximumWidth: bubble.innerMax
            }
            FileChip {
                visible: bubble.hasFile
                file: bubble.hasFile ? bubble.row.file : ({})
                ink: bubble.ink
                inkSoft: bubble.inkSoft
                maxWidth: bubble.innerMax
                onSaveRequested: (url, name) => bubble.saveMedia(url, name)
            }
            Repeater {
                model: bubble.hasFile ? [] : bubble.row.blocks || []
                Loader {
                    required property var modelData
                    Layout.maximumWidth: bubble.innerMax
                    sourceComponent: modelData.kind === "table" ? tableBlock : textBlock
                    property var block: modelData
                }
            }
            Text {
                visible: !bubble.isVoice && (bubble.row.transcript || "").length > 0
                text: bubble.row.transcript || ""
                color: bubble.inkSoft
                font.pixelSize: Theme.secondary
                font.italic: true
                wrapMode: Text.Wrap
                Layout.maximumWidth: bubble.innerMax
            }
            RowLayout {
                Layout.alignment: Qt.AlignRight
                spacing: 4
                QueueBadge {
                    Layout.fillWidth: false
                    info: bubble.agentBadge
                    ink: bubble.inkSoft
                }
                Text {
                    visible: bubble.row.edited === true
                    text: Loc.l("edited", Loc.revision)
                    color: bubble.inkSoft
                    font.pixelSize: Theme.caption
                }
                Text {
                    text: bubble.row.time || ""
                    color: bubble.row.emojiOnly ? Theme.textSecondary : bubble.inkSoft
                    font.pixelSize: Theme.caption
                }
                Icon {
                    visible: bubble.mine
                    symbol: bubble.row.readState === "pending" ? "clock" : "checkmark"
                    size: 13
                    color: bubble.row.readState === "read" ? Theme.accentForeground : bubble.inkSoft
                    font.weight: bubble.row.readState === "read" ? Font.Bold : Font.Normal
                }
            }
        }
    }

    // Reactions and, for own messages in groups, who has read it.
    BubbleFooter {
        id: under
        y: body.height + 4
        anchors.right: bubble.mine ? parent.right : undefined
        anchors.left: bubble.mine ? undefined : parent.left
        width: Math.min(bubble.maxWidth, parent.width)
        row: bubble.row
    }

    Component {
        id: textBlock
        Text {
            width: Math.min(implicitWidth, bubble.innerMax)
            text: parent ? bubble.linkStyle + parent.block.richText : ""
            textFormat: Text.RichText
            wrapMode: Text.Wrap
            color: bubble.ink
            font.pixelSize: bubble.row.emojiOnly ? Theme.emojiLarge : Theme.body
            onLinkActivated: link => AppModel.openLink(link)
            HoverHandler {
                cursorShape: parent.hoveredLink.length > 0 ? Qt.PointingHandCursor : Qt.ArrowCursor
            }
        }
    }
    Component {
        id: tableBlock
        TableBlock {
            header: parent ? parent.block.header : []
            rows: parent ? parent.block.rows : []
            aligns: parent ? parent.block.aligns : []
            ink: bubble.ink
            linkStyle: bubble.linkStyle
            rule: bubble.mine ? Qt.rgba(1, 1, 1, 0.3) : Theme.separator
            maxWidth: bubble.innerMax
        }
    }

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: eventPoint => bubble.contextMenu(eventPoint.position.x, eventPoint.position.y)
    }
    TapHandler {
        acceptedDevices: PointerDevice.TouchScreen
        onLongPressed: bubble.contextMenu(point.position.x, point.position.y)
    }
}
