import QtQuick
import Velmarin
import Velmarin.Core

// Where the unread messages begin: a thin rule with a label.
Item {
    id: line
    implicitHeight: visible ? 32 : 0
    Accessible.role: Accessible.Separator
    Accessible.name: label.text

    Rectangle {
        anchors.verticalCenter: parent.verticalCenter
        width: parent.width
        height: 1
        color: Theme.accent
        opacity: 0.5
    }
    Rectangle {
        anchors.centerIn: parent
        width: label.implicitWidth + 2 * Theme.padM
        height: 22
        radius: height / 2
        color: Theme.conversation
        border.color: Theme.accent
        Text {
            id: label
            anchors.centerIn: parent
            text: Loc.l("Unread messages", Loc.revision)
            color: Theme.accentText
            font.pixelSize: Theme.secondary
            font.weight: Font.Medium
        }
    }
}
