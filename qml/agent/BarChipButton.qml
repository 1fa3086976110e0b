import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// A small round action inside a bar; `strong` fills it with the accent.
Button {
    id: control
    property bool strong: false
    property string symbol

    implicitHeight: 26
    leftPadding: Theme.padM
    rightPadding: Theme.padM
    topPadding: 0
    bottomPadding: 0
    font.pixelSize: Theme.secondary
    focusPolicy: Qt.StrongFocus
    Accessible.name: text

    contentItem: Row {
        spacing: 4
        Icon {
            visible: control.symbol.length > 0
            symbol: control.symbol
            size: 14
            color: label.color
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            id: label
            text: control.text
            font: control.font
            color: control.strong ? Theme.accentForeground : Theme.accentText
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        radius: height / 2
        color: control.strong ? (control.down ? Qt.darker(Theme.accentFill, 1.15) : Theme.accentFill)
             : control.down ? Theme.accentWash : control.hovered ? Theme.hover : "transparent"
        border.width: control.strong ? 0 : 1
        border.color: Theme.accent
    }
    FocusRing {}
}
