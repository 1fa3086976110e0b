import QtQuick
import QtQuick.Shapes

// A short mark on the rim of a circle at a share of the way round, from
// twelve o'clock clockwise: where pace stands.
Shape {
    id: tick
    property real fraction: 0
    property color color: "white"
    property real length: 6
    readonly property real radius: Math.min(width, height) / 2
    readonly property real angle: (Math.max(0, Math.min(1, fraction)) * 360 - 90) * Math.PI / 180

    layer.enabled: true
    layer.samples: 4
    ShapePath {
        strokeWidth: 2
        strokeColor: tick.color
        fillColor: "transparent"
        capStyle: ShapePath.RoundCap
        startX: tick.width / 2 + Math.cos(tick.angle) * (tick.radius - tick.length)
        startY: tick.height / 2 + Math.sin(tick.angle) * (tick.radius - tick.length)
        PathLine {
            x: tick.width / 2 + Math.cos(tick.angle) * (tick.radius + 2)
            y: tick.height / 2 + Math.sin(tick.angle) * (tick.radius + 2)
        }
    }
}
