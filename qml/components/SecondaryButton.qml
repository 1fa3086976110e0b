import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// A quiet action beside the main one.
Button {
    id: control
    property string symbol

    implicitHeight: Theme.controlHeight
    leftPadding: Theme.padM
    rightPadding: Theme.padM
    focusPolicy: Qt.StrongFocus
    font.pixelSize: Theme.body
    Accessible.name: text

    contentItem: Row {
        spacing: 6
        Icon {
            visible: control.symbol.length > 0
            symbol: control.symbol
            size: 18
            color: Theme.text
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: control.text
            font: control.font
            color: Theme.text
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: control.down ? Theme.accentWash : control.hovered ? Theme.hover : "transparent"
        border.width: 1
        border.color: Theme.fieldBorder
        opacity: control.enabled ? 1 : 0.5
    }
    FocusRing {}
}
