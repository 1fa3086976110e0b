import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The sign-in screen: a name first; when no reachable server knows the name,
// an invite code.
Rectangle {
    id: screen
    objectName: "loginView"
    color: Theme.window

    LoginViewModel { id: login }

    Component.onCompleted: {
        nameField.forceActiveFocus()
        login.appear()
    }

    // By URL, so the dialog module loads on first use and not with the screen.
    Loader {
        id: filePicker
        objectName: "qrFilePicker"
        active: false
        source: "QRImagePicker.qml"
        onLoaded: {
            item.picked.connect(url => login.useQRImageFile(url))
            item.open()
        }
    }

    Rectangle {
        id: card
        anchors.centerIn: parent
        width: Math.min(400, screen.width - 48)
        height: content.implicitHeight + 2 * 28
        radius: Theme.radiusCard
        color: Theme.surface
        border.width: Theme.dark ? 0 : 1
        border.color: Theme.separator

        ColumnLayout {
            id: content
            anchors.fill: parent
            anchors.margins: 28
            spacing: Theme.padM

            RowLayout {
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.pad
                Rectangle {
                    Layout.preferredWidth: 36
                    Layout.preferredHeight: 36
                    radius: 10
                    color: Theme.accentFill
                    Icon {
                        anchors.centerIn: parent
                        symbol: "icon-chat"
                        size: 20
                        color: Theme.accentForeground
                    }
                }
                Text {
                    text: "Velmarin"
                    color: Theme.text
                    font.pixelSize: 20
                    font.weight: Font.DemiBold
                }
            }

            Text {
                Layout.fillWidth: true
                Layout.topMargin: Theme.pad
                text: login.step === "name" ? Loc.l("What's your name?", Loc.revision)
                                            : Loc.lf("Hi %@", [login.name], Loc.revision)
                color: Theme.text
                font.pixelSize: 22
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }

            // Name step
            VTextField {
                id: nameField
                visible: login.step === "name"
                Layout.fillWidth: true
                placeholderText: Loc.l("Your name", Loc.revision)
                text: login.name
                enabled: !login.busy
                focus: login.step === "name"
                onTextEdited: login.name = text
                onAccepted: login.submitName()
            }
            PrimaryButton {
                visible: login.step === "name"
                Layout.fillWidth: true
                text: Loc.l("Continue", Loc.revision)
                enabled: !login.busy && login.name.trim().length > 0
                onClicked: login.submitName()
            }
            BusyIndicator {
                visible: login.step === "code" && login.busy
                running: visible
                Layout.alignment: Qt.AlignHCenter
                Layout.preferredWidth: 24
                Layout.preferredHeight: 24
                Accessible.ignored: true
            }
            RowLayout {
                visible: login.step === "name" && (login.autoProbing || login.busy)
                Layout.alignment: Qt.AlignHCenter
                spacing: Theme.pad
                BusyIndicator {
                    Layout.preferredWidth: 20
                    Layout.preferredHeight: 20
                    running: parent.visible
                    Accessible.ignored: true
                }
                Text {
                    text: Loc.l("Looking for your servers…", Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                }
            }

            // Code step
            Text {
                visible: login.step === "code"
                Layout.fillWidth: true
                text: login.localHint.length > 0
                      ? Loc.lf("Sign in on %@ with the name you were invited under.", [login.localHint], Loc.revision)
                      : Loc.l("Scan the invite QR, or paste the code you received.", Loc.revision)
                color: Theme.textSecondary
                font.pixelSize: Theme.body
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }
            Text {
                visible: login.step === "code"
                text: Loc.l("Invite code", Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.secondary
                font.weight: Font.Medium
            }
            VTextField {
                id: codeField
                visible: login.step === "code"
                Layout.fillWidth: true
                label: Loc.l("Invite code", Loc.revision)
                placeholderText: "code@server"
                text: login.inviteCode
                enabled: !login.busy
                onTextEdited: login.inviteCode = text
                onAccepted: login.joinInvite()
                onVisibleChanged: if (visible) forceActiveFocus()
            }
            RowLayout {
                visible: login.step === "code"
                Layout.fillWidth: true
                spacing: Theme.pad
                SecondaryButton {
                    Layout.fillWidth: true
                    symbol: "photo"
                    text: Loc.l("Choose image file…", Loc.revision)
                    enabled: !login.busy
                    onClicked: filePicker.active ? filePicker.item.open() : filePicker.active = true
                }
                SecondaryButton {
                    Layout.fillWidth: true
                    symbol: "doc.on.clipboard"
                    text: Loc.l("Paste QR code", Loc.revision)
                    enabled: !login.busy
                    onClicked: login.pasteQRCode()
                }
            }
            RowLayout {
                visible: login.step === "code"
                Layout.fillWidth: true
                spacing: Theme.pad
                SecondaryButton {
                    text: Loc.l("Back", Loc.revision)
                    enabled: !login.busy
                    onClicked: login.back()
                }
                PrimaryButton {
                    Layout.fillWidth: true
                    text: Loc.l("Join", Loc.revision)
                    enabled: !login.busy && login.inviteCode.trim().length > 0
                    onClicked: login.joinInvite()
                }
            }

            Text {
                Layout.fillWidth: true
                visible: login.errorText.length > 0
                text: login.errorText
                color: Theme.dangerText
                font.pixelSize: Theme.secondary
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }
    }
}
