import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Another person's profile, opened by a velmarin://user/ link, the people
// section or a member of a group: the picture, name and presence, what they
// tell about themselves ("—" where they tell nothing), the device they last
// connected with, and the way to write to them.
Sheet {
    id: sheet
    objectName: "profileSheet"
    readonly property var person: AppModel.profileUser
    readonly property var extra: AppModel.userProfile

    title: Loc.l("Profile", Loc.revision)
    preferredWidth: 420
    visible: person.name !== undefined
    onClosed: AppModel.closeProfile()

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
    SheetButtons {
        Layout.topMargin: Theme.pad
        cancelText: ""
        confirmText: Loc.l("Done", Loc.revision)
        onConfirm: sheet.close()
        SecondaryButton {
            objectName: "profileConversationButton"
            symbol: "message.fill"
            text: Loc.l("Conversation", Loc.revision)
            enabled: !sheet.extra.busy
            onClicked: sheet.extra.startConversation()
        }
    }
}
