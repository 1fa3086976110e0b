import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// One member of a group: picture, name, presence, the role when it is more
// than member, and a menu of what can be done with them.
ItemDelegate {
    id: row
    required property var userId
    required property string name
    required property string groupRole
    required property string roleLabel
    required property bool online
    required property string presence
    required property bool isMe
    required property url avatarUrl
    required property bool canRemove
    required property bool canChangeRole
    signal profileAsked()
    signal menuAsked(var item)

    height: 52
    focusPolicy: Qt.StrongFocus
    Accessible.name: name + ", " + Loc.l(roleLabel, Loc.revision)
    onClicked: if (!isMe) profileAsked()

    contentItem: RowLayout {
        spacing: Theme.padM
        Avatar {
            title: row.name
            source: row.avatarUrl
            online: row.online
            size: 36
            ringColor: Theme.surface
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            Text {
                Layout.fillWidth: true
                text: row.name
                color: Theme.text
                font.pixelSize: Theme.listTitle
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                text: row.presence
                color: row.online ? Theme.online : Theme.textSecondary
                font.pixelSize: Theme.secondary
                elide: Text.ElideRight
            }
        }
        Rectangle {
            visible: row.groupRole !== "User"
            radius: height / 2
            color: row.groupRole === "Owner" ? Theme.accentWash : Theme.hover
            implicitWidth: roleText.implicitWidth + 2 * Theme.pad
            implicitHeight: roleText.implicitHeight + 6
            Text {
                id: roleText
                anchors.centerIn: parent
                text: Loc.l(row.roleLabel, Loc.revision)
                color: row.groupRole === "Owner" ? Theme.accentText : Theme.textSecondary
                font.pixelSize: Theme.caption
                font.weight: Font.DemiBold
            }
        }
        IconButton {
            id: more
            visible: !row.isMe
            symbol: "ellipsis"
            label: Loc.lf("More for %@", [row.name], Loc.revision)
            onClicked: row.menuAsked(more)
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: row.hovered || row.activeFocus ? Theme.hover : "transparent"
    }
}
