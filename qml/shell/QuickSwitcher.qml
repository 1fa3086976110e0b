import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Ctrl+K: type part of a title, pick with the arrows, Enter opens it.
Sheet {
    id: switcher
    objectName: "quickSwitcher"
    label: Loc.l("Jump to a conversation", Loc.revision)
    preferredWidth: 520
    y: Math.round(parent.height * 0.14)
    height: Math.min(420, implicitHeight)
    padding: Theme.pad
    spacing: Theme.pad

    onOpened: {
        query.text = ""
        results.currentIndex = 0
        query.forceActiveFocus()
    }

    function choose(row) {
        const id = chats.chatIdAt(row)
        if (id === 0)
            return
        AppModel.selectChat(id)
        close()
    }

    ChatSwitcherModel {
        id: chats
        filter: query.text
        onFilterChanged: results.currentIndex = 0
    }

    VTextField {
        id: query
        Layout.fillWidth: true
        placeholderText: Loc.l("Jump to a conversation", Loc.revision)
        Keys.onDownPressed: results.incrementCurrentIndex()
        Keys.onUpPressed: results.decrementCurrentIndex()
        Keys.onReturnPressed: switcher.choose(results.currentIndex)
        Keys.onEnterPressed: switcher.choose(results.currentIndex)
    }

    ListView {
        id: results
        Layout.fillWidth: true
        Layout.fillHeight: true
        Layout.preferredHeight: Math.min(contentHeight, 340)
        clip: true
        model: chats
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Conversations", Loc.revision)

        delegate: ItemDelegate {
            id: result
            required property int index
            required property string title
            required property int unread
            width: results.width
            height: 40
            focusPolicy: Qt.NoFocus
            highlighted: ListView.isCurrentItem
            Accessible.name: title
            onClicked: switcher.choose(index)

            contentItem: Text {
                text: result.title
                color: result.highlighted ? Theme.accentForeground : Theme.text
                font.pixelSize: Theme.body
                verticalAlignment: Text.AlignVCenter
                elide: Text.ElideRight
            }
            background: Rectangle {
                radius: Theme.radiusControl
                color: result.highlighted ? Theme.accentFill
                                          : result.hovered ? Theme.hover : "transparent"
            }
        }
    }

    Text {
        Layout.fillWidth: true
        visible: chats.count === 0
        text: Loc.l("No matches", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
        horizontalAlignment: Text.AlignHCenter
        bottomPadding: Theme.pad
    }
}
