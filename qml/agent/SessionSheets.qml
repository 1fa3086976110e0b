import QtQuick
import Velmarin
import Velmarin.Models

// The sheets of a session conversation and the ways between them: settings
// lead to CLAUDE.md, the env files and the file explorer; the explorer to
// the viewer. Placed once in the window.
Item {
    id: sheets
    objectName: "sessionSheets"
    readonly property var settings: AppModel.sessionSettings

    function openSettings(chatId) {
        settings.open(chatId)
        settingsSheet.open()
    }
    function openClaudeMd(chatId) {
        claudeMdSheet.present(chatId)
    }
    function openEnvFile(chatId, name) {
        envSheet.present(chatId, name)
    }
    function openFiles(chatId) {
        AppModel.remoteFiles.openExplorer(chatId)
        explorerSheet.open()
    }
    function openViewer(path, name) {
        AppModel.remoteFiles.openFile(path, name)
        viewerSheet.open()
    }
    function openFolderBrowser() {
        folderSheet.open()
    }

    Connections {
        target: sheets.settings
        function onSheetRequested(name, argument) {
            const chatId = AppModel.selectedChatId
            if (name === "settings")
                sheets.openSettings(chatId)
            else if (name === "folders")
                sheets.openFolderBrowser()
            else if (name === "files")
                sheets.openFiles(chatId)
            else if (name === "claudemd")
                sheets.openClaudeMd(chatId)
            else if (name === "env") {
                sheets.openSettings(chatId)
                sheets.openEnvFile(chatId, argument)
            } else if (name === "file") {
                AppModel.remoteFiles.openExplorer(chatId)
                sheets.openViewer(argument, argument.substring(argument.lastIndexOf("/") + 1))
            }
        }
    }

    ChatSettingsSheet {
        id: settingsSheet
        onOpenClaudeMd: sheets.openClaudeMd(sheets.settings.chatId)
        onOpenFiles: sheets.openFiles(sheets.settings.chatId)
        onOpenEnvFile: name => sheets.openEnvFile(sheets.settings.chatId, name)
    }
    ClaudeMdEditorView {
        id: claudeMdSheet
    }
    EnvFileEditorView {
        id: envSheet
        onSaved: sheets.settings.reloadEnvFiles()
    }
    FileExplorerView {
        id: explorerSheet
        onOpenFile: entry => sheets.openViewer(entry.path, entry.name)
    }
    FileViewerView {
        id: viewerSheet
    }
    RemoteFolderBrowser {
        id: folderSheet
        onJoinByCode: AppModel.openSheet("joinByCode")
    }
    FileSaveModifier {}
}
