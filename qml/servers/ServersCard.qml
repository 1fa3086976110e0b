import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The servers this device talks to: the primary one, then every extra
// server with its state, each removable; adding one and pairing a new
// device start here.
Card {
    id: card
    objectName: "serversCard"
    readonly property var servers: AppModel.servers

    symbol: "server.rack"
    title: Loc.l("Servers", Loc.revision)

    function stateText(state) {
        return state === "live" ? Loc.l("Live", Loc.revision)
             : state === "polling" ? Loc.l("Polling", Loc.revision)
             : state === "down" ? Loc.l("Not answering", Loc.revision)
             : Loc.l("Connecting…", Loc.revision)
    }
    function stateColor(state) {
        return state === "live" ? Theme.online
             : state === "polling" ? Theme.accentText
             : state === "down" ? Theme.danger : Theme.unknown
    }

    Connections {
        target: AppModel
        function onSheetRequested(name, chatId) {
            if (name === "addServer")
                addSheet.open()
            else if (name === "pairing")
                pairingSheet.open()
        }
    }

    ServerRow {
        Layout.fillWidth: true
        visible: card.servers.primaryUrl.length > 0
        name: Loc.l("Primary server", Loc.revision)
        url: card.servers.primaryUrl
        stateLabel: ""
    }

    Repeater {
        model: card.servers
        delegate: ServerRow {
            required property int serverId
            required property string status
            required name
            required url
            Layout.fillWidth: true
            stateLabel: card.stateText(status)
            stateColor: card.stateColor(status)
            removable: true
            onRemoveClicked: {
                removeSheet.serverId = serverId
                removeSheet.title = Loc.l("Remove this server?", Loc.revision) + " " + name
                removeSheet.open()
            }
        }
    }

    Text {
        Layout.fillWidth: true
        visible: card.servers.count === 0
        text: Loc.l("No other servers yet.", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
    }

    Flow {
        Layout.fillWidth: true
        spacing: Theme.pad
        SecondaryButton {
            objectName: "addServerButton"
            symbol: "plus"
            text: Loc.l("Add server", Loc.revision)
            onClicked: addSheet.open()
        }
        SecondaryButton {
            objectName: "pairDeviceButton"
            symbol: "qrcode.viewfinder"
            text: Loc.l("Pair a new device", Loc.revision)
            enabled: card.servers.primaryUrl.length > 0
            onClicked: pairingSheet.open()
        }
    }

    AddServerSheet { id: addSheet }
    PairingQRSheet { id: pairingSheet }
    ConfirmSheet {
        id: removeSheet
        objectName: "removeServerSheet"
        property int serverId: 0
        message: Loc.l("Its conversations leave the list on this device.", Loc.revision)
        confirmText: Loc.l("Remove", Loc.revision)
        onConfirmed: card.servers.remove(serverId)
    }
}
