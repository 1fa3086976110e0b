import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The detail side of the conversations section. With a conversation selected
// it shows the conversation view set in `conversationView`; with none, the
// empty state.
Rectangle {
    id: detail
    objectName: "conversationDetail"
    property bool narrow: false
    // The view of one conversation; it reads AppModel.selectedChatId.
    property Component conversationView: null
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

        ModuleHeader {
            Layout.fillWidth: true
            title: AppModel.selectedChatTitle
            IconButton {
                visible: detail.narrow
                symbol: "chevron.left"
                label: Loc.l("Back", Loc.revision)
                onClicked: AppModel.clearSelection()
            }
        }
        Loader {
            Layout.fillWidth: true
            Layout.fillHeight: true
            active: detail.hasSelection && detail.conversationView !== null
            sourceComponent: detail.conversationView
        }
        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: detail.conversationView === null
            symbol: "ellipsis.bubble.fill"
            title: AppModel.selectedChatTitle
            note: Loc.l("Messages aren't shown in this build yet.", Loc.revision)
        }
    }
}
