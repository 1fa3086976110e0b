import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Picks people of the group's server who are not in it yet, and adds them.
Sheet {
    id: sheet
    objectName: "addGroupMembersSheet"
    readonly property var group: AppModel.groupSettings
    property var picked: []

    function toggle(userId) {
        const at = picked.indexOf(userId)
        const next = picked.slice()
        if (at >= 0)
            next.splice(at, 1)
        else
            next.push(userId)
        picked = next
    }

    preferredWidth: 420
    title: Loc.l("Add members", Loc.revision)
    onOpened: {
        picked = []
        search.text = ""
        search.forceActiveFocus()
    }

    VTextField {
        id: search
        Layout.fillWidth: true
        placeholderText: Loc.l("Search people", Loc.revision)
        onTextChanged: sheet.group.candidateSearch = text
    }

    ListView {
        id: list
        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(Math.max(contentHeight, 48), 300)
        clip: true
        model: sheet.group.candidates
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Add members", Loc.revision)
        delegate: ItemDelegate {
            id: person
            required property var modelData
            readonly property bool chosen: sheet.picked.indexOf(modelData.userId) >= 0
            width: list.width
            height: 48
            focusPolicy: Qt.StrongFocus
            Accessible.role: Accessible.CheckBox
            Accessible.name: modelData.name
            Accessible.checkable: true
            Accessible.checked: chosen
            onClicked: sheet.toggle(modelData.userId)
            contentItem: RowLayout {
                spacing: Theme.padM
                Avatar {
                    title: person.modelData.name
                    online: person.modelData.online
                    size: 32
                    ringColor: Theme.surface
                }
                Text {
                    Layout.fillWidth: true
                    text: person.modelData.name
                    color: Theme.text
                    font.pixelSize: Theme.body
                    elide: Text.ElideRight
                }
                Icon {
                    symbol: person.chosen ? "checkmark.circle.fill" : "plus.circle"
                    color: person.chosen ? Theme.accentText : Theme.textSecondary
                }
            }
            background: Rectangle {
                radius: Theme.radiusControl
                color: person.hovered || person.activeFocus ? Theme.hover : "transparent"
            }
        }
        Text {
            anchors.centerIn: parent
            visible: list.count === 0
            text: Loc.l("No one found", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
    }

    SheetButtons {
        confirmText: Loc.l("Add", Loc.revision) + (sheet.picked.length > 0 ? " (" + sheet.picked.length + ")" : "")
        confirmObjectName: "confirmAddMembers"
        confirmEnabled: sheet.picked.length > 0 && !sheet.group.busy
        onCancel: sheet.close()
        onConfirm: {
            sheet.group.addMembers(sheet.picked)
            sheet.close()
        }
    }
}
