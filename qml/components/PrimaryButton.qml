import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// The one main action of a screen, in the accent colour.
Button {
    id: control
    // A destructive action: red instead of the accent.
    property bool danger: false
    implicitHeight: Theme.controlHeight
    leftPadding: Theme.padL
    rightPadding: Theme.padL
    focusPolicy: Qt.StrongFocus
    font.pixelSize: Theme.body
    font.weight: Font.DemiBold
    Accessible.name: text

    contentItem: Text {
        text: control.text
        font: control.font
        color: Theme.accentForeground
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: control.danger ? Theme.danger : Theme.accentFill
        opacity: control.enabled ? (control.down ? 0.85 : 1) : 0.45
    }
    FocusRing {}
}
