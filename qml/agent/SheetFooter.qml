import QtQuick
import QtQuick.Layouts
import Velmarin

// The small print under a group of a sheet.
Text {
    Layout.fillWidth: true
    Layout.leftMargin: Theme.pad
    color: Theme.textSecondary
    font.pixelSize: Theme.caption
    wrapMode: Text.Wrap
}
