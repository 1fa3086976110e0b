import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Saving files of the Mac: the progress while they come, then a folder
// chooser ("Save Here"), and an alert when one could not be fetched.
Item {
    id: flow
    readonly property var files: AppModel.remoteFiles

    Popup {
        id: progress
        parent: T.Overlay.overlay
        x: Math.round((parent.width - width) / 2)
        y: Math.round((parent.height - height) / 2)
        visible: files.saveCount > 0
        modal: true
        closePolicy: Popup.NoAutoClose
        padding: Theme.padL
        background: Rectangle {
            radius: Theme.radiusCard
            color: Theme.surface
            border.width: 1
            border.color: Theme.separator
        }
        RowLayout {
            spacing: Theme.pad
            BusyIndicator {
                Layout.preferredWidth: 20
                Layout.preferredHeight: 20
                running: progress.visible
            }
            Text {
                text: Loc.lf("Saving %@ of %@…", [String(files.saveIndex), String(files.saveCount)], Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.body
            }
        }
    }
    FolderDialog {
        id: chooser
        acceptLabel: Loc.l("Save Here", Loc.revision)
        onAccepted: files.saveInto(selectedFolder)
    }
    MoveFailedAlert {
        id: failed
        title: Loc.l("Couldn't save", Loc.revision)
        onClosed: files.clearSaveFailure()
    }
    Connections {
        target: files
        function onReadyToSave() { chooser.open() }
        function onSavingChanged() {
            if (files.saveFailed && !failed.opened)
                failed.show(Loc.l("Couldn't fetch the file(s) from your Mac. Make sure the Velmarin Mac app is open.", Loc.revision))
        }
    }
}
