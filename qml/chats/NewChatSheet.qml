import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// "New chat": pick one person to write to. "New group": pick several and
// give the group a title.
Sheet {
    id: sheet
    objectName: "newChatSheet"
    readonly property var people: AppModel.newChat
    property bool group: false

    function openFor(asGroup) {
        group = asGroup
        open()
    }

    preferredWidth: 420
    title: group ? Loc.l("New group", Loc.revision) : Loc.l("New chat", Loc.revision)
    onOpened: {
        people.reset(group)
        search.text = ""
        titleField.text = ""
        if (group)
            titleField.forceActiveFocus()
        else
            search.forceActiveFocus()
    }

    Connections {
        target: sheet.people
        function onDone(chatId) { sheet.close() }
    }

    VTextField {
        id: titleField
        objectName: "groupTitleField"
        visible: sheet.group
        Layout.fillWidth: true
        placeholderText: Loc.l("Group title", Loc.revision)
        onTextChanged: sheet.people.title = text
    }
    VTextField {
        id: search
        objectName: "peopleSearch"
        Layout.fillWidth: true
        placeholderText: Loc.l("Search people", Loc.revision)
        onTextChanged: sheet.people.search = text
        Keys.onDownPressed: {
            list.forceActiveFocus()
            list.currentIndex = 0
        }
    }

    ListView {
        id: list
        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(Math.max(contentHeight, 48), 300)
        clip: true
        model: sheet.people
        currentIndex: -1
        keyNavigationEnabled: true
        activeFocusOnTab: true
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Search people", Loc.revision)

        delegate: ItemDelegate {
            id: person
            required property var userId
            required property string name
            required property bool picked
            required property bool online
            required property int index
            width: list.width
            height: 48
            focusPolicy: Qt.NoFocus
            Accessible.name: name
            Accessible.role: sheet.group ? Accessible.CheckBox : Accessible.ListItem
            Accessible.checkable: sheet.group
            Accessible.checked: picked

            function choose() {
                if (sheet.group)
                    sheet.people.toggle(userId)
                else
                    sheet.people.startChat(userId)
            }
            onClicked: choose()
            Keys.onReturnPressed: choose()
            Keys.onSpacePressed: choose()

            contentItem: RowLayout {
                spacing: Theme.padM
                Avatar {
                    title: person.name
                    online: person.online
                    size: 32
                }
                Text {
                    Layout.fillWidth: true
                    text: person.name
                    color: Theme.text
                    font.pixelSize: Theme.body
                    elide: Text.ElideRight
                }
                Icon {
                    visible: sheet.group
                    symbol: person.picked ? "checkmark.circle.fill" : "plus.circle"
                    color: person.picked ? Theme.accentText : Theme.textSecondary
                }
            }
            background: Rectangle {
                radius: Theme.radiusControl
                color: person.hovered || (person.ListView.isCurrentItem && list.activeFocus)
                       ? Theme.hover : "transparent"
            }
        }
        Keys.onReturnPressed: if (currentItem) currentItem.choose()
        Keys.onSpacePressed: if (currentItem) currentItem.choose()

        Text {
            anchors.centerIn: parent
            visible: list.count === 0
            text: Loc.l("No one found", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
    }

    Text {
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.people.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    SheetButtons {
        confirmObjectName: "createGroupButton"
        confirmVisible: sheet.group
        confirmText: Loc.l("Create group", Loc.revision)
                     + (sheet.people.pickedCount > 0 ? " (" + sheet.people.pickedCount + ")" : "")
        confirmEnabled: sheet.people.canCreateGroup
        onCancel: sheet.close()
        onConfirm: sheet.people.createGroup()
        WorkingIndicator {
            visible: sheet.people.busy
            barCount: 3
            barHeight: 10
        }
    }
}
