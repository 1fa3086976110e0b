import QtQuick

// A picture fitted into its area that zooms about a point (wheel, pinch,
// + and -, 0 to fit again) from 1 to 8 times and is dragged about while
// larger than the area; it never leaves a gap at an edge it could fill.
Item {
    id: area
    property alias source: image.source
    property real zoom: 1
    readonly property real minZoom: 1
    readonly property real maxZoom: 8
    // Where the picture's centre sits, relative to the area's centre.
    property real panX: 0
    property real panY: 0
    readonly property real fitScale: image.implicitWidth > 0 && image.implicitHeight > 0
        ? Math.min(width / image.implicitWidth, height / image.implicitHeight, 1) : 1
    readonly property real shownWidth: image.implicitWidth * fitScale * zoom
    readonly property real shownHeight: image.implicitHeight * fitScale * zoom
    signal backgroundClicked()

    function clampPan() {
        const spareX = Math.max(0, (shownWidth - width) / 2)
        const spareY = Math.max(0, (shownHeight - height) / 2)
        panX = Math.max(-spareX, Math.min(spareX, panX))
        panY = Math.max(-spareY, Math.min(spareY, panY))
    }
    function fit() {
        zoom = 1
        panX = 0
        panY = 0
    }
    // Keeps the point under (x, y) of the area where it is.
    function zoomAround(factor, x, y) {
        const next = Math.max(minZoom, Math.min(maxZoom, factor))
        const ratio = next / zoom
        const cx = x - width / 2
        const cy = y - height / 2
        panX = cx - (cx - panX) * ratio
        panY = cy - (cy - panY) * ratio
        zoom = next
        clampPan()
    }

    function zoomIn() {
        zoomAround(zoom * 1.25, width / 2, height / 2)
    }
    function zoomOut() {
        zoomAround(zoom / 1.25, width / 2, height / 2)
    }

    clip: true
    focus: true
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Plus || event.key === Qt.Key_Equal)
            zoomIn()
        else if (event.key === Qt.Key_Minus)
            zoomOut()
        else if (event.key === Qt.Key_0)
            fit()
        else
            return
        event.accepted = true
    }
    Accessible.role: Accessible.Graphic
    Accessible.name: Math.round(zoom * 100) + " %"

    Image {
        id: image
        width: area.shownWidth
        height: area.shownHeight
        x: (area.width - width) / 2 + area.panX
        y: (area.height - height) / 2 + area.panY
        asynchronous: true
        smooth: true
        mipmap: true
        fillMode: Image.Stretch
        onStatusChanged: if (status === Image.Ready) area.clampPan()
    }

    TapHandler {
        // Beside the picture closes; on it, nothing.
        onTapped: eventPoint => {
            const p = eventPoint.position
            if (p.x < image.x || p.x > image.x + image.width || p.y < image.y || p.y > image.y + image.height)
                area.backgroundClicked()
        }
        onDoubleTapped: eventPoint => {
            if (area.zoom > 1)
                area.fit()
            else
                area.zoomAround(2.5, eventPoint.position.x, eventPoint.position.y)
        }
    }
    DragHandler {
        target: null
        enabled: area.zoom > 1
        property real startX: 0
        property real startY: 0
        onActiveChanged: if (active) { startX = area.panX; startY = area.panY }
        onTranslationChanged: {
            area.panX = startX + translation.x
            area.panY = startY + translation.y
            area.clampPan()
        }
    }
    PinchHandler {
        target: null
        property real startZoom: 1
        onActiveChanged: if (active) startZoom = area.zoom
        onActiveScaleChanged: area.zoomAround(startZoom * activeScale, centroid.position.x, centroid.position.y)
    }
    WheelHandler {
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        onWheel: event => {
            const steps = event.angleDelta.y / 120
            area.zoomAround(area.zoom * Math.pow(1.2, steps), event.x, event.y)
        }
    }
    onWidthChanged: clampPan()
    onHeightChanged: clampPan()
}
