import QtQuick
import QtQuick.Layouts
import Velmarin

// A calm, centred note where content will be: a symbol, a title and a line.
Item {
    id: root
    property string symbol
    property string title
    property string note

    Accessible.role: Accessible.StaticText
    Accessible.name: title + ". " + note

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.padL, 360)
        spacing: Theme.pad

        Icon {
            Layout.alignment: Qt.AlignHCenter
            symbol: root.symbol
            size: 44
            color: Theme.textSecondary
        }
        Text {
            Layout.fillWidth: true
            Layout.topMargin: Theme.pad
            text: root.title
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            text: root.note
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
    }
}
