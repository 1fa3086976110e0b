import QtQuick
import QtQuick.Layouts
import Velmarin

// A conversation's build in the list's second line: its symbol and short form.
RowLayout {
    id: hint
    property string symbol
    property string text
    property color ink: Theme.textSecondary
    spacing: 4

    Icon { symbol: hint.symbol; size: 13; color: hint.ink }
    Text {
        Layout.fillWidth: true
        text: hint.text
        color: hint.ink
        font.pixelSize: Theme.secondary
        elide: Text.ElideRight
    }
}
