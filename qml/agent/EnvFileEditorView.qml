import QtQuick
import Velmarin
import Velmarin.Models

// One env file of a session's folder; a new name is created when it saves.
TextFileEditorSheet {
    id: envEditor
    objectName: "envFileEditorView"
    signal saved()

    function present(chatId, name) {
        AppModel.fileEditor.openEnvFile(chatId, name)
        open()
    }

    Connections {
        target: AppModel.fileEditor
        function onSaved() {
            if (AppModel.fileEditor.envName.length > 0)
                envEditor.saved()
        }
    }
}
