import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Chooses the conversation a message is forwarded to.
Sheet {
    id: picker
    objectName: "forwardPicker"
    property var messageId: 0

    function openFor(id) {
        messageId = id
        filter.text = ""
        open()
        filter.forceActiveFocus()
    }

    title: Loc.l("Forward to…", Loc.revision)
    preferredWidth: 360
    height: Math.min(460, parent ? parent.height - 80 : 460)
    padding: Theme.padM
    spacing: Theme.pad

    ChatSwitcherModel {
        id: targets
        filter: filter.text
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
