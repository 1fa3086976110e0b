import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A file in a message: a click opens it with the desktop's own program, the
// arrow saves it elsewhere; while it comes down, a bar shows how far.
RowLayout {
    id: chip
    property var file: ({})
    property color ink: Theme.text
    property color inkSoft: Theme.textSecondary
    property real maxWidth: 300
    signal saveRequested(string url, string name)

    readonly property var fraction: file.url ? AppModel.transfers.progress[file.url] : undefined
    readonly property bool busy: fraction !== undefined

    spacing: Theme.pad
    Accessible.role: Accessible.Button
    Accessible.name: file.name || ""

    Icon {
        symbol: chip.file.icon || "doc"
        size: 28
        color: chip.ink
    }
    ColumnLayout {
        spacing: 2
        Layout.maximumWidth: chip.maxWidth - 80
        Text {
            objectName: "fileName"
            text: chip.file.name || ""
            color: chip.ink
            font.pixelSize: Theme.body
            font.underline: openArea.containsMouse
            elide: Text.ElideMiddle
            Layout.maximumWidth: chip.maxWidth - 80
            MouseArea {
                id: openArea
                anchors.fill: parent
                hoverEnabled: true
                cursorShape: Qt.PointingHandCursor
                enabled: !chip.busy && !!chip.file.url
                onClicked: AppModel.transfers.open(chip.file.url, chip.file.name)
            }
        }
        ProgressBar {
            objectName: "fileProgress"
            visible: chip.busy
            Layout.preferredWidth: Math.min(180, chip.maxWidth - 80)
            from: 0
            to: 1
            value: chip.busy ? Math.max(0, chip.fraction) : 0
            indeterminate: chip.busy && chip.fraction < 0
            Accessible.name: Loc.l("Downloading…", Loc.revision)
        }
        Text {
            visible: chip.busy
            text: chip.busy && chip.fraction >= 0 ? Math.round(chip.fraction * 100) + " %"
                                                  : Loc.l("Downloading…", Loc.revision)
            color: chip.inkSoft
            font.pixelSize: Theme.caption
        }
    }
    IconButton {
        objectName: "saveFileButton"
        symbol: "arrow.down.circle"
        iconColor: chip.ink
        label: Loc.l("Save…", Loc.revision)
        enabled: !chip.busy && !!chip.file.url
        onClicked: chip.saveRequested(chip.file.url, chip.file.name)
    }
}
