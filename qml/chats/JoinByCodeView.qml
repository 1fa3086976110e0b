import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// "Join another conversation": an invite code typed, pasted or read from a
// QR picture. A join that went through opens the conversation and closes this.
Sheet {
    id: sheet
    objectName: "joinByCodeView"
    readonly property var join: AppModel.join

    title: Loc.l("Join another conversation", Loc.revision)
    onOpened: {
        join.reset()
        codeField.text = ""
        codeField.forceActiveFocus()
    }

    Connections {
        target: sheet.join
        function onJoined() { sheet.close() }
        function onCodeChanged() {
            if (codeField.text !== sheet.join.code)
                codeField.text = sheet.join.code
        }
    }

    // By URL, so the dialog module loads on first use.
    Loader {
        id: filePicker
        active: false
        source: "../login/QRImagePicker.qml"
        onLoaded: {
            item.picked.connect(url => sheet.join.useQRImageFile(url))
            item.open()
        }
    }

    Text {
        Layout.fillWidth: true
        text: Loc.l("Enter your invite code", Loc.revision)
        color: Theme.text
        font.pixelSize: Theme.body
        font.weight: Font.DemiBold
        wrapMode: Text.Wrap
    }
    Text {
        Layout.fillWidth: true
        text: Loc.l("Join a conversation you were invited to — ask whoever invited you for the code.", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
    }
    VTextField {
        id: codeField
        objectName: "joinCodeField"
        Layout.fillWidth: true
        placeholderText: Loc.l("Invite code", Loc.revision)
        enabled: !sheet.join.busy
        onTextChanged: sheet.join.code = text
        onAccepted: buttons.submit()
    }
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.pad
        SecondaryButton {
            Layout.fillWidth: true
            symbol: "photo"
            text: Loc.l("Choose image file…", Loc.revision)
            enabled: !sheet.join.busy
            onClicked: filePicker.active ? filePicker.item.open() : filePicker.active = true
        }
        SecondaryButton {
            Layout.fillWidth: true
            symbol: "doc.on.clipboard"
            text: Loc.l("Paste QR code", Loc.revision)
            enabled: !sheet.join.busy
            onClicked: sheet.join.pasteQRCode()
        }
    }

    Text {
        objectName: "joinError"
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.join.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    SheetButtons {
        id: buttons
        confirmText: Loc.l("Join conversation", Loc.revision)
        confirmObjectName: "joinCodeConfirm"
        confirmEnabled: !sheet.join.busy && codeField.text.trim().length > 0
        onCancel: sheet.close()
        onConfirm: sheet.join.join()
        WorkingIndicator {
            visible: sheet.join.busy
            barCount: 3
            barHeight: 10
        }
    }
}
