import QtQuick
import QtQuick.Layouts
import Velmarin

// A rounded group of rows with a symbol and a title on top.
Rectangle {
    id: card
    property string symbol
    property string title
    default property alias content: body.data

    implicitHeight: column.implicitHeight + 2 * Theme.padL
    radius: Theme.radiusCard
    color: Theme.surface
    border.width: Theme.dark ? 0 : 1
    border.color: Theme.separator

    ColumnLayout {
        id: column
        anchors.fill: parent
        anchors.margins: Theme.padL
        spacing: Theme.padM

        RowLayout {
            visible: card.title.length > 0
            spacing: Theme.pad
            Icon {
                symbol: card.symbol
                size: 18
                color: Theme.accentText
            }
            Text {
                Layout.fillWidth: true
                text: card.title
                color: Theme.text
                font.pixelSize: Theme.header
                font.weight: Font.DemiBold
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
        }
        ColumnLayout {
            id: body
            Layout.fillWidth: true
            spacing: Theme.pad
        }
    }
}
