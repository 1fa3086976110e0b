import QtQuick
import QtQuick.Layouts
import Velmarin

// The caption above a group of a sheet.
Text {
    Layout.fillWidth: true
    Layout.leftMargin: Theme.pad
    Layout.topMargin: Theme.pad
    color: Theme.textSecondary
    font.pixelSize: Theme.secondary
    font.weight: Font.DemiBold
    font.capitalization: Font.AllUppercase
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
