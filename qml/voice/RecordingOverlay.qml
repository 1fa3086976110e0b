import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Shown over the whole window while a voice message records: where it goes,
// a pulsing microphone, the clock, the moving level bars, and Cancel and Send.
// Esc cancels. The actions default to the recording's own cancel and send.
Rectangle {
    id: overlay
    property var voice: AppModel.voice
    property string heading: ""
    property string sendLabel: ""
    property string sendIcon: "arrow.up"
    property var cancelAction: null
    property var sendAction: null
    readonly property var recorder: voice.recorder

    function cancel() {
        if (cancelAction)
            cancelAction()
        else
            voice.cancel()
    }
    function send() {
        if (sendAction)
            sendAction()
        else
            voice.finishAndSend(false)
    }

    color: Theme.scrim
    focus: visible
    onVisibleChanged: if (visible) forceActiveFocus()
    Keys.onShortcutOverride: event => event.accepted = event.key === Qt.Key_Escape
    Keys.onEscapePressed: cancel()
    Accessible.role: Accessible.Dialog
    Accessible.name: headingText.text

    // Clicks on the scrim stay here.
    MouseArea {
        anchors.fill: parent
        acceptedButtons: Qt.AllButtons
    }

    Rectangle {
        id: card
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 96
        width: Math.min(parent.width - 2 * Theme.padL, 440)
        height: column.implicitHeight + 2 * Theme.padL
        radius: Theme.radiusCard
        color: Theme.surfaceRaised
        border.color: Theme.separator

        ColumnLayout {
            id: column
            anchors.fill: parent
            anchors.margins: Theme.padL
            spacing: Theme.padM

            Text {
                id: headingText
                Layout.fillWidth: true
                text: overlay.heading.length > 0 ? overlay.heading
                    : Loc.l("Recording to", Loc.revision) + " " + overlay.voice.title
                color: Theme.text
                font.pixelSize: Theme.header
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                horizontalAlignment: Text.AlignHCenter
            }

            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.padM
                Icon {
                    id: mic
                    objectName: "recordingMic"
                    symbol: "mic.fill"
                    size: 28
                    color: Theme.danger
                    SequentialAnimation on opacity {
                        running: overlay.visible
                        loops: Animation.Infinite
                        NumberAnimation { to: 0.35; duration: 600; easing.type: Easing.InOutQuad }
                        NumberAnimation { to: 1.0; duration: 600; easing.type: Easing.InOutQuad }
                    }
                }
                Text {
                    objectName: "recordingClock"
                    text: AppModel.formatClock(overlay.recorder.elapsed)
                    color: Theme.text
                    font.pixelSize: Theme.header
                }
            }

            VoiceLevelBars {
                objectName: "recordingBars"
                Layout.alignment: Qt.AlignHCenter
                levels: overlay.recorder.levels
                color: Theme.accent
            }

            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                visible: overlay.voice.activeChatId !== 0
                spacing: 4
                Icon {
                    symbol: overlay.voice.locked ? "lock.fill" : "arrow.up"
                    size: 14
                    color: Theme.textSecondary
                }
                Text {
                    visible: !overlay.voice.locked
                    text: Loc.l("Slide up to lock", Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                }
            }

            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.pad
                SecondaryButton {
                    objectName: "recordingCancel"
                    Layout.fillWidth: true
                    text: Loc.l("Cancel", Loc.revision)
                    onClicked: overlay.cancel()
                }
                PrimaryButton {
                    objectName: "recordingSend"
                    Layout.fillWidth: true
                    text: overlay.sendLabel.length > 0 ? overlay.sendLabel : Loc.l("Send", Loc.revision)
                    onClicked: overlay.send()
                }
            }
        }
    }
}
