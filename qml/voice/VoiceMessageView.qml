import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A voice message in its bubble: play or pause, the progress (click to seek)
// while it plays, and the transcript. A message without one gets 30 seconds
// from its creation for the server's transcript, then a note that none came.
ColumnLayout {
    id: view
    property var media: ({})
    property string transcript: ""
    property bool isMine: false
    property var createdAt: Date.now()
    property color ink: Theme.text
    property color inkSoft: Theme.textSecondary
    property bool transcribeFailed: false

    readonly property var player: AppModel.player
    readonly property string url: media && media.url ? String(media.url) : ""
    readonly property bool isPlaying: url.length > 0 && String(player.playingURL) === url
    readonly property bool whisperAvailable: AppModel.whisperAvailable
    readonly property real progress: isPlaying && player.duration > 0 ? player.position / player.duration : 0

    function restartTranscriptWait() {
        waitForTranscript.stop()
        transcribeFailed = false
        if (transcript.length > 0)
            return
        if (!whisperAvailable) {
            transcribeFailed = true
            return
        }
        // The timeline gives milliseconds since the epoch; a Date works too.
        const created = createdAt instanceof Date ? createdAt.getTime() : Number(createdAt) || Date.now()
        const left = 30000 - (Date.now() - created)
        if (left > 0) {
            waitForTranscript.interval = left
            waitForTranscript.start()
        } else {
            transcribeFailed = true
        }
    }

    spacing: 4
    onTranscriptChanged: restartTranscriptWait()
    onWhisperAvailableChanged: restartTranscriptWait()
    onCreatedAtChanged: restartTranscriptWait()
    Component.onCompleted: restartTranscriptWait()

    Timer {
        id: waitForTranscript
        repeat: false
        onTriggered: if (view.transcript.length === 0) view.transcribeFailed = true
    }

    RowLayout {
        spacing: Theme.pad
        IconButton {
            objectName: "voicePlayButton"
            symbol: view.isPlaying ? "pause.circle.fill" : "play.circle.fill"
            label: view.isPlaying ? Loc.l("Pause", Loc.revision) : Loc.l("Play", Loc.revision)
            iconSize: 32
            iconColor: view.ink
            onClicked: view.player.toggle(view.url)
        }
        ColumnLayout {
            spacing: 4
            Layout.preferredWidth: 180
            RowLayout {
                spacing: 4
                Icon {
                    symbol: "waveform"
                    size: 16
                    color: view.ink
                }
                Text {
                    Layout.fillWidth: true
                    text: Loc.l("Voice message", Loc.revision)
                    color: view.ink
                    font.pixelSize: Theme.body
                }
                Text {
                    objectName: "voiceTime"
                    visible: view.isPlaying && view.player.duration > 0
                    text: AppModel.formatDuration(view.player.position / 1000) + " / "
                          + AppModel.formatDuration(view.player.duration / 1000)
                    color: view.inkSoft
                    font.pixelSize: Theme.caption
                }
            }
            // The track; a click jumps there while the message plays.
            Item {
                Layout.fillWidth: true
                implicitHeight: 12
                Rectangle {
                    anchors.verticalCenter: parent.verticalCenter
                    width: parent.width
                    height: 3
                    radius: 1.5
                    color: Qt.rgba(view.inkSoft.r, view.inkSoft.g, view.inkSoft.b, 0.35)
                    Rectangle {
                        objectName: "voiceProgress"
                        width: parent.width * view.progress
                        height: parent.height
                        radius: parent.radius
                        color: view.ink
                    }
                }
                MouseArea {
                    anchors.fill: parent
                    enabled: view.isPlaying
                    cursorShape: enabled ? Qt.PointingHandCursor : Qt.ArrowCursor
                    onClicked: mouse => view.player.seek(view.url, mouse.x / width)
                }
            }
        }
    }

    Text {
        objectName: "voiceTranscript"
        visible: view.transcript.length > 0
        Layout.fillWidth: true
        text: view.transcript
        color: view.ink
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
    }
    RowLayout {
        objectName: "voiceTranscriptFailed"
        visible: view.transcript.length === 0 && view.transcribeFailed
        spacing: 4
        Icon {
            symbol: "exclamationmark.circle"
            size: 14
            color: view.inkSoft
        }
        Text {
            text: Loc.l("This message couldn’t be transcribed", Loc.revision)
            color: view.inkSoft
            font.pixelSize: Theme.secondary
            font.italic: true
        }
    }
}
