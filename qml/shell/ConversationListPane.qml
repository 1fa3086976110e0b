import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The list side of the conversations section: the title, the search and the
// conversations, newest human activity first.
Rectangle {
    id: pane
    property bool narrow: false

    function focusSearch() {
        search.forceActiveFocus()
        search.selectAll()
    }

    color: Theme.window

    readonly property var chats: AppModel.chatList

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ModuleHeader {
            Layout.fillWidth: true
            title: Loc.l("Conversations", Loc.revision)
            IconButton {
                id: newButton
                objectName: "newConversationButton"
                symbol: "plus"
                label: Loc.l("New conversation", Loc.revision)
                onClicked: newMenu.popup(newButton, 0, newButton.height)
            }
            IconButton {
                visible: pane.narrow
                symbol: "line.3.horizontal"
                label: Loc.l("Menu", Loc.revision)
                onClicked: AppModel.showMainMenu = true
            }
        }

        VTextField {
            id: search
            objectName: "listSearch"
            Layout.fillWidth: true
            Layout.margins: Theme.padM
            placeholderText: Loc.l("Search", Loc.revision)
            onTextChanged: pane.chats.search = text
            Keys.onDownPressed: {
                listView.forceActiveFocus()
                listView.currentIndex = 0
            }
            Keys.onReturnPressed: {
                const id = pane.chats.chatIdAt(0)
                if (id !== 0)
                    AppModel.selectChat(id)
            }
            // With text in the field, Esc is the field's: it clears the search
            // rather than closing the open conversation.
            Keys.onShortcutOverride: event => event.accepted = event.key === Qt.Key_Escape && text.length > 0
            Keys.onEscapePressed: event => {
                if (text.length > 0)
                    text = ""
                else
                    event.accepted = false
            }
        }

        ListView {
            id: listView
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: pane.chats
            currentIndex: -1
            keyNavigationEnabled: true
            activeFocusOnTab: true
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: Loc.l("Conversations", Loc.revision)

            delegate: ChatRow {
                id: chatRow
                width: listView.width
                selected: chatId === AppModel.selectedChatId
                highlighted: ListView.isCurrentItem && listView.activeFocus
                onActivated: pane.chats.select(chatId)
                onMenuRequested: (x, y) => rowMenu.openFor(chatId, chatRow, x, y)
            }
            // Keyboard focus always lands on a row, so the ring shows where it is.
            onActiveFocusChanged: {
                if (activeFocus && currentIndex < 0 && count > 0)
                    currentIndex = 0
            }
            Keys.onReturnPressed: {
                if (currentIndex >= 0)
                    AppModel.selectChat(pane.chats.chatIdAt(currentIndex))
            }
            Keys.onMenuPressed: {
                if (currentItem)
                    rowMenu.openFor(pane.chats.chatIdAt(currentIndex), currentItem,
                                    currentItem.width / 2, currentItem.height / 2)
            }
        }
    }

    ChatListSheets {
        id: sheets
    }
    ChatRowMenu {
        id: rowMenu
        onInviteAsked: id => sheets.invite(id)
        onDeleteAsked: id => sheets.confirmDelete(id)
    }
    Menu {
        id: newMenu
        MenuItem {
            text: Loc.l("New chat", Loc.revision)
            onTriggered: sheets.newChat(false)
        }
        MenuItem {
            text: Loc.l("New group", Loc.revision)
            onTriggered: sheets.newChat(true)
        }
        MenuItem {
            objectName: "joinByCodeItem"
            text: Loc.l("Join with invite code or QR", Loc.revision)
            onTriggered: sheets.joinByCode()
        }
        MenuItem {
            text: Loc.l("New AI chat", Loc.revision)
            onTriggered: AppModel.openSheet("newAIChat")
        }
        MenuItem {
            text: Loc.l("Saved messages", Loc.revision)
            onTriggered: AppModel.people.openSavedMessages()
        }
    }

    JoinPrompt {
        anchors.centerIn: parent
        width: parent.width
        visible: AppModel.join.showPrompt && search.text.length === 0
        onJoin: sheets.joinByCode()
    }
    EmptyState {
        anchors.centerIn: parent
        width: parent.width
        height: 200
        visible: pane.chats.count === 0 && !(AppModel.join.showPrompt && search.text.length === 0)
        symbol: search.text.length > 0 ? "magnifyingglass" : "ellipsis.bubble.fill"
        title: search.text.length > 0 ? Loc.l("No matches", Loc.revision)
                                      : Loc.l("No conversations yet", Loc.revision)
        note: search.text.length > 0 ? Loc.l("No conversation has that in its title.", Loc.revision)
                                     : Loc.l("Conversations you join show up here.", Loc.revision)
    }
}
