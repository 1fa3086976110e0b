import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// What an empty list offers someone who has no conversation yet: the way in
// by invite code, or "Not now" for the rest of this sign-in.
Item {
    id: root
    objectName: "joinPrompt"
    signal join()
    implicitHeight: column.implicitHeight

    ColumnLayout {
        id: column
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.padL, 360)
        spacing: Theme.pad

        Icon {
            Layout.alignment: Qt.AlignHCenter
            symbol: "qrcode.viewfinder"
            size: 44
            color: Theme.textSecondary
        }
        Text {
            Layout.fillWidth: true
            Layout.topMargin: Theme.pad
            text: Loc.l("No conversations yet", Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            text: Loc.l("Join a conversation you were invited to — ask whoever invited you for the code.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        PrimaryButton {
            objectName: "joinPromptButton"
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: Theme.pad
            text: Loc.l("Join a conversation", Loc.revision)
            onClicked: root.join()
        }
        SecondaryButton {
            objectName: "joinPromptDismiss"
            Layout.alignment: Qt.AlignHCenter
            text: Loc.l("Not now", Loc.revision)
            onClicked: AppModel.join.dismissPrompt()
        }
    }
}
