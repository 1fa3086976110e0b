import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The app's settings: notifications, language, theme and accent, and the
// rows of what this build does not offer yet.
ColumnLayout {
    id: settings
    spacing: Theme.padL

    Card {
        Layout.fillWidth: true
        symbol: "bell.badge"
        title: Loc.l("Notifications", Loc.revision)

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.padM
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    Layout.fillWidth: true
                    text: Loc.l("Mute all notifications", Loc.revision)
                    color: Theme.text
                    font.pixelSize: Theme.body
                    wrapMode: Text.Wrap
                }
                Text {
                    Layout.fillWidth: true
                    text: Loc.l("Applies to this device only.", Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                    wrapMode: Text.Wrap
                }
            }
            ToggleSwitch {
                label: Loc.l("Mute all notifications", Loc.revision)
                checked: AppModel.muteAll
                onToggled: AppModel.muteAll = checked
            }
        }
    }

    Card {
        Layout.fillWidth: true
        symbol: "globe"
        title: Loc.l("Language", Loc.revision)

        SegmentedPicker {
            Layout.fillWidth: true
            label: Loc.l("Language", Loc.revision)
            options: Loc.languages
            current: AppModel.language
            onPicked: value => AppModel.language = value
        }
    }

    Card {
        Layout.fillWidth: true
        symbol: "circle.lefthalf.filled"
        title: Loc.l("Theme", Loc.revision)

        SegmentedPicker {
            Layout.fillWidth: true
            label: Loc.l("Theme", Loc.revision)
            options: AppModel.designs
            current: AppModel.design
            onPicked: value => AppModel.design = value
        }

        Text {
            Layout.fillWidth: true
            Layout.topMargin: Theme.pad
            text: Loc.l("Accent colour", Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.body
        }
        Text {
            Layout.fillWidth: true
            text: Loc.l("Sets buttons, links and highlights across the app.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
        }
        Row {
            spacing: Theme.padM
            Accessible.role: Accessible.Grouping
            Accessible.name: Loc.l("Accent colour", Loc.revision)
            Repeater {
                model: AppModel.accents
                delegate: AccentSwatch {
                    required property var modelData
                    swatch: modelData.color
                    label: modelData.label
                    chosen: AppModel.accent === modelData.value
                    onClicked: AppModel.accent = modelData.value
                }
            }
        }
    }

    Card {
        Layout.fillWidth: true
        symbol: "arrow.down.app"
        title: Loc.l("App updates", Loc.revision)
        UnavailableRow {
            text: Loc.l("Checking for and installing updates isn't available in this build yet.", Loc.revision)
        }
    }

    Card {
        Layout.fillWidth: true
        symbol: "lock.shield"
        title: Loc.l("Permissions", Loc.revision)
        UnavailableRow {
            text: Loc.l("Reviewing the app's permissions isn't available in this build yet.", Loc.revision)
        }
    }

    Text {
        Layout.fillWidth: true
        text: AppModel.buildFooter
        color: Theme.textSecondary
        font.pixelSize: Theme.caption
        horizontalAlignment: Text.AlignHCenter
    }
}
