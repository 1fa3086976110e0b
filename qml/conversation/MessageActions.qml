import QtQuick
import QtQuick.Controls.Basic
import Velmarin
import Velmarin.Core
import Velmarin.Models

// What can be done with one message, from its context menu.
Menu {
    id: menu
    property var messageId: 0
    property bool mine: false
    property bool sent: false
    signal reply(var id)
    signal edit(var id)
    signal forward(var id)

    function openFor(row, item, x, y) {
        messageId = row.messageId
        mine = row.isMine === true
        sent = row.messageId > 0
        popup(item, x, y)
    }

    MenuItem {
        text: Loc.l("Reply", Loc.revision)
        enabled: menu.sent
        onTriggered: menu.reply(menu.messageId)
    }
    MenuItem {
        text: Loc.l("Edit", Loc.revision)
        visible: menu.mine
        height: visible ? implicitHeight : 0
        enabled: menu.sent
        onTriggered: menu.edit(menu.messageId)
    }
    MenuItem {
        text: Loc.l("Copy", Loc.revision)
        onTriggered: AppModel.copyMessage(menu.messageId)
    }
    MenuItem {
        readonly property bool isPinned: AppModel.selectedChatPinned.id === menu.messageId
        text: isPinned ? Loc.l("Unpin", Loc.revision) : Loc.l("Pin", Loc.revision)
        visible: AppModel.selectedChatPinnable
        height: visible ? implicitHeight : 0
        enabled: menu.sent
        onTriggered: AppModel.setPinned(menu.messageId, !isPinned)
    }
    MenuItem {
        text: Loc.l("Forward", Loc.revision)
        enabled: menu.sent
        onTriggered: menu.forward(menu.messageId)
    }
    MenuItem {
        text: Loc.l("Delete", Loc.revision)
        visible: menu.mine
        height: visible ? implicitHeight : 0
        enabled: menu.sent
        onTriggered: AppModel.deleteMessage(menu.messageId)
    }
}
