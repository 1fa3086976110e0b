import QtQuick
import QtQuick.Controls.Basic
import Velmarin
import Velmarin.Core
import Velmarin.Models

// What can be done with one conversation from its row: mute or unmute, its
// settings, its invite, and deleting it (after asking).
Menu {
    id: menu
    objectName: "chatRowMenu"
    readonly property var actions: AppModel.chatActions
    property var chatId: 0
    property bool muted: false
    signal inviteAsked(var chatId)
    signal deleteAsked(var chatId)

    function openFor(id, item, x, y) {
        chatId = id
        muted = actions.isMuted(id)
        popup(item, x, y)
    }

    MenuItem {
        text: menu.muted ? Loc.l("Unmute", Loc.revision) : Loc.l("Mute", Loc.revision)
        onTriggered: menu.actions.setMuted(menu.chatId, !menu.muted)
    }
    MenuItem {
        text: Loc.l("Settings", Loc.revision)
        onTriggered: menu.actions.openSettings(menu.chatId)
    }
    MenuItem {
        text: Loc.l("Invite…", Loc.revision)
        // Offered only where it can work: groups.
        visible: menu.actions.canInvite(menu.chatId)
        height: visible ? implicitHeight : 0
        onTriggered: menu.inviteAsked(menu.chatId)
    }
    MenuItem {
        text: Loc.l("Delete", Loc.revision)
        onTriggered: menu.deleteAsked(menu.chatId)
    }
}
