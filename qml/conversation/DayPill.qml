import QtQuick
import Velmarin

// The day above its messages, as a centred pill.
Item {
    id: day
    property string text
    implicitHeight: pill.height + 2 * Theme.pad

    Rectangle {
        id: pill
        anchors.centerIn: parent
        width: label.implicitWidth + 2 * Theme.padM
        height: 24
        radius: height / 2
        color: Theme.surfaceRaised
        Text {
            id: label
            anchors.centerIn: parent
            text: day.text
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            font.weight: Font.Medium
        }
    }
}
