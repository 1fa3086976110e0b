import QtQuick
import QtQml.Models
import QtQuick.Controls.Basic
import Velmarin
import Velmarin.Models

// The result of the session's last deploy: "Preview" for a site, "Update" for
// an app. It pulses while the deploy is new; the context menu offers the
// other ways to open it.
Button {
    id: chip
    objectName: "deployChip"
    readonly property var agent: AppModel.agent
    readonly property var deploy: agent.deploy
    readonly property bool fresh: deploy.fresh === true

    visible: deploy.word !== undefined
    implicitHeight: 28
    leftPadding: Theme.pad
    rightPadding: Theme.padM
    topPadding: 0
    bottomPadding: 0
    focusPolicy: Qt.StrongFocus
    Accessible.name: (deploy.word || "") + " " + (deploy.label || "")
    ToolTip.visible: hovered
    ToolTip.text: deploy.label || ""
    ToolTip.delay: 600
    onClicked: agent.openDeploy()

    contentItem: Row {
        spacing: 6
        Icon {
            symbol: chip.deploy.symbol || ""
            size: 16
            color: Theme.accentForeground
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: chip.deploy.word || ""
            color: Theme.accentForeground
            font.pixelSize: Theme.secondary
            font.weight: Font.DemiBold
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: chip.deploy.label || ""
            color: Qt.rgba(1, 1, 1, 0.8)
            font.pixelSize: Theme.secondary
            elide: Text.ElideMiddle
            width: Math.min(implicitWidth, 180)
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle {
        id: fill
        radius: height / 2
        color: chip.down ? Qt.darker(Theme.accentFill, 1.15) : Theme.accentFill
        Rectangle {
            id: halo
            anchors.centerIn: parent
            width: parent.width
            height: parent.height
            radius: height / 2
            color: "transparent"
            border.width: 2
            border.color: Theme.accent
            opacity: 0
            SequentialAnimation {
                running: chip.fresh && chip.visible
                loops: Animation.Infinite
                onStopped: { halo.opacity = 0; halo.scale = 1 }
                ParallelAnimation {
                    NumberAnimation { target: halo; property: "opacity"; from: 0.9; to: 0; duration: 1100 }
                    NumberAnimation { target: halo; property: "scale"; from: 1; to: 1.25; duration: 1100 }
                }
                PauseAnimation { duration: 500 }
            }
        }
    }
    FocusRing {}

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: menu.popup()
    }
    TapHandler {
        acceptedDevices: PointerDevice.TouchScreen
        onLongPressed: menu.popup()
    }
    Menu {
        id: menu
        Instantiator {
            model: chip.visible ? chip.agent.deployMenu() : []
            delegate: MenuItem {
                required property var modelData
                text: modelData.title
                onTriggered: chip.agent.deployMenuAction(modelData.action)
            }
            onObjectAdded: (index, object) => menu.insertItem(index, object)
            onObjectRemoved: (index, object) => menu.removeItem(object)
        }
    }
}
