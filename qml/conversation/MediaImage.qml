import QtQuick
import Velmarin
import Velmarin.Core

// One picture of a message at its own aspect ratio, with a placeholder of the
// same size until it has loaded.
Rectangle {
    id: media
    property var info: ({})
    property real maxWidth: 320
    property real maxHeight: 360
    signal open()

    readonly property real ratio: info.width > 0 && info.height > 0 ? info.width / info.height : 4 / 3
    implicitWidth: Math.min(maxWidth, maxHeight * ratio)
    implicitHeight: implicitWidth / ratio
    radius: Theme.radiusControl
    color: Theme.surfaceRaised
    clip: true
    Accessible.role: Accessible.Graphic
    Accessible.name: info.name || Loc.l("Photo", Loc.revision)

    Image {
        anchors.fill: parent
        source: media.info.url || ""
        sourceSize.width: Math.ceil(media.width)
        fillMode: Image.PreserveAspectCrop
        asynchronous: true
        cache: true
    }
    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: media.open()
    }
}
