import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// "New AI chat": the agents of every server, the primary server's own first,
// and a new Claude session in a folder of the host.
Sheet {
    id: sheet
    objectName: "newAIChatSheet"
    readonly property var people: AppModel.people
    signal folderAsked()

    preferredWidth: 420
    title: Loc.l("New AI chat", Loc.revision)

    Connections {
        target: sheet.people
        function onOpened() { sheet.close() }
    }

    ListView {
        id: list
        Layout.fillWidth: true
        Layout.preferredHeight: Math.min(Math.max(contentHeight, 48), 300)
        clip: true
        model: sheet.people.agents
        boundsBehavior: Flickable.StopAtBounds
        Accessible.role: Accessible.List
        Accessible.name: Loc.l("Agents", Loc.revision)
        delegate: ItemDelegate {
            id: agent
            required property var modelData
            width: list.width
            height: 52
            focusPolicy: Qt.StrongFocus
            Accessible.name: modelData.name
            onClicked: sheet.people.message(modelData.userId)
            contentItem: RowLayout {
                spacing: Theme.padM
                Avatar {
                    title: agent.modelData.name
                    online: agent.modelData.online
                    size: 36
                    ringColor: Theme.surface
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 0
                    Text {
                        Layout.fillWidth: true
                        text: agent.modelData.name
                        color: Theme.text
                        font.pixelSize: Theme.listTitle
                        font.weight: Font.DemiBold
                        elide: Text.ElideRight
                    }
                    Text {
                        Layout.fillWidth: true
                        text: agent.modelData.serverName.length > 0 ? agent.modelData.serverName
                                                                    : Loc.l("Primary server", Loc.revision)
                        color: Theme.textSecondary
                        font.pixelSize: Theme.secondary
                        elide: Text.ElideRight
                    }
                }
                Icon {
                    symbol: "chevron.right"
                    color: Theme.textSecondary
                }
            }
            background: Rectangle {
                radius: Theme.radiusControl
                color: agent.hovered || agent.activeFocus ? Theme.hover : "transparent"
            }
        }
        Text {
            anchors.centerIn: parent
            width: parent.width
            visible: list.count === 0
            horizontalAlignment: Text.AlignHCenter
            text: Loc.l("No agent on your servers yet.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
        }
    }

    SecondaryButton {
        objectName: "newSessionButton"
        Layout.fillWidth: true
        symbol: "folder.fill"
        text: Loc.l("New session in a folder…", Loc.revision)
        onClicked: {
            sheet.close()
            sheet.folderAsked()
        }
    }

    Text {
        Layout.fillWidth: true
        visible: text.length > 0
        text: sheet.people.errorText
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    SheetButtons {
        confirmVisible: false
        onCancel: sheet.close()
        WorkingIndicator {
            visible: sheet.people.busy
            barCount: 3
            barHeight: 10
        }
    }
}
