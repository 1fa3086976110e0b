import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// "Files": the session's working folder, one level at a time; files open in
// the viewer, and a selection of them can be saved into a local folder.
AgentSheet {
    id: sheet
    objectName: "fileExplorerView"
    readonly property var files: AppModel.remoteFiles
    signal openFile(var entry)

    title: files.depth > 1 ? files.level.title : Loc.l("Files", Loc.revision)
    showBack: files.depth > 1
    preferredWidth: 600
    preferredHeight: 640
    onBackClicked: files.back()

    trailing: [
        SecondaryButton {
            visible: files.selecting
            text: Loc.l("Cancel", Loc.revision)
            onClicked: files.selecting = false
        },
        PrimaryButton {
            objectName: "explorerSelect"
            visible: !files.level.loading && !files.level.failed
            text: !files.selecting ? Loc.l("Select", Loc.revision)
                  : files.selectedCount > 0 ? Loc.l("Save", Loc.revision) + " " + files.selectedCount
                  : Loc.l("Save", Loc.revision)
            enabled: !files.selecting || files.selectedCount > 0
            onClicked: {
                if (!files.selecting)
                    files.selecting = true
                else
                    files.fetchSelected()
            }
        }
    ]

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padM
        spacing: Theme.pad
        Text {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.pad
            text: files.level.path || ""
            color: Theme.textSecondary
            font.family: Theme.monoFamily
            font.pixelSize: Theme.secondary
            elide: Text.ElideMiddle
        }
        FileLevelView {
            Layout.fillWidth: true
            Layout.fillHeight: true
            onOpenEntry: entry => {
                if (entry.isDir)
                    files.openDir(entry.path, entry.name)
                else
                    sheet.openFile(entry)
            }
        }
    }
}
