import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// A short alert: a title, why, and "OK".
Sheet {
    id: alert
    property string message

    function show(text) {
        message = text
        open()
    }

    title: Loc.l("Could not switch the account", Loc.revision)
    preferredWidth: 360

    Text {
        Layout.fillWidth: true
        text: alert.message
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
    SheetButtons {
        cancelText: ""
        confirmText: Loc.l("OK", Loc.revision)
        onConfirm: alert.close()
    }
}
