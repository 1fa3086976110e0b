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
    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.pad
        Item { Layout.fillWidth: true }
        SecondaryButton {
            text: Loc.l("Cancel", Loc.revision)
            onClicked: confirm.close()
        }
        PrimaryButton {
            objectName: "confirmButton"
            text: confirm.confirmText
            danger: true
            onClicked: {
                confirm.close()
                confirm.confirmed()
            }
        }
    }
}
