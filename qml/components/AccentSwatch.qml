import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// One accent colour to pick; the chosen one carries a check mark.
Button {
    id: control
    property color swatch
    property string label
    property bool chosen: false

    implicitWidth: 32
    implicitHeight: 32
    padding: 0
    focusPolicy: Qt.StrongFocus
    Accessible.name: label
    Accessible.role: Accessible.RadioButton
    Accessible.checkable: true
    Accessible.checked: chosen
    ToolTip.visible: hovered
    ToolTip.text: label
    ToolTip.delay: 400

    contentItem: Icon {
        symbol: "checkmark"
        size: 18
        visible: control.chosen
        color: "white"
        style: Text.Raised
        styleColor: Qt.rgba(0, 0, 0, 0.35)
    }
    background: Rectangle {
        radius: width / 2
        color: control.swatch
        border.width: control.chosen ? 2 : 0
        border.color: Theme.text
    }
    FocusRing { inset: -4; radius: width / 2 + 4 }
}
