import QtQuick
import Velmarin

// The model and effort the session runs, tinted warmer as effort grows.
Rectangle {
    id: badge
    property string text
    property color tint: Theme.accent

    implicitWidth: label.implicitWidth + 2 * Theme.pad
    implicitHeight: 20
    radius: height / 2
    color: Qt.rgba(tint.r, tint.g, tint.b, 0.18)
    border.width: 1
    border.color: tint
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Text {
        id: label
        anchors.centerIn: parent
        text: badge.text
        color: Theme.text
        font.pixelSize: Theme.caption
        font.weight: Font.DemiBold
    }
}
