import QtQuick
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The sheets the conversation list opens: new chat or group, a
// conversation's invite, and the question before deleting one.
Item {
    id: sheets

    function newChat(group) { newChatSheet.openFor(group) }
    function invite(chatId) { inviteSheet.openFor(chatId) }
    function joinByCode() { joinSheet.open() }
    function confirmDelete(chatId) {
        deleteSheet.chatId = chatId
        deleteSheet.title = Loc.l("Delete this conversation?", Loc.revision)
        deleteSheet.open()
    }

    Connections {
        target: AppModel
        function onSheetRequested(name, chatId) {
            const id = chatId !== 0 ? chatId : AppModel.selectedChatId
            if (name === "newChat")
                sheets.newChat(false)
            else if (name === "newGroup")
                sheets.newChat(true)
            else if (name === "invite" && id !== 0)
                sheets.invite(id)
            else if (name === "joinByCode")
                sheets.joinByCode()
        }
    }

    NewChatSheet { id: newChatSheet }
    InviteSheet { id: inviteSheet }
    JoinByCodeView { id: joinSheet }
    ConfirmSheet {
        id: deleteSheet
        objectName: "deleteChatSheet"
        property var chatId: 0
        message: AppModel.chatActions.titleOf(chatId) + "\n"
                 + Loc.l("The conversation and its messages are deleted on the server.", Loc.revision)
        confirmText: Loc.l("Delete", Loc.revision)
        onConfirmed: AppModel.chatActions.deleteChat(chatId)
    }
}
