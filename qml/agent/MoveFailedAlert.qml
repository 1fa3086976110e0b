import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core

// A short alert: a title, why, and "OK".
Popup {
    id: alert
    property string title: Loc.l("Could not switch the account", Loc.revision)
    property string message

    function show(text) {
        message = text
        open()
    }

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: Math.min(360, parent.width - 48)
    padding: Theme.padL
    modal: true
    focus: true
    background: Rectangle {
        radius: Theme.radiusCard
        color: Theme.surface
        border.width: 1
        border.color: Theme.separator
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.padM
        Accessible.role: Accessible.AlertMessage
        Accessible.name: alert.title
        Text {
            Layout.fillWidth: true
            text: alert.title
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            text: alert.message
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        PrimaryButton {
            Layout.alignment: Qt.AlignRight
            text: Loc.l("OK", Loc.revision)
            onClicked: alert.close()
        }
    }
}
