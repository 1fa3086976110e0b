import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin

// One tappable row of a sheet: a symbol, a title, an optional value at the
// right and a chevron when it leads somewhere.
ItemDelegate {
    id: row
    property string symbol
    property string title
    property string value
    property string detail
    property color symbolColor: Theme.accentText
    property bool chevron: true

    Layout.fillWidth: true
    implicitHeight: Math.max(40, content.implicitHeight + 12)
    padding: 0
    leftPadding: Theme.pad
    rightPadding: Theme.pad
    focusPolicy: Qt.StrongFocus
    Accessible.name: title + (value.length > 0 ? ", " + value : "")

    background: Rectangle {
        radius: Theme.radiusControl
        color: row.down ? Theme.accentWash : row.hovered ? Theme.hover : "transparent"
    }
    contentItem: RowLayout {
        id: content
        spacing: Theme.padM
        Icon {
            visible: row.symbol.length > 0
            symbol: row.symbol
            size: 18
            color: row.symbolColor
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1
            Text {
                Layout.fillWidth: true
                text: row.title
                color: Theme.text
                font.pixelSize: Theme.body
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                visible: row.detail.length > 0
                text: row.detail
                color: Theme.textSecondary
                font.pixelSize: Theme.secondary
                wrapMode: Text.Wrap
                maximumLineCount: 3
                elide: Text.ElideRight
            }
        }
        Text {
            visible: row.value.length > 0
            Layout.maximumWidth: row.width * 0.5
            text: row.value
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            elide: Text.ElideMiddle
        }
        Icon {
            visible: row.chevron
            symbol: "chevron.right"
            size: 16
            color: Theme.textSecondary
        }
    }
    FocusRing {}
}
