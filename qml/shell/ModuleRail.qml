import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The column of sections at the left edge, with the host and the profile at
// the bottom.
Rectangle {
    id: rail
    implicitWidth: Theme.railWidth
    color: Theme.rail
    Accessible.role: Accessible.PageTabList
    Accessible.name: Loc.l("Sections", Loc.revision)

    ColumnLayout {
        anchors.fill: parent
        anchors.topMargin: Theme.padM
        anchors.bottomMargin: Theme.padM
        spacing: 6

        Repeater {
            model: AppModel.railSections
            delegate: RailButton {
                required property var modelData
                Layout.alignment: Qt.AlignHCenter
                symbol: modelData.symbol
                title: modelData.title
                badge: modelData.badge
                current: AppModel.section === modelData.section
                onClicked: AppModel.section = modelData.section
            }
        }

        Item { Layout.fillHeight: true }

        RailButton {
            id: hostItem
            readonly property string status: AppModel.hostStatus
            visible: !AppModel.isGuest
            Layout.alignment: Qt.AlignHCenter
            symbol: "desktopcomputer"
            title: (AppModel.hostName.length > 0 ? AppModel.hostName : Loc.l("Mac", Loc.revision))
                   + " — " + (status === "online" ? Loc.l("Online", Loc.revision)
                              : status === "offline" ? Loc.l("Offline", Loc.revision)
                              : Loc.l("Unknown", Loc.revision))
            current: AppModel.section === "Mac"
            onClicked: AppModel.section = "Mac"

            Rectangle {
                width: 10
                height: 10
                radius: 5
                anchors.right: parent.right
                anchors.bottom: parent.bottom
                anchors.margins: 6
                color: hostItem.status === "online" ? Theme.online
                       : hostItem.status === "offline" ? Theme.danger : Theme.unknown
                border.width: 2
                border.color: Theme.rail
            }
        }

        Button {
            id: profileButton
            Layout.alignment: Qt.AlignHCenter
            implicitWidth: 40
            implicitHeight: 40
            padding: 0
            focusPolicy: Qt.StrongFocus
            readonly property bool current: AppModel.section === "Profile"
            Accessible.name: Loc.l("Profile", Loc.revision)
            Accessible.role: Accessible.PageTab
            ToolTip.visible: hovered
            ToolTip.text: Loc.l("Profile", Loc.revision)
            ToolTip.delay: 400
            onClicked: AppModel.section = "Profile"

            contentItem: Text {
                text: AppModel.myName.length > 0 ? AppModel.myName.charAt(0).toUpperCase() : "?"
                color: Theme.accentForeground
                font.pixelSize: Theme.header
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                radius: width / 2
                color: Theme.accentFill
                border.width: profileButton.current ? 2 : 0
                border.color: Theme.text
            }
            FocusRing { inset: -4 }
        }
    }
}
