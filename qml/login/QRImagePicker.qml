import QtQuick
import QtQuick.Dialogs
import Velmarin.Core

// Picks a picture that holds an invite QR. Made on first use, so the login
// screen does not pay for the dialog at start.
FileDialog {
    signal picked(url file)

    nameFilters: [Loc.l("Images", Loc.revision) + " (*.png *.jpg *.jpeg *.gif *.bmp *.webp)"]
    onAccepted: picked(selectedFile)
}
