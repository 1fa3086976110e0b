import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Adds a server by its address, by an invite (code@server), or by a pairing
// code typed or read from a QR picture.
Sheet {
    id: sheet
    objectName: "addServerSheet"
    readonly property var servers: AppModel.servers
    property string mode: "address"

    title: Loc.l("Add server", Loc.revision)
    onOpened: {
        servers.clearError()
        addressField.text = ""
        nameField.text = ""
        codeField.text = ""
        urlField.text = ""
        if (mode === "address")
            addressField.forceActiveFocus()
        else
            codeField.forceActiveFocus()
    }

    Connections {
        target: sheet.servers
        function onAdded() { sheet.close() }
        function onScannedChanged() {
            if (sheet.servers.scanned.length > 0)
                codeField.text = sheet.servers.scanned
        }
    }

    // By URL, so the dialog module loads on first use.
    Loader {
        id: filePicker
        objectName: "serverQRFilePicker"
        active: false
        source: "../login/QRImagePicker.qml"
        onLoaded: {
            item.picked.connect(url => sheet.servers.useQRImageFile(url))
            item.open()
        }
    }

    SegmentedPicker {
        Layout.fillWidth: true
        label: Loc.l("Add server", Loc.revision)
        current: sheet.mode
        options: [
            { value: "address", label: Loc.l("Address or invite", Loc.revision) },
            { value: "pairing", label: Loc.l("Pairing code", Loc.revision) }
        ]
        onPicked: value => {
            sheet.mode = value
            sheet.servers.clearError()
        }
    }

    VTextField {
        id: addressField
        objectName: "serverAddressField"
        visible: sheet.mode === "address"
        Layout.fillWidth: true
        placeholderText: Loc.l("Server address or invite (code@server)", Loc.revision)
        enabled: !sheet.servers.busy
        onAccepted: footer.submit()
    }
    VTextField {
        id: codeField
        objectName: "pairingCodeField"
        visible: sheet.mode === "pairing"
        Layout.fillWidth: true
        placeholderText: Loc.l("Pairing code (or scan)", Loc.revision)
        enabled: !sheet.servers.busy
        onAccepted: footer.submit()
    }
    VTextField {
        id: urlField
        // A payload names its server; a bare code needs the address.
        visible: sheet.mode === "pairing" && !codeField.text.trim().startsWith("{")
        Layout.fillWidth: true
        placeholderText: Loc.l("Server URL", Loc.revision)
        enabled: !sheet.servers.busy
    }
    RowLayout {
        visible: sheet.mode === "pairing"
        Layout.fillWidth: true
        spacing: Theme.pad
        SecondaryButton {
            Layout.fillWidth: true
            symbol: "photo"
            text: Loc.l("Choose image file…", Loc.revision)
            enabled: !sheet.servers.busy
            onClicked: filePicker.active ? filePicker.item.open() : filePicker.active = true
        }
        SecondaryButton {
            Layout.fillWidth: true
            symbol: "doc.on.clipboard"
            text: Loc.l("Paste QR code", Loc.revision)
            enabled: !sheet.servers.busy
            onClicked: sheet.servers.pasteQRCode()
        }
    }
    VTextField {
        id: nameField
        Layout.fillWidth: true
        placeholderText: Loc.l("Name (optional)", Loc.revision)
        enabled: !sheet.servers.busy
    }

    Text {
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.servers.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    SheetButtons {
        id: footer
        confirmObjectName: "addServerConfirm"
        confirmText: sheet.mode === "address" ? Loc.l("Add", Loc.revision) : Loc.l("Pair", Loc.revision)
        confirmEnabled: !sheet.servers.busy
                        && (sheet.mode === "address" ? addressField.text : codeField.text).trim().length > 0
        onCancel: sheet.close()
        onConfirm: {
            if (sheet.mode === "address")
                sheet.servers.add(addressField.text, nameField.text)
            else
                sheet.servers.pair(codeField.text, urlField.text, nameField.text)
        }
        WorkingIndicator {
            visible: sheet.servers.busy
            barCount: 3
            barHeight: 10
        }
    }
}
