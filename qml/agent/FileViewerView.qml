import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A text file of the Mac, read-only, up to the viewer's cap.
AgentSheet {
    id: sheet
    objectName: "fileViewerView"
    readonly property var files: AppModel.remoteFiles
    readonly property var viewer: files.viewer

    title: viewer.name || ""
    preferredWidth: 720
    preferredHeight: 640

    trailing: [
        SecondaryButton {
            objectName: "viewerSave"
            text: Loc.l("Save…", Loc.revision)
            symbol: "arrow.down"
            enabled: !sheet.viewer.loading
            onClicked: files.fetchViewed()
        }
    ]

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padL
        spacing: Theme.pad

        LoadState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: sheet.viewer.loading || sheet.viewer.error.length > 0
            loading: sheet.viewer.loading === true
            loadingText: Loc.l("Reading ", Loc.revision) + (sheet.viewer.name || "") + "…"
            failedTitle: sheet.viewer.error === "binary" ? Loc.l("Can't preview this file", Loc.revision)
                       : sheet.viewer.error.length > 0 ? Loc.l("Couldn't open file", Loc.revision) : ""
            failedNote: sheet.viewer.error === "binary"
                        ? Loc.l("This looks like a binary file (image, archive, …), not text.", Loc.revision)
                        : Loc.l("The Mac couldn't read it. Make sure the app is open.", Loc.revision)
            onRetry: files.openFile(sheet.viewer.path, sheet.viewer.name)
        }
        Text {
            visible: !sheet.viewer.loading && sheet.viewer.error.length === 0 && sheet.viewer.text.length === 0
            Layout.fillWidth: true
            Layout.fillHeight: true
            text: Loc.l("(empty file)", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        ScrollView {
            visible: !sheet.viewer.loading && sheet.viewer.error.length === 0 && sheet.viewer.text.length > 0
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            background: Rectangle {
                radius: Theme.radiusControl
                color: Theme.surface
                border.width: 1
                border.color: Theme.separator
            }
            TextArea {
                objectName: "viewerText"
                readOnly: true
                text: sheet.viewer.text
                textFormat: TextEdit.PlainText
                color: Theme.text
                font.family: Theme.monoFamily
                font.pixelSize: 12
                wrapMode: TextEdit.NoWrap
                selectByMouse: true
                selectionColor: Theme.accentFill
                selectedTextColor: Theme.accentForeground
                padding: Theme.padM
                background: null
                Accessible.name: sheet.viewer.name || ""
            }
        }
        Text {
            visible: sheet.viewer.truncated === true
            Layout.fillWidth: true
            text: Loc.l("Showing the first ", Loc.revision) + sheet.viewer.capText + Loc.l(" — file is larger.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
        }
    }
}
