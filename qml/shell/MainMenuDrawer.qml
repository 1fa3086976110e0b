import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Every section in a panel from the left edge, for narrow windows.
Drawer {
    id: drawer
    width: 260
    height: parent ? parent.height : 0
    edge: Qt.LeftEdge
    modal: true
    visible: AppModel.showMainMenu
    onClosed: AppModel.showMainMenu = false

    enter: Transition { NumberAnimation { property: "position"; to: 1; duration: Theme.motionSlow } }
    exit: Transition { NumberAnimation { property: "position"; to: 0; duration: Theme.motionFast } }

    background: Rectangle { color: Theme.surface }
    T.Overlay.modal: Rectangle { color: Theme.scrim }

    ListView {
        id: entries
        anchors.fill: parent
        anchors.topMargin: Theme.padM
        model: AppModel.menuSections
        spacing: 2
        focus: true
        keyNavigationEnabled: true
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Sections", Loc.revision)

        delegate: ItemDelegate {
            id: entry
            required property var modelData
            required property int index
            width: entries.width
            height: 44
            focusPolicy: Qt.StrongFocus
            Accessible.name: modelData.title
            onClicked: AppModel.selectFromMenu(modelData.section)
            Keys.onReturnPressed: AppModel.selectFromMenu(modelData.section)

            contentItem: Row {
                spacing: Theme.padM
                leftPadding: Theme.pad
                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: entry.modelData.symbol
                    color: AppModel.section === entry.modelData.section ? Theme.accentText : Theme.text
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: entry.modelData.title
                    color: Theme.text
                    font.pixelSize: Theme.body
                }
                Badge {
                    anchors.verticalCenter: parent.verticalCenter
                    text: entry.modelData.badge
                }
            }
            background: Rectangle {
                color: entry.hovered || entry.visualFocus ? Theme.hover : "transparent"
                FocusRing { target: entry; inset: 2 }
            }
        }
    }
}
