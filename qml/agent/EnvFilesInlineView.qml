import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The env files of the session's folder, in the settings sheet: each opens
// the editor; a new one is named here and created when the editor saves.
ColumnLayout {
    id: inline
    objectName: "envFilesInline"
    readonly property var settings: AppModel.sessionSettings
    property bool naming: false
    signal openFile(string name)

    spacing: 2

    Text {
        visible: !settings.envLoaded && !settings.envLoadFailed
        Layout.leftMargin: Theme.pad
        text: Loc.l("Loading…", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.body
    }
    RowLayout {
        visible: settings.envLoadFailed
        Layout.fillWidth: true
        Layout.leftMargin: Theme.pad
        spacing: Theme.pad
        Text {
            Layout.fillWidth: true
            text: Loc.l("No reply from the host — env files not loaded", Loc.revision)
            color: Theme.dangerText
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        SecondaryButton {
            text: Loc.l("Retry", Loc.revision)
            onClicked: settings.reloadEnvFiles()
        }
    }
    Text {
        visible: settings.envLoaded && !settings.envLoadFailed && settings.envFiles.length === 0
        Layout.leftMargin: Theme.pad
        text: Loc.l("No .env files in this folder.", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.body
    }
    Repeater {
        model: settings.envFiles
        delegate: SheetRow {
            required property string modelData
            symbol: "gearshape"
            title: modelData
            onClicked: inline.openFile(modelData)
        }
    }
    SheetRow {
        visible: !inline.naming
        symbol: "plus.circle"
        title: Loc.l("New env file", Loc.revision)
        chevron: false
        onClicked: {
            nameField.text = ".env."
            inline.naming = true
            nameField.forceActiveFocus()
        }
    }
    ColumnLayout {
        visible: inline.naming
        Layout.fillWidth: true
        Layout.leftMargin: Theme.pad
        Layout.topMargin: Theme.pad
        spacing: Theme.pad
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.pad
            VTextField {
                id: nameField
                objectName: "envNameField"
                Layout.fillWidth: true
                placeholderText: Loc.l("name (e.g. .env.local)", Loc.revision)
                text: ".env."
                onAccepted: createButton.clicked()
            }
            PrimaryButton {
                id: createButton
                text: Loc.l("Create", Loc.revision)
                onClicked: {
                    const name = settings.acceptedEnvFileName(nameField.text)
                    if (name.length === 0)
                        return
                    nameField.text = ".env."
                    inline.naming = false
                    inline.openFile(name)
                }
            }
            SecondaryButton {
                text: Loc.l("Cancel", Loc.revision)
                onClicked: inline.naming = false
            }
        }
        Text {
            Layout.fillWidth: true
            text: Loc.l("Must start with “.env”. Created in the folder root when you save.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.caption
            wrapMode: Text.Wrap
        }
    }
}
