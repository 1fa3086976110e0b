import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// Ctrl+K: type part of a title, pick with the arrows, Enter opens it.
Popup {
    id: switcher
    objectName: "quickSwitcher"
    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round(parent.height * 0.14)
    width: Math.min(520, parent.width - 48)
    height: Math.min(420, column.implicitHeight + 2 * padding)
    padding: Theme.pad
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

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

    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motionFast } }
    exit: Transition { NumberAnimation { property: "opacity"; from: 1; to: 0; duration: Theme.motionFast } }

    background: Rectangle {
        radius: Theme.radiusCard
        color: Theme.surface
        border.width: 1
        border.color: Theme.separator
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    ChatSwitcherModel {
        id: chats
        filter: query.text
        onFilterChanged: results.currentIndex = 0
    }

    ColumnLayout {
        id: column
        anchors.fill: parent
        spacing: Theme.pad
        Accessible.role: Accessible.Dialog
        Accessible.name: Loc.l("Jump to a conversation", Loc.revision)

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
}
