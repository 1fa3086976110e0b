import QtQuick
import Velmarin

// The agent is at work: bars that rise and fall in turn, looping.
Row {
    id: meter
    property color color: Theme.accent
    property int barCount: 5
    property int barHeight: 12

    spacing: 2
    height: barHeight
    Accessible.ignored: true

    Repeater {
        model: meter.barCount
        Rectangle {
            required property int index
            anchors.bottom: parent.bottom
            width: 3
            radius: 1.5
            color: meter.color
            height: meter.barHeight * 0.35

            SequentialAnimation on height {
                loops: Animation.Infinite
                running: meter.visible
                PauseAnimation { duration: index * 90 }
                NumberAnimation { to: meter.barHeight; duration: 260; easing.type: Easing.OutQuad }
                NumberAnimation { to: meter.barHeight * 0.35; duration: 260; easing.type: Easing.InQuad }
                PauseAnimation { duration: (meter.barCount - index) * 90 }
            }
        }
    }
}
