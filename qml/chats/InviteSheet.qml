import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Dialogs
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A conversation's invite: the code and the text to hand out (code@server)
// with its QR, the link for a browser; a new code replaces the old one, and
// revoking leaves none.
Sheet {
    id: sheet
    objectName: "inviteSheet"
    readonly property var invite: AppModel.invite
    readonly property bool hasCode: invite.code.length > 0

    function openFor(chatId) {
        invite.open(chatId)
        open()
    }

    preferredWidth: 440
    title: Loc.l("Invite people", Loc.revision)
           + (invite.chatTitle.length > 0 ? " — " + invite.chatTitle : "")

    // By URL, so the dialog module loads on first use.
    Loader {
        id: savePicker
        active: false
        sourceComponent: FileDialog {
            fileMode: FileDialog.SaveFile
            currentFile: "invite-qr.png"
            nameFilters: ["PNG (*.png)"]
            onAccepted: sheet.invite.saveQR(selectedFile)
        }
        onLoaded: item.open()
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.padL

        Rectangle {
            Layout.preferredWidth: 152
            Layout.preferredHeight: 152
            Layout.alignment: Qt.AlignTop
            radius: Theme.radiusControl
            color: sheet.hasCode ? "white" : Theme.hover
            Image {
                objectName: "inviteQR"
                anchors.centerIn: parent
                width: 140
                height: 140
                visible: sheet.hasCode
                source: sheet.invite.qrImage
                fillMode: Image.PreserveAspectFit
                smooth: false
                Accessible.role: Accessible.Graphic
                Accessible.name: sheet.invite.shareText
            }
            Icon {
                anchors.centerIn: parent
                visible: !sheet.hasCode && !sheet.invite.busy
                symbol: "qrcode.viewfinder"
                size: 40
                color: Theme.textSecondary
            }
            WorkingIndicator {
                anchors.centerIn: parent
                visible: sheet.invite.busy
                barCount: 4
                barHeight: 12
            }
        }

        ColumnLayout {
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignTop
            spacing: Theme.pad
            Text {
                Layout.fillWidth: true
                text: Loc.l("Invite code", Loc.revision)
                color: Theme.textSecondary
                font.pixelSize: Theme.caption
            }
            TextEdit {
                objectName: "inviteCodeText"
                Layout.fillWidth: true
                visible: sheet.hasCode
                text: sheet.invite.code
                readOnly: true
                selectByMouse: true
                color: Theme.text
                font.pixelSize: 20
                font.family: AppModel.monoFont
                Accessible.name: Loc.l("Invite code", Loc.revision)
            }
            Text {
                Layout.fillWidth: true
                visible: !sheet.hasCode
                text: sheet.invite.busy ? "" : Loc.l("No invite code yet.", Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.body
                wrapMode: Text.Wrap
            }
            Text {
                Layout.fillWidth: true
                visible: sheet.hasCode
                text: sheet.invite.shareText
                color: Theme.textSecondary
                font.pixelSize: Theme.secondary
                font.family: AppModel.monoFont
                wrapMode: Text.WrapAnywhere
            }
            Text {
                Layout.fillWidth: true
                visible: sheet.hasCode
                text: Loc.l("Whoever has this text can join the conversation.", Loc.revision)
                color: Theme.textSecondary
                font.pixelSize: Theme.caption
                wrapMode: Text.Wrap
            }
        }
    }

    Text {
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.invite.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    Flow {
        Layout.fillWidth: true
        spacing: Theme.pad
        SecondaryButton {
            symbol: "doc.on.doc"
            text: Loc.l("Copy invite", Loc.revision)
            enabled: sheet.hasCode
            onClicked: sheet.invite.copyShareText()
        }
        SecondaryButton {
            symbol: "globe"
            text: Loc.l("Copy link", Loc.revision)
            enabled: sheet.invite.link.length > 0
            onClicked: sheet.invite.copyLink()
        }
        SecondaryButton {
            symbol: "arrow.down"
            text: Loc.l("Save QR…", Loc.revision)
            enabled: sheet.hasCode
            onClicked: savePicker.active ? savePicker.item.open() : savePicker.active = true
        }
    }

    SheetButtons {
        cancelText: ""
        confirmText: Loc.l("Done", Loc.revision)
        onConfirm: sheet.close()
        SecondaryButton {
            objectName: "rotateInviteButton"
            symbol: "arrow.clockwise"
            text: Loc.l("New code", Loc.revision)
            enabled: !sheet.invite.busy
            onClicked: sheet.invite.rotate()
        }
        SecondaryButton {
            symbol: "xmark"
            text: Loc.l("Revoke", Loc.revision)
            enabled: sheet.hasCode && !sheet.invite.busy
            onClicked: sheet.invite.revoke()
        }
    }
}
