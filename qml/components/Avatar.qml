import QtQuick
import Velmarin

// A round picture with the title's initial under it until the picture loads,
// and a green dot for a person who is online.
Item {
    id: avatar
    property string title
    property url source
    property bool online: false
    property bool overAccent: false
    property int size: 44
    property color ringColor: Theme.window

    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    Rectangle {
        anchors.fill: parent
        radius: width / 2
        color: avatar.overAccent ? Qt.rgba(1, 1, 1, 0.22) : Theme.surfaceRaised
        Text {
            anchors.centerIn: parent
            text: avatar.title.length > 0 ? avatar.title.charAt(0).toUpperCase() : "?"
            color: avatar.overAccent ? Theme.accentForeground : Theme.text
            font.pixelSize: avatar.size * 0.4
            font.weight: Font.DemiBold
        }
    }
    Image {
        id: picture
        anchors.fill: parent
        source: avatar.source
        sourceSize: Qt.size(avatar.size * 2, avatar.size * 2)
        fillMode: Image.PreserveAspectCrop
        asynchronous: true
        visible: status === Image.Ready
    }
    // Rounds the picture without a shader: a ring in the colour behind the
    // avatar covers the square's corners.
    Rectangle {
        readonly property real ring: avatar.size * 0.21
        visible: picture.visible
        anchors.centerIn: parent
        width: avatar.size + 2 * ring
        height: width
        radius: width / 2
        color: "transparent"
        border.width: ring
        border.color: avatar.ringColor
    }
    Rectangle {
        visible: avatar.online
        width: avatar.size * 0.28
        height: width
        radius: width / 2
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        color: Theme.online
        border.width: 2
        border.color: Theme.window
    }
}
