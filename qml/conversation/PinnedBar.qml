import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The open conversation's pinned message above the timeline: a click jumps to
// it, the cross (for those who may pin) unpins it.
Rectangle {
    id: bar
    objectName: "pinnedBar"
    readonly property var pinned: AppModel.selectedChatPinned
    signal jump(var messageId)

    visible: pinned.id !== undefined
    implicitHeight: visible ? 44 : 0
    color: Theme.window
    Accessible.role: Accessible.Button
    Accessible.name: Loc.l("Pinned message", Loc.revision) + ": " + (pinned.text || "")

    Rectangle {
        x: Theme.padL
        anchors.verticalCenter: parent.verticalCenter
        width: 2
        height: 28
        radius: 1
        color: Theme.accent
    }
    ColumnLayout {
        anchors.left: parent.left
        anchors.right: unpin.left
        anchors.leftMargin: Theme.padL + Theme.padM
        anchors.verticalCenter: parent.verticalCenter
        spacing: 0
        Text {
            text: Loc.l("Pinned message", Loc.revision)
            color: Theme.accentText
            font.pixelSize: Theme.secondary
            font.weight: Font.DemiBold
        }
        Text {
            Layout.fillWidth: true
            text: bar.pinned.text || ""
            color: Theme.text
            font.pixelSize: Theme.secondary
            elide: Text.ElideRight
            maximumLineCount: 1
        }
    }
    TapHandler {
        onTapped: bar.jump(bar.pinned.id)
    }
    IconButton {
        id: unpin
        anchors.right: parent.right
        anchors.rightMargin: Theme.padM
        anchors.verticalCenter: parent.verticalCenter
        visible: AppModel.selectedChatPinnable
        symbol: "xmark"
        label: Loc.l("Unpin", Loc.revision)
        onClicked: AppModel.setPinned(bar.pinned.id, false)
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.separator
    }
}
