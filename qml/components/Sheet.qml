import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin

// The frame of every sheet: a centred modal card over a scrim, with a title
// over its content; Esc or a click outside closes it. A sheet with a header
// bar of its own (AgentSheet) replaces the content item and keeps the rest.
Popup {
    id: sheet
    property string title
    // What a screen reader calls the sheet; the title when it has one.
    property string label: title
    property int preferredWidth: 440
    property color fill: Theme.surface
    default property alias content: body.data

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: Math.min(preferredWidth, parent.width - 48)
    height: Math.min(implicitHeight, parent.height - 48)
    padding: Theme.padL
    spacing: Theme.padM
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motion } }
    exit: Transition { NumberAnimation { property: "opacity"; from: 1; to: 0; duration: Theme.motionFast } }

    background: Rectangle {
        radius: Theme.radiusCard
        color: sheet.fill
        border.width: 1
        border.color: Theme.separator
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    contentItem: ColumnLayout {
        spacing: sheet.spacing
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.label

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
            spacing: sheet.spacing
        }
    }
}
