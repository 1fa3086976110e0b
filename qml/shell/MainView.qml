import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Models

// The conversations section: the list and the selected conversation side by
// side, or stacked below 900 px where the conversation slides in over the list.
Item {
    id: view
    readonly property bool narrow: (Window.width > 0 ? Window.width : width) < Theme.narrowWidth
    readonly property bool hasSelection: AppModel.selectedChatId !== 0
    property int listWidth: Theme.listDefault

    function focusSearch() {
        // Stacked, the list is behind the open conversation: step back to it first.
        if (narrow && hasSelection)
            AppModel.clearSelection()
        list.focusSearch()
    }
    function goBack() {
        if (!hasSelection)
            return false
        AppModel.clearSelection()
        return true
    }

    ConversationListPane {
        id: list
        x: 0
        width: view.narrow ? view.width : view.listWidth
        height: view.height
        narrow: view.narrow
        visible: !view.narrow || !view.hasSelection || detail.x > 0
    }

    Rectangle {
        id: divider
        visible: !view.narrow
        x: view.listWidth
        width: 1
        height: view.height
        color: Theme.separator

        MouseArea {
            anchors.fill: parent
            anchors.leftMargin: -3
            anchors.rightMargin: -3
            cursorShape: Qt.SplitHCursor
            onPositionChanged: mouse => {
                const x = view.listWidth + mouse.x
                view.listWidth = Math.round(Math.max(Theme.listMin, Math.min(Theme.listMax, x)))
            }
        }
    }

    ConversationDetail {
        id: detail
        readonly property real wideX: view.listWidth + 1
        width: view.narrow ? view.width : view.width - wideX
        height: view.height
        narrow: view.narrow
        x: !view.narrow ? wideX : view.hasSelection ? 0 : view.width
        visible: !view.narrow || view.hasSelection || x < view.width

        Behavior on x {
            enabled: view.narrow
            NumberAnimation { duration: Theme.motionSlow; easing.type: Easing.OutCubic }
        }
    }
}
