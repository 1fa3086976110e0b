import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The empty state of a section that has no content in this build: its symbol,
// its title and a note.
Rectangle {
    id: module
    property var entry: ({})
    property string note: Loc.l("This section isn't available in this build yet.", Loc.revision)

    color: Theme.window

    ColumnLayout {
        anchors.fill: parent
        spacing: 0
        ModuleHeader {
            Layout.fillWidth: true
            title: module.entry.title || ""
        }
        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            symbol: module.entry.symbol || ""
            title: module.entry.title || ""
            note: module.note
        }
    }
}
