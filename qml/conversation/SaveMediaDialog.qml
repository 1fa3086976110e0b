import QtQuick
import QtQuick.Dialogs
import Velmarin.Core
import Velmarin.Models

// Asks where a file or picture of a message goes, then saves it there.
FileDialog {
    id: dialog
    property string mediaUrl

    function ask(url, name) {
        mediaUrl = url
        selectedFile = AppModel.transfers.suggestedTarget(name)
        open()
    }

    fileMode: FileDialog.SaveFile
    title: Loc.l("Save", Loc.revision)
    onAccepted: AppModel.transfers.save(mediaUrl, selectedFile)
}
