import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// Asks before something that cannot be undone.
Sheet {
    id: confirm
    property string message
    property string confirmText
    signal confirmed()

    preferredWidth: 380

    Text {
        Layout.fillWidth: true
        text: confirm.message
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
    }
    SheetButtons {
        confirmText: confirm.confirmText
        confirmObjectName: "confirmButton"
        confirmDanger: true
        onCancel: confirm.close()
        onConfirm: {
            confirm.close()
            confirm.confirmed()
        }
    }
}
