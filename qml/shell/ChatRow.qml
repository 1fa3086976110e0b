import QtQuick
import QtQuick.Layouts
import Velmarin

// One conversation in the list: an initial, the title and the unread count.
Item {
    id: row
    required property var chatId
    required property string title
    required property int unread
    required property string badge
    required property bool isGroup
    property bool selected: false
    property bool highlighted: false
    signal activated()

    implicitHeight: 56
    Accessible.role: Accessible.ListItem
    Accessible.name: unread > 0 ? title + ", " + unread : title
    Accessible.selected: selected

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: Theme.pad
        anchors.rightMargin: Theme.pad
        radius: Theme.radiusControl
        color: row.selected ? Theme.accentFill : mouse.containsMouse ? Theme.hover : "transparent"
        border.width: row.highlighted ? 2 : 0
        border.color: Theme.focusRing
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.padL
        anchors.rightMargin: Theme.padL
        spacing: Theme.padM

        Rectangle {
            Layout.preferredWidth: 36
            Layout.preferredHeight: 36
            radius: 18
            color: row.selected ? Qt.rgba(1, 1, 1, 0.22) : Theme.surfaceRaised
            Text {
                anchors.centerIn: parent
                text: row.title.length > 0 ? row.title.charAt(0).toUpperCase() : "?"
                color: row.selected ? Theme.accentForeground : Theme.text
                font.pixelSize: Theme.body
                font.weight: Font.DemiBold
            }
        }
        Text {
            Layout.fillWidth: true
            text: row.title
            color: row.selected ? Theme.accentForeground : Theme.text
            font.pixelSize: Theme.listTitle
            font.weight: Font.DemiBold
            elide: Text.ElideRight
        }
        Badge {
            text: row.badge
            fill: row.selected ? Theme.accentForeground : Theme.accentFill
            ink: row.selected ? Theme.accentFill : Theme.accentForeground
        }
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        onClicked: row.activated()
    }
}
