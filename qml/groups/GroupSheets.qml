import QtQuick
import QtQuick.Dialogs
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The sheets of groups and people, placed once in the window, and where a
// conversation's "Settings" leads: a group's settings, a session's settings,
// or the other person's profile.
Item {
    id: sheets
    objectName: "groupSheets"

    function openSettings(chatId) {
        const kind = AppModel.groupSettings.openSettingsOf(chatId)
        if (kind === "group")
            settingsSheet.open()
        else if (kind === "session")
            AppModel.sessionSettings.requestSheet("settings")
    }

    Connections {
        target: AppModel.chatActions
        function onSettingsRequested(chatId) { sheets.openSettings(chatId) }
    }
    Connections {
        target: AppModel
        function onSheetRequested(name, chatId) {
            const id = chatId !== 0 ? chatId : AppModel.selectedChatId
            if (name === "groupSettings" && id !== 0)
                sheets.openSettings(id)
            else if (name === "newAIChat")
                aiSheet.open()
            else if (name.startsWith("profile:"))
                AppModel.openLink("velmarin://user/" + name.substring(8))
        }
    }

    GroupSettingsSheet {
        id: settingsSheet
        onAddMembersAsked: addSheet.open()
        onPictureAsked: picker.active = true
    }
    AddGroupMembersSheet {
        id: addSheet
    }
    NewAIChatSheet {
        id: aiSheet
        onFolderAsked: AppModel.sessionSettings.requestSheet("folders")
    }
    // Made on first use, so the window does not pay for the dialog at start.
    Loader {
        id: picker
        active: false
        sourceComponent: FileDialog {
            title: Loc.l("Change picture…", Loc.revision)
            nameFilters: [Loc.l("Images", Loc.revision) + " (*.png *.jpg *.jpeg *.gif *.bmp *.webp)"]
            onAccepted: {
                AppModel.groupSettings.setPicture(selectedFile)
                picker.active = false
            }
            onRejected: picker.active = false
        }
        onLoaded: item.open()
    }
}
