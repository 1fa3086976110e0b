import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core

// A picture over the whole window; a click or Esc closes it.
Popup {
    id: viewer
    property var info: ({})

    function show(media) {
        info = media
        open()
    }

    parent: T.Overlay.overlay
    x: 0
    y: 0
    width: parent ? parent.width : 0
    height: parent ? parent.height : 0
    modal: true
    // Focus brings Esc to the viewer, which it closes.
    focus: true
    padding: 0
    background: Rectangle { color: Qt.rgba(0, 0, 0, 0.92) }

    Image {
        anchors.fill: parent
        anchors.margins: 32
        source: viewer.visible ? (viewer.info.url || "") : ""
        fillMode: Image.PreserveAspectFit
        asynchronous: true
    }
    IconButton {
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: Theme.padM
        symbol: "xmark"
        iconColor: "white"
        label: Loc.l("Close", Loc.revision)
        onClicked: viewer.close()
    }
    MouseArea {
        anchors.fill: parent
        z: -1
        onClicked: viewer.close()
    }
}
