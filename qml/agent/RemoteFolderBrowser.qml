import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Starting a new session: walk to a folder on the Mac, pick what Claude may
// do there, and start.
AgentSheet {
    id: sheet
    objectName: "remoteFolderBrowser"
    readonly property var browser: AppModel.folderBrowser
    property bool showNewFolder: false
    signal joinByCode()

    title: Loc.l("Choose a folder", Loc.revision)
    preferredHeight: 640
    onOpened: {
        showNewFolder = false
        browser.start()
    }

    Connections {
        target: browser
        function onFinished(chatId) {
            if (chatId === 0)
                return
            sheet.close()
            AppModel.selectChat(chatId)
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padL
        spacing: Theme.pad

        Text {
            Layout.fillWidth: true
            visible: browser.path.length > 0
            text: browser.path
            color: Theme.textSecondary
            font.family: Theme.monoFamily
            font.pixelSize: Theme.secondary
            elide: Text.ElideMiddle
        }
        LoadState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: browser.loading || browser.failed
            loading: browser.loading
            loadingText: Loc.l("Reading folders…", Loc.revision)
            failedTitle: browser.failed ? Loc.l("Can't reach your Mac", Loc.revision) : ""
            failedNote: Loc.l("Make sure the Velmarin Mac app is open and signed in, then try again.", Loc.revision)
            onRetry: browser.retry()
        }
        ListView {
            id: list
            visible: !browser.loading && !browser.failed
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            spacing: 2
            model: browser.folders
            header: ColumnLayout {
                width: list.width
                spacing: 2
                SheetRow {
                    visible: browser.hasParent
                    symbol: "arrow.up"
                    title: Loc.l("Up a level", Loc.revision)
                    chevron: false
                    onClicked: browser.upLevel()
                }
                SheetRow {
                    symbol: "plus.circle"
                    title: Loc.l("New folder here", Loc.revision)
                    chevron: false
                    onClicked: {
                        folderName.text = ""
                        sheet.showNewFolder = true
                        folderName.forceActiveFocus()
                    }
                }
                ColumnLayout {
                    visible: sheet.showNewFolder
                    Layout.fillWidth: true
                    Layout.leftMargin: Theme.pad
                    spacing: Theme.pad
                    Text {
                        Layout.fillWidth: true
                        text: Loc.l("Inside ", Loc.revision) + browser.path
                        color: Theme.textSecondary
                        font.pixelSize: Theme.caption
                        elide: Text.ElideMiddle
                    }
                    RowLayout {
                        Layout.fillWidth: true
                        spacing: Theme.pad
                        VTextField {
                            id: folderName
                            Layout.fillWidth: true
                            placeholderText: Loc.l("Folder name", Loc.revision)
                            onAccepted: createFolder.clicked()
                        }
                        PrimaryButton {
                            id: createFolder
                            text: Loc.l("Create", Loc.revision)
                            enabled: folderName.text.trim().length > 0
                            onClicked: {
                                sheet.showNewFolder = false
                                browser.createFolder(folderName.text)
                            }
                        }
                        SecondaryButton {
                            text: Loc.l("Cancel", Loc.revision)
                            onClicked: sheet.showNewFolder = false
                        }
                    }
                }
                SheetSectionTitle {
                    text: browser.folders.length > 0 ? Loc.l("Subfolders", Loc.revision)
                                                     : Loc.l("No subfolders", Loc.revision)
                }
            }
            delegate: SheetRow {
                required property var modelData
                width: ListView.view.width
                symbol: "folder.fill"
                title: modelData.name
                onClicked: browser.openFolder(modelData.path)
            }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.separator
        }
        Text {
            text: Loc.l("What Claude may do", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
        SegmentedPicker {
            Layout.fillWidth: true
            label: Loc.l("Access level", Loc.revision)
            current: browser.permission
            options: AppModel.sessionSettings.permissionOptions.map(o => ({ value: o.value, label: Loc.l(o.label, Loc.revision) }))
            onPicked: value => browser.permission = value
        }
        PrimaryButton {
            objectName: "startHere"
            Layout.fillWidth: true
            text: browser.creating ? Loc.l("Starting…", Loc.revision) : Loc.l("Start here", Loc.revision)
            enabled: !browser.creating && !browser.loading && browser.path.length > 0
            onClicked: browser.startHere()
        }
        SheetRow {
            symbol: "qrcode.viewfinder"
            title: Loc.l("Join with invite code or QR", Loc.revision)
            detail: Loc.l("Got an invite code or QR for an existing conversation? Join it instead of starting a new session.", Loc.revision)
            onClicked: {
                sheet.close()
                sheet.joinByCode()
            }
        }
    }
}
