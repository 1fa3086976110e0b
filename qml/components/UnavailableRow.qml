import QtQuick
import QtQuick.Layouts
import Velmarin

// Says plainly that a part of the settings is not in this build.
RowLayout {
    property alias text: label.text

    Layout.fillWidth: true
    spacing: Theme.pad
    Icon {
        symbol: "info.circle"
        size: 18
        color: Theme.textSecondary
    }
    Text {
        id: label
        Layout.fillWidth: true
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
