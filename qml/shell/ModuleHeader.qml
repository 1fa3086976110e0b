import QtQuick
import QtQuick.Layouts
import Velmarin

// The title bar of a module: its title and, at the right, what the module adds.
Rectangle {
    id: header
    property string title
    default property alias trailing: trailingRow.data

    implicitHeight: 52
    color: Theme.window

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.padL
        anchors.rightMargin: Theme.padM
        spacing: Theme.pad
        Text {
            Layout.fillWidth: true
            text: header.title
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            elide: Text.ElideRight
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        RowLayout {
            id: trailingRow
            spacing: Theme.pad
        }
    }
    Rectangle {
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: 1
        color: Theme.separator
    }
}
