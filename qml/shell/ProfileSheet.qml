import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core

// Another person's profile, opened by a velmarin://user/ link, the people
// section or a member of a group: the picture, name and presence, what they
// tell about themselves ("—" where they tell nothing), the device they last
// connected with, and the way to write to them.
Popup {
    id: sheet
    objectName: "profileSheet"
    readonly property var person: AppModel.profileUser
    readonly property var extra: AppModel.userProfile

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: Math.min(420, parent.width - 48)
    padding: Theme.padL
    modal: true
    focus: true
    visible: person.name !== undefined
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside
    onClosed: AppModel.closeProfile()

    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motion } }
    exit: Transition { NumberAnimation { property: "opacity"; from: 1; to: 0; duration: Theme.motionFast } }

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
        Accessible.role: Accessible.Dialog
        Accessible.name: Loc.l("Profile", Loc.revision)

        Text {
            Layout.fillWidth: true
            text: Loc.l("Profile", Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.padM
            Avatar {
                title: sheet.person.name || ""
                source: sheet.extra.avatarUrl
                online: sheet.extra.online
                size: 56
                ringColor: Theme.surface
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text {
                    Layout.fillWidth: true
                    text: sheet.person.name || ""
                    color: Theme.text
                    font.pixelSize: Theme.header
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                }
                Text {
                    objectName: "profilePresence"
                    Layout.fillWidth: true
                    text: sheet.extra.presence
                    color: sheet.extra.online ? Theme.online : Theme.textSecondary
                    font.pixelSize: Theme.secondary
                    elide: Text.ElideRight
                }
            }
        }
        Repeater {
            model: [
                { symbol: "mappin.and.ellipse", label: "Address", key: "address" },
                { symbol: "star.fill", label: "Competence", key: "competence" },
                { symbol: "briefcase.fill", label: "Experience", key: "experience" },
                { symbol: "envelope.fill", label: "Email", key: "email" },
                { symbol: "phone.fill", label: "Phone", key: "phone" }
            ]
            delegate: RowLayout {
                required property var modelData
                Layout.fillWidth: true
                spacing: Theme.padM
                Icon {
                    symbol: modelData.symbol
                    size: 18
                    color: Theme.textSecondary
                }
                Text {
                    Layout.preferredWidth: 96
                    text: Loc.l(modelData.label, Loc.revision)
                    color: Theme.textSecondary
                    font.pixelSize: Theme.secondary
                }
                Text {
                    Layout.fillWidth: true
                    text: sheet.person[modelData.key] || "—"
                    color: Theme.text
                    font.pixelSize: Theme.body
                    wrapMode: Text.Wrap
                }
            }
        }
        RowLayout {
            objectName: "profileLastConnected"
            Layout.fillWidth: true
            visible: sheet.extra.lastConnected.length > 0
            spacing: Theme.padM
            Icon {
                symbol: sheet.extra.deviceIcon
                size: 18
                color: Theme.textSecondary
            }
            Text {
                Layout.fillWidth: true
                text: sheet.extra.lastConnected
                color: Theme.textSecondary
                font.pixelSize: Theme.secondary
                wrapMode: Text.Wrap
            }
        }
        Text {
            Layout.fillWidth: true
            visible: text.length > 0
            text: sheet.extra.errorText
            color: Theme.dangerText
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.topMargin: Theme.pad
            spacing: Theme.pad
            SecondaryButton {
                objectName: "profileConversationButton"
                symbol: "message.fill"
                text: Loc.l("Conversation", Loc.revision)
                enabled: !sheet.extra.busy
                onClicked: sheet.extra.startConversation()
            }
            Item { Layout.fillWidth: true }
            PrimaryButton {
                text: Loc.l("Done", Loc.revision)
                onClicked: sheet.close()
            }
        }
    }
}
