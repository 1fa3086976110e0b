import QtQuick
import Velmarin

// An unread count in a red pill; hidden when the text is empty.
Rectangle {
    property string text
    property color fill: Theme.badge
    property color ink: Theme.badgeForeground

    visible: text.length > 0
    implicitHeight: 18
    implicitWidth: Math.max(18, label.implicitWidth + 10)
    radius: height / 2
    color: fill
    Accessible.ignored: true

    Text {
        id: label
        anchors.centerIn: parent
        text: parent.text
        color: parent.ink
        font.pixelSize: Theme.caption
        font.weight: Font.DemiBold
    }
}
