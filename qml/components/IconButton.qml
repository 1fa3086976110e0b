import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// A button that shows only a symbol; `label` is what assistive technology and
// the tooltip say.
Button {
    id: control
    property string symbol
    property string label
    property color iconColor: Theme.text
    property int iconSize: Theme.iconSize

    implicitWidth: 36
    implicitHeight: 36
    padding: 0
    focusPolicy: Qt.StrongFocus
    Accessible.name: label
    ToolTip.visible: hovered && label.length > 0
    ToolTip.text: label
    ToolTip.delay: 600

    contentItem: Icon {
        symbol: control.symbol
        size: control.iconSize
        color: control.enabled ? control.iconColor : Theme.textSecondary
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: control.down ? Theme.accentWash : control.hovered ? Theme.hover : "transparent"
    }
    FocusRing {}
}
