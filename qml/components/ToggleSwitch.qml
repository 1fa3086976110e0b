import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// An on/off switch in the accent colour.
Switch {
    id: control
    property string label

    padding: 0
    // No text beside it: the switch is exactly its track, so layouts keep it inside.
    implicitWidth: indicator.implicitWidth
    implicitHeight: indicator.implicitHeight
    focusPolicy: Qt.StrongFocus
    Accessible.name: label

    indicator: Rectangle {
        implicitWidth: 40
        implicitHeight: 24
        radius: height / 2
        color: control.checked ? Theme.accentFill : Theme.surfaceRaised
        border.width: control.checked ? 0 : 1
        border.color: Theme.fieldBorder

        Rectangle {
            width: 18
            height: 18
            radius: 9
            y: 3
            x: control.checked ? parent.width - width - 3 : 3
            color: control.checked ? Theme.accentForeground : Theme.textSecondary
            Behavior on x { NumberAnimation { duration: Theme.motionFast } }
        }
        FocusRing { target: control; radius: height / 2 + 3 }
    }
    contentItem: Item {}
}
