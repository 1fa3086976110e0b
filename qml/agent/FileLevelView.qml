import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// One folder of the session's working folder: folders first as the host
// sends them, then files with their size; in selecting mode files get a mark.
ColumnLayout {
    id: levelView
    readonly property var files: AppModel.remoteFiles
    readonly property var level: files.level
    signal openEntry(var entry)

    spacing: Theme.pad

    LoadState {
        Layout.fillWidth: true
        Layout.fillHeight: true
        visible: levelView.level.loading || levelView.level.failed
        loading: levelView.level.loading === true
        loadingText: Loc.l("Reading…", Loc.revision)
        failedTitle: levelView.level.failed ? Loc.l("Can't reach your Mac", Loc.revision) : ""
        failedNote: Loc.l("Make sure the Velmarin Mac app is open and signed in.", Loc.revision)
        onRetry: files.retry()
    }
    ColumnLayout {
        visible: levelView.level.blocked === true
        Layout.fillWidth: true
        Layout.fillHeight: true
        spacing: Theme.padM
        Icon {
            Layout.alignment: Qt.AlignHCenter
            symbol: "lock.shield"
            size: 36
            color: Theme.textSecondary
        }
        Text {
            Layout.fillWidth: true
            text: Loc.l("macOS is blocking this folder", Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            text: Loc.l("Desktop, Documents and Downloads are protected by macOS privacy. Grant Velmarin Server access on the Mac, then reopen this folder: System Settings → Privacy & Security → Full Disk Access → enable Velmarin Server.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        SecondaryButton {
            Layout.alignment: Qt.AlignHCenter
            text: Loc.l("Open these settings on the Mac", Loc.revision)
            onClicked: files.openPrivacySettings()
        }
        Item { Layout.fillHeight: true }
    }
    Text {
        visible: !levelView.level.loading && !levelView.level.failed && !levelView.level.blocked
                 && (levelView.level.entries || []).length === 0
        Layout.fillWidth: true
        Layout.fillHeight: true
        text: Loc.l("Empty folder", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    ListView {
        objectName: "fileLevelList"
        visible: !levelView.level.loading && !levelView.level.failed && !levelView.level.blocked
                 && (levelView.level.entries || []).length > 0
        Layout.fillWidth: true
        Layout.fillHeight: true
        clip: true
        spacing: 2
        model: levelView.level.entries || []
        delegate: SheetRow {
            required property var modelData
            width: ListView.view.width
            symbol: files.selecting && !modelData.isDir
                    ? (modelData.selected ? "checkmark.circle.fill" : "circle")
                    : modelData.icon
            symbolColor: modelData.isDir || (files.selecting && modelData.selected)
                         ? Theme.accentText : Theme.textSecondary
            title: modelData.name
            value: modelData.sizeText
            chevron: modelData.isDir
            enabled: !files.selecting || !modelData.isDir
            onClicked: {
                if (files.selecting)
                    files.toggleSelected(modelData.path)
                else
                    levelView.openEntry(modelData)
            }
        }
        footer: SheetFooter {
            width: ListView.view.width
            topPadding: Theme.pad
            visible: levelView.level.truncated === true
            text: visible ? Loc.l("This folder has more items than shown — open it in a session to see all.", Loc.revision) : ""
        }
    }
}
