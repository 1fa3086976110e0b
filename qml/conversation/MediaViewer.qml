import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A picture over the whole window. The wheel, a pinch or + and - zoom it
// (0 fits it again), a drag moves a zoomed picture, Esc or a click beside
// it closes the viewer; the arrow saves the picture where the person says.
Popup {
    id: viewer
    property var info: ({})
    readonly property real zoom: picture.zoom
    signal saveRequested(string url, string name)

    function show(media) {
        info = media
        picture.fit()
        open()
    }
    function zoomTo(factor) {
        picture.zoomAround(factor, picture.width / 2, picture.height / 2)
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
    closePolicy: Popup.CloseOnEscape
    background: Rectangle { color: Qt.rgba(0, 0, 0, 0.92) }
    onOpened: picture.forceActiveFocus()

    ZoomableImage {
        id: picture
        objectName: "zoomableImage"
        anchors.fill: parent
        anchors.margins: 32
        source: viewer.visible ? (viewer.info.url || "") : ""
        onBackgroundClicked: viewer.close()
    }

    RowLayout {
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: Theme.padM
        spacing: 4
        Text {
            objectName: "zoomLevel"
            visible: picture.zoom !== 1
            text: Math.round(picture.zoom * 100) + " %"
            color: "white"
            font.pixelSize: Theme.secondary
            Layout.rightMargin: Theme.pad
        }
        ProgressBar {
            visible: progress !== undefined
            readonly property var progress: viewer.info.url ? AppModel.transfers.progress[viewer.info.url] : undefined
            Layout.preferredWidth: 100
            from: 0
            to: 1
            value: progress !== undefined ? Math.max(0, progress) : 0
            indeterminate: progress !== undefined && progress < 0
        }
        IconButton {
            symbol: "minus.magnifyingglass"
            iconColor: "white"
            label: Loc.l("Zoom out", Loc.revision)
            onClicked: picture.zoomOut()
        }
        IconButton {
            symbol: "plus.magnifyingglass"
            iconColor: "white"
            label: Loc.l("Zoom in", Loc.revision)
            onClicked: picture.zoomIn()
        }
        IconButton {
            objectName: "savePicture"
            symbol: "arrow.down.circle"
            iconColor: "white"
            label: Loc.l("Save…", Loc.revision)
            enabled: !!viewer.info.url
            onClicked: viewer.saveRequested(viewer.info.url, viewer.info.name || Loc.l("Photo", Loc.revision) + ".jpg")
        }
        IconButton {
            symbol: "xmark"
            iconColor: "white"
            label: Loc.l("Close", Loc.revision)
            onClicked: viewer.close()
        }
    }
}
