import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The session sheets: the common frame with a bar across the top (optional
// back, the title, the sheet's own buttons, close) over content that runs to
// the edges.
Sheet {
    id: sheet
    property bool showBack: false
    property int preferredHeight: 600
    default property alias panel: body.data
    property alias trailing: trailingRow.data
    signal backClicked()

    preferredWidth: 520
    height: Math.min(preferredHeight, parent.height - 48)
    padding: 0
    fill: Theme.window
    closePolicy: Popup.CloseOnEscape

    contentItem: ColumnLayout {
        // The sheet's name, on an item, where tests and tools look for it.
        objectName: sheet.objectName
        spacing: 0
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.label

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
