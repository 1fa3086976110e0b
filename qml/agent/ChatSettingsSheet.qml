import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The settings of a session conversation: what Claude may do, how hard it
// thinks, which model runs, Chrome, the project's files and the account.
AgentSheet {
    id: sheet
    objectName: "chatSettingsSheet"
    readonly property var settings: AppModel.sessionSettings
    signal openClaudeMd()
    signal openFiles()
    signal openEnvFile(string name)

    title: Loc.l("Session settings", Loc.revision)
    preferredHeight: 680

    function modelLabel() {
        const options = settings.modelOptions
        for (let i = 0; i < options.length; ++i)
            if (options[i].value === settings.model)
                return options[i].label
        return settings.model
    }

    ScrollView {
        id: scroll
        anchors.fill: parent
        contentWidth: availableWidth
        clip: true

        ColumnLayout {
            width: scroll.availableWidth - 2 * Theme.padL
            x: Theme.padL
            spacing: Theme.pad

            Item { Layout.preferredHeight: Theme.pad }

            SheetSectionTitle { text: Loc.l("Claude", Loc.revision) }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.pad
                Icon {
                    symbol: settings.permissionIcon
                    size: 18
                    color: settings.permission === "dangerous" ? Theme.dangerText : Theme.accentText
                }
                Text {
                    text: Loc.l("Access level", Loc.revision)
                    color: Theme.text
                    font.pixelSize: Theme.body
                }
            }
            SegmentedPicker {
                objectName: "accessPicker"
                Layout.fillWidth: true
                label: Loc.l("Access level", Loc.revision)
                current: settings.permission
                options: settings.permissionOptions.map(o => ({ value: o.value, label: Loc.l(o.label, Loc.revision) }))
                onPicked: value => settings.setPermission(value)
            }
            Text {
                Layout.fillWidth: true
                text: {
                    const options = settings.permissionOptions
                    for (let i = 0; i < options.length; ++i)
                        if (options[i].value === settings.permission)
                            return Loc.l(options[i].detail, Loc.revision)
                    return ""
                }
                color: Theme.textSecondary
                font.pixelSize: Theme.secondary
                wrapMode: Text.Wrap
            }
            Text {
                Layout.topMargin: Theme.pad
                text: Loc.l("Effort", Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.body
            }
            SegmentedPicker {
                objectName: "effortPicker"
                Layout.fillWidth: true
                label: Loc.l("Effort", Loc.revision)
                current: settings.effort
                options: settings.effortOptions.map(o => ({ value: o.value, label: Loc.l(o.label, Loc.revision) }))
                onPicked: value => settings.setEffort(value)
            }
            SheetRow {
                id: modelRow
                objectName: "modelRow"
                symbol: "cpu"
                title: Loc.l("Model", Loc.revision)
                value: sheet.modelLabel()
                onClicked: modelMenu.popup(modelRow, modelRow.width - modelMenu.width, modelRow.height)
                Menu {
                    id: modelMenu
                    Instantiator {
                        model: settings.modelOptions
                        delegate: MenuItem {
                            required property var modelData
                            text: modelData.label
                            checkable: true
                            checked: modelData.value === settings.model
                            onTriggered: settings.setModel(modelData.value)
                        }
                        onObjectAdded: (index, object) => modelMenu.insertItem(index, object)
                        onObjectRemoved: (index, object) => modelMenu.removeItem(object)
                    }
                }
            }
            RowLayout {
                visible: settings.hasMacTools
                Layout.fillWidth: true
                Layout.leftMargin: Theme.pad
                Layout.rightMargin: Theme.pad
                spacing: Theme.padM
                Icon {
                    symbol: "safari.fill"
                    size: 18
                    color: Theme.accentText
                }
                Text {
                    Layout.fillWidth: true
                    text: Loc.l("Let Claude use Chrome", Loc.revision)
                    color: Theme.text
                    font.pixelSize: Theme.body
                }
                ToggleSwitch {
                    label: Loc.l("Let Claude use Chrome", Loc.revision)
                    checked: settings.chrome
                    onToggled: settings.setChrome(checked)
                }
            }
            SheetFooter {
                text: settings.hasMacTools
                      ? Loc.l("Access & effort apply to the next run; Chrome lets the session drive your browser. Moving the account restarts the Claude context — the visible history stays.", Loc.revision)
                      : Loc.l("Access & effort apply to the next run. Moving the account restarts the Claude context — the visible history stays.", Loc.revision)
            }

            SheetSectionTitle { text: Loc.l("Project", Loc.revision) }
            SheetRow {
                objectName: "claudeMdRow"
                symbol: "doc.plaintext"
                title: Loc.l("Project instructions (CLAUDE.md)", Loc.revision)
                onClicked: sheet.openClaudeMd()
            }
            SheetRow {
                visible: settings.hasMacTools
                symbol: "folder.fill"
                title: Loc.l("Browse files", Loc.revision)
                onClicked: sheet.openFiles()
            }
            SheetRow {
                symbol: "folder.fill"
                title: Loc.l("Folder", Loc.revision)
                value: settings.workdir.length > 0 ? settings.workdir : "—"
                chevron: false
                enabled: false
            }
            SheetFooter {
                text: settings.hasMacTools
                      ? Loc.l("CLAUDE.md holds project instructions Claude reads automatically every run. Browse files opens this session's working folder.", Loc.revision)
                      : Loc.l("CLAUDE.md holds project instructions Claude reads automatically every run.", Loc.revision)
            }

            SheetSectionTitle { text: Loc.l("Env files", Loc.revision) }
            EnvFilesInlineView {
                Layout.fillWidth: true
                onOpenFile: name => sheet.openEnvFile(name)
            }

            SheetSectionTitle { text: Loc.l("Claude account", Loc.revision) }
            SheetRow {
                id: accountRow
                objectName: "accountRow"
                symbol: "person.crop.circle.fill"
                title: Loc.l("Move to other Claude account", Loc.revision)
                value: settings.moving ? Loc.l("Moving…", Loc.revision) : settings.accountEmail
                enabled: !settings.moving && settings.accountChoices.length > 0
                onClicked: accountMenu.popup(accountRow, accountRow.width - accountMenu.width, accountRow.height)
                Menu {
                    id: accountMenu
                    Instantiator {
                        model: settings.accountChoices
                        delegate: MenuItem {
                            required property string modelData
                            text: modelData
                            checkable: true
                            checked: modelData.toLowerCase() === settings.accountEmail.toLowerCase()
                            onTriggered: settings.moveToAccount(modelData)
                        }
                        onObjectAdded: (index, object) => accountMenu.insertItem(index, object)
                        onObjectRemoved: (index, object) => accountMenu.removeItem(object)
                    }
                }
            }
            Item { Layout.preferredHeight: Theme.padL }
        }
    }

    MoveFailedAlert {
        id: moveAlert
    }
    Connections {
        target: settings
        function onMoveFailed(reason) { moveAlert.show(reason) }
    }
}
