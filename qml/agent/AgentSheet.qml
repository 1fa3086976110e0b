import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core

// The frame of the session sheets: a centred card over a scrim with a title,
// optional back and close buttons, and the sheet's own content below.
Popup {
    id: sheet
    property string title
    property bool showBack: false
    property int preferredWidth: 520
    property int preferredHeight: 600
    default property alias content: body.data
    property alias trailing: trailingRow.data
    signal backClicked()

    parent: T.Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round((parent.height - height) / 2)
    width: Math.min(preferredWidth, parent.width - 48)
    height: Math.min(preferredHeight, parent.height - 48)
    padding: 0
    modal: true
    focus: true
    closePolicy: Popup.CloseOnEscape

    enter: Transition { NumberAnimation { property: "opacity"; from: 0; to: 1; duration: Theme.motion } }
    exit: Transition { NumberAnimation { property: "opacity"; from: 1; to: 0; duration: Theme.motionFast } }

    background: Rectangle {
        // The sheet's name, on an item, where tests and tools look for it.
        objectName: sheet.objectName
        radius: Theme.radiusCard
        color: Theme.window
        border.width: 1
        border.color: Theme.separator
    }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.title

        RowLayout {
            Layout.fillWidth: true
            Layout.preferredHeight: 52
            Layout.leftMargin: sheet.showBack ? Theme.pad : Theme.padL
            Layout.rightMargin: Theme.pad
            spacing: Theme.pad
            IconButton {
                visible: sheet.showBack
                symbol: "chevron.left"
                label: Loc.l("Back", Loc.revision)
                onClicked: sheet.backClicked()
            }
            Text {
                Layout.fillWidth: true
                text: sheet.title
                color: Theme.text
                font.pixelSize: Theme.header
                font.weight: Font.DemiBold
                elide: Text.ElideMiddle
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            RowLayout {
                id: trailingRow
                spacing: Theme.pad
            }
            IconButton {
                symbol: "xmark"
                label: Loc.l("Close", Loc.revision)
                onClicked: sheet.close()
            }
        }
        Rectangle {
            Layout.fillWidth: true
            Layout.preferredHeight: 1
            color: Theme.separator
        }
        Item {
            id: body
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
    }
}
