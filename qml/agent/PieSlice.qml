import QtQuick
import QtQuick.Shapes

// A filled share of a circle from twelve o'clock, clockwise, over a faint disc.
Shape {
    id: pie
    property real fraction: 0
    property color color: "green"
    property color trackColor: "#33808080"
    readonly property real radius: Math.min(width, height) / 2

    layer.enabled: true
    layer.samples: 4
    ShapePath {
        strokeWidth: 0
        strokeColor: "transparent"
        fillColor: pie.trackColor
        PathAngleArc {
            centerX: pie.width / 2
            centerY: pie.height / 2
            radiusX: pie.radius
            radiusY: pie.radius
            startAngle: 0
            sweepAngle: 360
        }
    }
    ShapePath {
        strokeWidth: 0
        strokeColor: "transparent"
        fillColor: pie.color
        startX: pie.width / 2
        startY: pie.height / 2
        PathAngleArc {
            centerX: pie.width / 2
            centerY: pie.height / 2
            radiusX: pie.radius
            radiusY: pie.radius
            startAngle: -90
            sweepAngle: 360 * Math.max(0, Math.min(1, pie.fraction))
            moveToStart: false
        }
        PathLine { x: pie.width / 2; y: pie.height / 2 }
    }
}
