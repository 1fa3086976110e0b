import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core

// A centred modal panel with a title over its content; Esc or a click
// outside closes it.
Popup {
    id: sheet
    property string title
    property int preferredWidth: 440
    default property alias content: body.data

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: Math.min(preferredWidth, parent.width - 48)
    height: Math.min(implicitHeight, parent.height - 48)
    padding: Theme.padL
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motion } }
    exit: Transition { NumberAnimation { property: "opacity"; from: 1; to: 0; duration: Theme.motionFast } }

    background: Rectangle {
        radius: Theme.radiusCard
        color: Theme.surface
        border.width: 1
        border.color: Theme.separator
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    contentItem: ColumnLayout {
        spacing: Theme.padM
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.title

        Text {
            Layout.fillWidth: true
            visible: sheet.title.length > 0
            text: sheet.title
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            elide: Text.ElideRight
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        ColumnLayout {
            id: body
            Layout.fillWidth: true
            Layout.fillHeight: true
            spacing: Theme.padM
        }
    }
}
