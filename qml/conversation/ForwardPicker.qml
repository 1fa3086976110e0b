import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// Chooses the conversation a message is forwarded to.
Popup {
    id: picker
    objectName: "forwardPicker"
    property var messageId: 0

    function openFor(id) {
        messageId = id
        filter.text = ""
        open()
        filter.forceActiveFocus()
    }

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 360
    height: Math.min(460, parent ? parent.height - 80 : 460)
    modal: true
    padding: Theme.padM
    background: Rectangle { radius: Theme.radiusCard; color: Theme.surface; border.color: Theme.separator }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    ChatSwitcherModel {
        id: targets
        filter: filter.text
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Theme.pad
        Text {
            text: Loc.l("Forward to…", Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
        }
        VTextField {
            id: filter
            Layout.fillWidth: true
            placeholderText: Loc.l("Search", Loc.revision)
        }
        ListView {
            id: choices
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            model: targets
            delegate: ItemDelegate {
                required property var chatId
                required property string title
                width: ListView.view.width
                text: title
                Accessible.name: title
                contentItem: Text {
                    text: parent.text
                    color: Theme.text
                    font.pixelSize: Theme.body
                    elide: Text.ElideRight
                }
                onClicked: {
                    AppModel.forwardMessage(picker.messageId, chatId)
                    picker.close()
                }
            }
        }
    }
}
