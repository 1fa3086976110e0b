import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The composer: what a reply answers or which message is being edited, the
// pictures and files waiting to go, and the draft. Enter sends, Shift+Enter
// adds a line, Ctrl+Enter sends with priority, Up on an empty draft edits the
// last own message, Esc drops the reply or the edit.
Rectangle {
    id: bar
    readonly property var composer: AppModel.composer
    readonly property var timeline: AppModel.timeline
    readonly property bool replying: composer.replyTo.id !== undefined
    readonly property bool hasImages: composer.pendingImages.length > 0
    readonly property bool hasFiles: composer.pendingFiles.length > 0

    function openQualityMenu() {
        attachments.openQualityMenu()
    }
    function focusDraft() {
        input.forceActiveFocus()
    }
    function attach(urls) {
        for (let i = 0; i < urls.length; ++i) {
            const path = String(urls[i]).toLowerCase()
            if (/\.(png|jpe?g|gif|bmp|webp|heic)$/.test(path))
                composer.addImageFile(urls[i])
            else
                composer.addFile(urls[i])
        }
    }

    implicitHeight: column.implicitHeight + Theme.pad * 2
    color: Theme.window

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.separator
    }

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: Theme.pad
        anchors.leftMargin: Theme.padM
        anchors.rightMargin: Theme.padM
        spacing: Theme.pad

        // Reply or edit target.
        RowLayout {
            visible: bar.replying || bar.composer.editing
            Layout.fillWidth: true
            spacing: Theme.pad
            Icon {
                symbol: bar.composer.editing ? "pencil" : "arrowshape.turn.up.left"
                color: Theme.accentText
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0
                Text {
                    Layout.fillWidth: true
                    text: bar.composer.editing ? Loc.l("Edit message", Loc.revision)
                        : Loc.lf("Reply to %@", [bar.composer.replyTo.senderName || ""], Loc.revision)
                    color: Theme.accentText
                    font.pixelSize: Theme.secondary
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                }
                Text {
                    Layout.fillWidth: true
                    visible: bar.replying
                    text: (bar.composer.replyTo.text || "").split("\n")[0]
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                }
            }
            IconButton {
                symbol: "xmark"
                label: Loc.l("Cancel", Loc.revision)
                onClicked: bar.composer.cancelReplyOrEdit()
            }
        }

        PendingAttachments {
            id: attachments
            Layout.fillWidth: true
            visible: bar.hasImages || bar.hasFiles
            composer: bar.composer
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.pad
            IconButton {
                objectName: "attachButton"
                Layout.alignment: Qt.AlignBottom
                symbol: "paperclip"
                label: Loc.l("Attach", Loc.revision)
                onClicked: picker.active = true
            }
            IconButton {
                objectName: "pasteButton"
                Layout.alignment: Qt.AlignBottom
                visible: bar.composer.canPasteImage && !bar.hasImages
                symbol: "doc.on.clipboard"
                label: Loc.l("Paste", Loc.revision)
                onClicked: bar.composer.pasteImage()
            }
            AgentComposerIcons {
                Layout.alignment: Qt.AlignBottom
                Layout.fillWidth: false
            }
            ScrollView {
                id: scroller
                Layout.fillWidth: true
                // Grows to eight lines, then scrolls.
                Layout.preferredHeight: Math.min(input.implicitHeight, 8 * input.font.pixelSize * 1.35 + input.topPadding + input.bottomPadding)
                ScrollBar.horizontal.policy: ScrollBar.AlwaysOff

                TextArea {
                    id: input
                    objectName: "composerInput"
                    placeholderText: Loc.l("Message", Loc.revision)
                    Accessible.name: Loc.l("Message", Loc.revision)
                    wrapMode: TextEdit.Wrap
                    font.pixelSize: Theme.body
                    color: Theme.text
                    placeholderTextColor: Theme.textSecondary
                    selectionColor: Theme.accentFill
                    selectedTextColor: Theme.accentForeground
                    selectByMouse: true
                    leftPadding: Theme.padM
                    rightPadding: Theme.padM
                    topPadding: 9
                    bottomPadding: 9
                    text: bar.composer.draft
                    onTextChanged: if (text !== bar.composer.draft) bar.composer.draft = text
                    background: Rectangle {
                        radius: 18
                        color: Theme.surface
                        border.width: input.activeFocus ? 2 : 1
                        border.color: input.activeFocus ? Theme.focusRing : Theme.fieldBorder
                    }

                    Keys.onShortcutOverride: event => {
                        event.accepted = event.key === Qt.Key_Escape
                                && (bar.composer.editing || bar.replying)
                    }
                    Keys.onEscapePressed: event => {
                        if (bar.composer.editing || bar.replying)
                            bar.composer.cancelReplyOrEdit()
                        else
                            event.accepted = false
                    }
                    Keys.onUpPressed: event => {
                        const last = text.length === 0 ? bar.timeline.lastOwnMessageId() : 0
                        if (last !== 0)
                            bar.composer.startEdit(last)
                        else
                            event.accepted = false
                    }
                    Keys.onPressed: event => {
                        if (event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter) {
                            if (event.matches(StandardKey.Paste) && bar.composer.canPasteImage) {
                                bar.composer.pasteImage()
                                event.accepted = true
                            }
                            return
                        }
                        if (event.modifiers & Qt.ShiftModifier) {
                            event.accepted = false
                            return
                        }
                        event.accepted = true
                        bar.composer.send((event.modifiers & Qt.ControlModifier) !== 0)
                    }
                }
            }
            // Hold to record; slide up to keep recording hands-free; release to send.
            IconButton {
                id: micButton
                objectName: "micButton"
                Layout.alignment: Qt.AlignBottom
                symbol: "mic.fill"
                label: Loc.l("Record voice message", Loc.revision)
                iconColor: AppModel.voice.activeChatId !== 0 ? Theme.danger : Theme.text
                visible: bar.composer.draft.trim().length === 0 && !bar.composer.editing
                MouseArea {
                    id: hold
                    anchors.fill: parent
                    preventStealing: true
                    property bool slid: false
                    onPressed: {
                        slid = false
                        AppModel.voice.begin(AppModel.selectedChatId, AppModel.selectedChatTitle)
                    }
                    onPositionChanged: mouse => {
                        if (!slid && mouse.y < -48) {
                            slid = true
                            AppModel.voice.lock()
                        }
                    }
                    onReleased: if (!AppModel.voice.locked) AppModel.voice.finishAndSend(false)
                    onCanceled: if (!AppModel.voice.locked) AppModel.voice.cancel()
                }
            }
            IconButton {
                objectName: "sendButton"
                Layout.alignment: Qt.AlignBottom
                symbol: "paperplane.fill"
                label: Loc.l("Send", Loc.revision)
                iconColor: Theme.accent
                enabled: bar.composer.draft.trim().length > 0
                onClicked: {
                    bar.composer.send(false)
                    input.forceActiveFocus()
                }
            }
        }
    }

    // Starts a hands-free recording for this conversation, or sends the one running.
    Shortcut {
        sequence: "Ctrl+Shift+M"
        enabled: AppModel.selectedChatId !== 0
        onActivated: AppModel.toggleVoiceRecording()
    }
    RecordingOverlay {
        objectName: "recordingOverlay"
        // Over the whole window, above every pane.
        parent: bar.Window.contentItem
        anchors.fill: parent
        z: 1000
        visible: AppModel.voice.activeChatId !== 0
    }

    Loader {
        id: picker
        active: false
        sourceComponent: AttachmentPicker {
            // The dialog goes once it has answered; the next click makes a fresh one.
            onPicked: files => {
                bar.attach(files)
                Qt.callLater(() => picker.active = false)
            }
            onRejected: Qt.callLater(() => picker.active = false)
            Component.onCompleted: open()
        }
    }
}
