import QtQuick
import QtQuick.Controls.Basic
import Velmarin
import Velmarin.Models

// A table of a message: a header row and the rows under it in a grid that
// scrolls sideways inside the bubble when it is wider.
Flickable {
    id: table
    property var header: []
    property var rows: []
    property var aligns: []
    property color ink: Theme.text
    property string linkStyle
    property color rule: Theme.separator
    property real maxWidth: 320

    implicitWidth: Math.min(maxWidth, grid.width)
    implicitHeight: grid.height + (bar.visible ? bar.height : 0)
    contentWidth: grid.width
    contentHeight: grid.height
    flickableDirection: Flickable.HorizontalFlick
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    ScrollBar.horizontal: ScrollBar {
        id: bar
        policy: table.contentWidth > table.width ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
    }

    function cellAlign(column) {
        const a = aligns[column]
        return a === "center" ? Text.AlignHCenter : a === "trailing" ? Text.AlignRight : Text.AlignLeft
    }

    // The header's band and the rules between rows span the whole table.
    Rectangle {
        width: grid.width
        height: grid.headerHeight
        color: Qt.rgba(table.ink.r, table.ink.g, table.ink.b, 0.08)
        radius: 4
    }
    Grid {
        id: grid
        readonly property real headerHeight: children.length > 0 ? children[0].height : 0
        columns: Math.max(1, table.header.length)
        columnSpacing: 0
        rowSpacing: 0

        Repeater {
            model: table.header.concat([].concat.apply([], table.rows))
            Text {
                required property var modelData
                required property int index
                readonly property bool isHeader: index < table.header.length
                leftPadding: Theme.pad
                rightPadding: Theme.pad
                topPadding: 4
                bottomPadding: 4
                horizontalAlignment: table.cellAlign(index % grid.columns)
                text: table.linkStyle + modelData
                textFormat: Text.RichText
                color: table.ink
                font.pixelSize: Theme.secondary
                font.weight: isHeader ? Font.DemiBold : Font.Normal
                onLinkActivated: link => AppModel.openLink(link)
            }
        }
    }
}
