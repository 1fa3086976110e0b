import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// One server: its name and address, its state, and a remove button.
RowLayout {
    id: row
    property string name
    property string url
    property string stateLabel
    property color stateColor: Theme.unknown
    property bool removable: false
    signal removeClicked()

    spacing: Theme.padM
    Accessible.role: Accessible.ListItem
    Accessible.name: stateLabel.length > 0 ? name + ", " + stateLabel : name

    Rectangle {
        Layout.preferredWidth: 32
        Layout.preferredHeight: 32
        radius: 8
        color: Theme.hover
        Icon {
            anchors.centerIn: parent
            symbol: "server.rack"
            size: 16
            color: Theme.textSecondary
        }
    }
    ColumnLayout {
        Layout.fillWidth: true
        spacing: 0
        Text {
            Layout.fillWidth: true
            text: row.name
            color: Theme.text
            font.pixelSize: Theme.body
            font.weight: Font.DemiBold
            elide: Text.ElideRight
        }
        Text {
            Layout.fillWidth: true
            text: row.url
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            elide: Text.ElideMiddle
        }
    }
    Row {
        visible: row.stateLabel.length > 0
        spacing: 6
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: 8
            height: 8
            radius: 4
            color: row.stateColor
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: row.stateLabel
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
    }
    IconButton {
        visible: row.removable
        symbol: "trash"
        label: Loc.l("Remove", Loc.revision) + " " + row.name
        onClicked: row.removeClicked()
    }
}
