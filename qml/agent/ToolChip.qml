import QtQuick
import Velmarin

// A tool the agent drives right now, as a small round chip.
Rectangle {
    id: chip
    property string symbol
    property string text

    implicitWidth: row.implicitWidth + 2 * Theme.pad
    implicitHeight: 22
    radius: height / 2
    color: Theme.accentWash
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    Row {
        id: row
        anchors.centerIn: parent
        spacing: 4
        Icon { symbol: chip.symbol; size: 14; color: Theme.accentText; anchors.verticalCenter: parent.verticalCenter }
        Text {
            text: chip.text
            color: Theme.accentText
            font.pixelSize: Theme.caption
            font.weight: Font.DemiBold
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
