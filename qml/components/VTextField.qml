import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// A single-line field in the app's look; `label` names it for assistive
// technology when there is no visible label.
TextField {
    id: control
    property string label: placeholderText

    implicitHeight: Theme.controlHeight
    leftPadding: Theme.padM
    rightPadding: Theme.padM
    font.pixelSize: Theme.body
    color: Theme.text
    placeholderTextColor: Theme.textSecondary
    selectionColor: Theme.accentFill
    selectedTextColor: Theme.accentForeground
    selectByMouse: true
    Accessible.name: label

    background: Rectangle {
        radius: Theme.radiusControl
        color: Theme.surface
        border.width: control.activeFocus ? 2 : 1
        border.color: control.activeFocus ? Theme.focusRing : Theme.fieldBorder
    }
}
