import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A group's settings: its picture and title, its members with their roles,
// and the ways to add, remove, promote and leave.
Sheet {
    id: sheet
    objectName: "groupSettingsSheet"
    readonly property var group: AppModel.groupSettings
    signal addMembersAsked()
    signal pictureAsked()

    function openFor(chatId) {
        group.open(chatId)
        open()
    }

    preferredWidth: 480
    title: Loc.l("Group settings", Loc.revision)
    onOpened: titleField.text = group.title

    Connections {
        target: sheet.group
        function onLeft() { sheet.close() }
        function onChatChanged() {
            if (!titleField.activeFocus)
                titleField.text = sheet.group.title
        }
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.padM
        Button {
            id: pictureButton
            objectName: "groupPictureButton"
            implicitWidth: 56
            implicitHeight: 56
            padding: 0
            focusPolicy: Qt.StrongFocus
            Accessible.name: Loc.l("Change picture…", Loc.revision)
            ToolTip.visible: hovered
            ToolTip.text: Accessible.name
            ToolTip.delay: 400
            onClicked: sheet.pictureAsked()
            contentItem: Avatar {
                title: sheet.group.title
                source: sheet.group.avatarUrl
                size: 56
                ringColor: Theme.surface
            }
            background: Rectangle {
                radius: width / 2
                color: "transparent"
            }
            FocusRing {}
        }
        VTextField {
            id: titleField
            objectName: "groupTitleEdit"
            Layout.fillWidth: true
            label: Loc.l("Group title", Loc.revision)
            placeholderText: Loc.l("Group title", Loc.revision)
            onAccepted: sheet.group.rename(text)
        }
        SecondaryButton {
            objectName: "renameGroupButton"
            text: Loc.l("Save", Loc.revision)
            enabled: titleField.text.trim().length > 0 && titleField.text.trim() !== sheet.group.title
                     && !sheet.group.busy
            onClicked: sheet.group.rename(titleField.text)
        }
    }

    RowLayout {
        Layout.fillWidth: true
        Layout.topMargin: Theme.pad
        Text {
            Layout.fillWidth: true
            text: Loc.l("Members", Loc.revision) + " · " + sheet.group.count
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        SecondaryButton {
            objectName: "addMembersButton"
            visible: sheet.group.canManage
            symbol: "person.badge.plus"
            text: Loc.l("Add members", Loc.revision)
            onClicked: sheet.addMembersAsked()
        }
    }

    ListView {
        id: members
        objectName: "groupMembers"
        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(contentHeight, 320)
        clip: true
        model: sheet.group
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Members", Loc.revision)
        delegate: MemberRow {
            width: members.width
            onProfileAsked: sheet.group.showProfile(userId)
            onMenuAsked: item => memberMenu.openFor(userId, canChangeRole, groupRole, canRemove, item)
        }
    }

    Text {
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.group.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    SheetButtons {
        cancelText: ""
        confirmText: Loc.l("Done", Loc.revision)
        onConfirm: sheet.close()
        PrimaryButton {
            objectName: "leaveGroupButton"
            visible: !sheet.group.isOwner
            danger: true
            text: Loc.l("Leave group", Loc.revision)
            enabled: !sheet.group.busy
            onClicked: leaveSheet.open()
        }
        WorkingIndicator {
            visible: sheet.group.busy
            barCount: 3
            barHeight: 10
        }
    }

    Menu {
        id: memberMenu
        property var userId: 0
        property bool canChangeRole: false
        property bool isAdmin: false
        property bool canRemove: false
        function openFor(id, changeRole, role, remove, item) {
            userId = id
            canChangeRole = changeRole
            isAdmin = role === "Admin"
            canRemove = remove
            popup(item, item.width - width, item.height)
        }
        MenuItem {
            text: Loc.l("Profile", Loc.revision)
            onTriggered: sheet.group.showProfile(memberMenu.userId)
        }
        MenuItem {
            objectName: "roleMenuItem"
            visible: memberMenu.canChangeRole
            height: visible ? implicitHeight : 0
            text: memberMenu.isAdmin ? Loc.l("Remove admin", Loc.revision)
                                     : Loc.l("Make admin", Loc.revision)
            onTriggered: sheet.group.setAdmin(memberMenu.userId, !memberMenu.isAdmin)
        }
        MenuItem {
            visible: memberMenu.canRemove
            height: visible ? implicitHeight : 0
            text: Loc.l("Remove from group", Loc.revision)
            onTriggered: sheet.group.removeMember(memberMenu.userId)
        }
    }

    ConfirmSheet {
        id: leaveSheet
        objectName: "leaveGroupSheet"
        title: Loc.l("Leave group", Loc.revision)
        message: Loc.l("You stop receiving its messages. Someone in the group can add you again.",
                       Loc.revision)
        confirmText: Loc.l("Leave", Loc.revision)
        onConfirmed: sheet.group.leave()
    }
}
