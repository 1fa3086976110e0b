import QtQuick
import QtQuick.Dialogs
import Velmarin.Core

// Picks pictures and files to send. Made on first use.
FileDialog {
    signal picked(var files)

    fileMode: FileDialog.OpenFiles
    nameFilters: [Loc.l("All files", Loc.revision) + " (*)",
                  Loc.l("Images", Loc.revision) + " (*.png *.jpg *.jpeg *.gif *.bmp *.webp)"]
    onAccepted: picked(selectedFiles)
}
