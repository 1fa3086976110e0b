import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The detail side of the conversations section: with a conversation selected,
// its header (title, who types or whether the person is online) over the
// conversation view; with none, the empty state.
Rectangle {
    id: detail
    objectName: "conversationDetail"
    property bool narrow: false
    readonly property bool hasSelection: AppModel.selectedChatId !== 0

    color: Theme.conversation

    EmptyState {
        anchors.fill: parent
        visible: !detail.hasSelection
        symbol: "message.fill"
        title: Loc.l("Select a conversation", Loc.revision)
        note: Loc.l("Pick a conversation or start a new one.", Loc.revision)
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0
        visible: detail.hasSelection

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 56
            color: Theme.window

            RowLayout {
                anchors.fill: parent
                anchors.leftMargin: detail.narrow ? Theme.pad : Theme.padL
                anchors.rightMargin: Theme.padM
                spacing: Theme.pad
                IconButton {
                    visible: detail.narrow
                    symbol: "chevron.left"
                    label: Loc.l("Back", Loc.revision)
                    onClicked: AppModel.clearSelection()
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    spacing: 0
                    RowLayout {
                        spacing: Theme.pad
                        Text {
                            Layout.fillWidth: true
                            text: AppModel.selectedChatTitle
                            color: Theme.text
                            font.pixelSize: Theme.header
                            font.weight: Font.DemiBold
                            elide: Text.ElideRight
                            Accessible.role: Accessible.Heading
                            Accessible.name: text
                        }
                        WorkingIndicator {
                            visible: AppModel.selectedChatWorking
                            barCount: 4
                            barHeight: 10
                        }
                    }
                    Text {
                        objectName: "conversationSubtitle"
                        Layout.fillWidth: true
                        visible: text.length > 0
                        text: AppModel.selectedChatSubtitle
                        color: text.endsWith("…") ? Theme.accentText : Theme.textSecondary
                        font.pixelSize: Theme.secondary
                        elide: Text.ElideRight
                    }
                }
                DeployChip {}
                IconButton {
                    objectName: "groupSettingsButton"
                    visible: AppModel.groupSettings.settingsKindOf(AppModel.selectedChatId) === "group"
                    symbol: "gearshape.fill"
                    label: Loc.l("Group settings", Loc.revision)
                    onClicked: AppModel.openSheet("groupSettings", AppModel.selectedChatId)
                }
                IconButton {
                    objectName: "sessionSettingsButton"
                    visible: AppModel.sessionSettings.selectedIsSession
                    symbol: "gearshape.fill"
                    label: Loc.l("Session settings", Loc.revision)
                    onClicked: AppModel.sessionSettings.requestSheet("settings")
                }
            }
            Rectangle {
                anchors.bottom: parent.bottom
                width: parent.width
                height: 1
                color: Theme.separator
            }
        }
        Loader {
            Layout.fillWidth: true
            Layout.fillHeight: true
            active: detail.hasSelection
            sourceComponent: ConversationView {}
        }
    }
}
