import QtQuick
import Velmarin

// The visible keyboard focus of a control; place it as a child of the control.
Rectangle {
    property Item target: parent
    property real inset: -3

    anchors.fill: parent
    anchors.margins: inset
    radius: (target && target.background && target.background.radius !== undefined
             ? target.background.radius : Theme.radiusControl) - inset
    color: "transparent"
    border.width: 2
    border.color: Theme.focusRing
    visible: target && target.visualFocus === true
    z: 10
}
