import QtQuick
import QtQml.Models
import QtQuick.Controls.Basic
import Velmarin

// A titled drop-down over a list of {name, selected} entries.
Button {
    id: control
    property var options: []
    signal chosen(var option)

    implicitHeight: 24
    leftPadding: Theme.pad
    rightPadding: 4
    topPadding: 0
    bottomPadding: 0
    font.pixelSize: Theme.secondary
    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    onClicked: menu.open()

    contentItem: Row {
        spacing: 2
        Text {
            text: control.text
            font: control.font
            color: Theme.textSecondary
            anchors.verticalCenter: parent.verticalCenter
        }
        Icon {
            symbol: "chevron.down"
            size: 14
            color: Theme.textSecondary
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: control.down ? Theme.accentWash : control.hovered ? Theme.hover : "transparent"
    }
    FocusRing {}

    Menu {
        id: menu
        y: -implicitHeight
        Instantiator {
            model: control.options
            delegate: MenuItem {
                required property var modelData
                text: modelData.name
                checkable: true
                checked: modelData.selected === true
                onTriggered: control.chosen(modelData)
            }
            onObjectAdded: (index, object) => menu.insertItem(index, object)
            onObjectRemoved: (index, object) => menu.removeItem(object)
        }
    }
}
