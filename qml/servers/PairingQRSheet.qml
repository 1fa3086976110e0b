import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// This device's one-use pairing code, as a QR and as text, for a new device
// of the same person.
Sheet {
    id: sheet
    objectName: "pairingSheet"
    readonly property var servers: AppModel.servers

    preferredWidth: 400
    title: Loc.l("Pair a new device", Loc.revision)
    onOpened: servers.requestPairingCode()
    onClosed: servers.closePairing()

    Text {
        Layout.fillWidth: true
        text: Loc.l("On the new device, scan this QR (or enter the code and server URL). One use, valid 10 minutes.", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
    }

    Rectangle {
        Layout.alignment: Qt.AlignHCenter
        Layout.preferredWidth: 232
        Layout.preferredHeight: 232
        radius: Theme.radiusControl
        color: "white"
        Image {
            objectName: "pairingQR"
            anchors.centerIn: parent
            width: 216
            height: 216
            visible: sheet.servers.pairingState === "ready"
            source: sheet.servers.pairingImage
            fillMode: Image.PreserveAspectFit
            smooth: false
            Accessible.role: Accessible.Graphic
            Accessible.name: Loc.l("Pairing code", Loc.revision)
        }
        WorkingIndicator {
            anchors.centerIn: parent
            visible: sheet.servers.pairingState === "loading"
            barCount: 4
            barHeight: 14
        }
        Text {
            anchors.fill: parent
            anchors.margins: Theme.padM
            visible: sheet.servers.pairingState === "failed"
            text: Loc.l("Server unreachable", Loc.revision)
            color: Theme.danger
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
    }

    TextEdit {
        objectName: "pairingCodeText"
        Layout.fillWidth: true
        visible: sheet.servers.pairingState === "ready"
        text: sheet.servers.pairingCode
        readOnly: true
        selectByMouse: true
        color: Theme.text
        font.pixelSize: 22
        font.family: AppModel.monoFont
        font.letterSpacing: 2
        horizontalAlignment: Text.AlignHCenter
        Accessible.name: Loc.l("Pairing code", Loc.revision)
    }
    Text {
        Layout.fillWidth: true
        visible: sheet.servers.pairingState === "ready"
        text: sheet.servers.primaryUrl
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
        horizontalAlignment: Text.AlignHCenter
        elide: Text.ElideMiddle
    }

    SheetButtons {
        cancelText: ""
        confirmText: Loc.l("Done", Loc.revision)
        onConfirm: sheet.close()
    }
}
