import QtQuick
import Velmarin
import Velmarin.Models

// The project instructions of a session: its CLAUDE.md.
TextFileEditorSheet {
    objectName: "claudeMdEditorView"

    function present(chatId) {
        AppModel.fileEditor.openClaudeMd(chatId)
        open()
    }
}
