import QtQuick
import Velmarin

// The input level as a row of capsules, oldest on the left. Each bar is its
// level of the full height, never less than its width, so silence shows dots.
Row {
    id: bars
    property var levels: []
    property color color: Theme.accent
    property real barHeight: 28
    property real barWidth: 3

    spacing: 3
    height: barHeight
    Accessible.ignored: true

    Repeater {
        model: bars.levels.length
        Rectangle {
            required property int index
            anchors.verticalCenter: parent.verticalCenter
            width: bars.barWidth
            height: Math.max(bars.barWidth, (bars.levels[index] || 0) * bars.barHeight)
            radius: width / 2
            color: bars.color
            Behavior on height {
                NumberAnimation {
                    duration: 90
                    easing.type: Easing.Linear
                }
            }
        }
    }
}
