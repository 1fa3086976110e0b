import QtQuick
import Velmarin

// A build's progress: filled to `percent`, or, without one while building, a
// segment sliding across.
Item {
    id: bar
    property int percent: -1
    property bool building: false
    property color color: Theme.accent
    readonly property bool indeterminate: percent < 0 && building

    implicitHeight: 4
    clip: true

    Rectangle { anchors.fill: parent; radius: 2; color: Theme.hover }
    Rectangle {
        visible: bar.percent >= 0
        width: parent.width * Math.min(100, Math.max(0, bar.percent)) / 100
        height: parent.height
        radius: 2
        color: bar.color
        Behavior on width { NumberAnimation { duration: Theme.motionSlow } }
    }
    Rectangle {
        id: slider
        visible: bar.indeterminate
        width: parent.width * 0.3
        height: parent.height
        radius: 2
        color: bar.color
        NumberAnimation on x {
            running: bar.indeterminate && bar.visible
            loops: Animation.Infinite
            from: -slider.width
            to: bar.width
            duration: 1200
            easing.type: Easing.InOutQuad
        }
    }
}
