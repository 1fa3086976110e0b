import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The editor of a text file of the session's folder, over the one editor
// model: ClaudeMdEditorView and EnvFileEditorView are its two uses. A failed
// save keeps the text; a good one closes the sheet.
AgentSheet {
    id: sheet
    readonly property var editor: AppModel.fileEditor
    readonly property bool isEnv: editor.envName.length > 0
    property bool copied: false

    title: editor.title
    preferredWidth: 640
    preferredHeight: 620

    trailing: [
        IconButton {
            visible: sheet.isEnv
            symbol: sheet.copied ? "checkmark" : "doc.on.doc"
            label: sheet.copied ? Loc.l("Copied", Loc.revision) : Loc.l("Copy all", Loc.revision)
            onClicked: {
                editor.copyAll()
                sheet.copied = true
                copiedTimer.restart()
            }
        },
        PrimaryButton {
            objectName: "editorSave"
            text: editor.saving ? Loc.l("Saving…", Loc.revision) : Loc.l("Save", Loc.revision)
            enabled: editor.dirty && !editor.saving && !editor.loading && !editor.loadFailed
            onClicked: editor.save()
        }
    ]

    Timer {
        id: copiedTimer
        interval: 1500
        onTriggered: sheet.copied = false
    }
    Connections {
        target: editor
        function onSaved() { sheet.close() }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padL
        spacing: Theme.pad

        LoadState {
            Layout.fillWidth: true
            Layout.fillHeight: editor.loading || editor.loadFailed
            visible: editor.loading || editor.loadFailed
            loading: editor.loading
            loadingText: Loc.l("Loading…", Loc.revision)
            failedTitle: editor.loadFailed
                         ? (sheet.isEnv ? Loc.l("Couldn’t load ", Loc.revision) + editor.envName
                                        : Loc.l("Couldn’t load CLAUDE.md", Loc.revision))
                         : ""
            failedNote: Loc.l("The host didn’t respond. Make sure it’s online and try again.", Loc.revision)
            onRetry: editor.reload()
        }
        ScrollView {
            visible: !editor.loading && !editor.loadFailed
            Layout.fillWidth: true
            Layout.fillHeight: true
            background: Rectangle {
                radius: Theme.radiusControl
                color: Theme.surface
                border.width: 1
                border.color: Theme.fieldBorder
            }
            TextArea {
                objectName: "editorText"
                text: editor.text
                onTextChanged: if (text !== editor.text) editor.text = text
                placeholderText: sheet.isEnv ? "API_URL=https://example.com\nAPI_KEY=…" : ""
                placeholderTextColor: Theme.textSecondary
                color: Theme.text
                font.family: Theme.monoFamily
                font.pixelSize: 13
                wrapMode: TextEdit.NoWrap
                selectByMouse: true
                selectionColor: Theme.accentFill
                selectedTextColor: Theme.accentForeground
                padding: Theme.padM
                background: null
                Accessible.name: editor.title
            }
        }
        Text {
            visible: editor.saveFailed
            Layout.fillWidth: true
            text: Loc.l("Couldn’t save — try again.", Loc.revision)
            color: Theme.dangerText
            font.pixelSize: Theme.secondary
        }
    }
}
