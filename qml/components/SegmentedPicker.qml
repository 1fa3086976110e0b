import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin

// One choice out of a few, side by side. `options` holds {value, label}.
Flow {
    id: picker
    property var options: []
    property string current
    property string label
    signal picked(string value)

    spacing: 6
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    Repeater {
        model: picker.options
        delegate: Button {
            id: option
            required property var modelData
            readonly property bool chosen: modelData.value === picker.current

            implicitHeight: 32
            leftPadding: Theme.padM
            rightPadding: Theme.padM
            focusPolicy: Qt.StrongFocus
            text: modelData.label
            font.pixelSize: Theme.body
            Accessible.role: Accessible.RadioButton
            Accessible.name: modelData.label
            Accessible.checkable: true
            Accessible.checked: chosen
            onClicked: picker.picked(modelData.value)

            contentItem: Text {
                text: option.text
                font: option.font
                color: option.chosen ? Theme.accentForeground : Theme.text
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: height / 2
                color: option.chosen ? Theme.accentFill
                                     : option.hovered ? Theme.hover : "transparent"
                border.width: option.chosen ? 0 : 1
                border.color: Theme.fieldBorder
            }
            FocusRing {}
        }
    }
}
