import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The open conversation: its rows from the newest at the bottom upwards, the
// agent's status bar and the composer. Only the rows in view (and a short
// buffer) have delegates.
Item {
    id: view
    objectName: "conversationView"
    readonly property var timeline: AppModel.timeline
    // How many row delegates were made since the view opened (delegates are
    // reused, so this stays near the number that fit on screen).
    property int delegatesMade: 0
    readonly property real bubbleMax: Math.min(Theme.contentMax, list.width * 0.68)

    function jumpTo(messageId) {
        const row = timeline.rowOfMessage(messageId)
        if (row >= 0) {
            list.positionViewAtIndex(row, ListView.Center)
            list.followNewest = list.atYEnd
        }
    }
    // The first message that was unread when the conversation opened: the
    // line stays above it while the conversation is open, and the view starts there.
    property var unreadFrom: 0
    property bool unreadCaptured: false
    function captureUnread() {
        if (unreadCaptured || list.count === 0)
            return
        unreadCaptured = true
        unreadFrom = timeline.firstUnreadId()
        const row = unreadFrom !== 0 ? timeline.rowOfMessage(unreadFrom) : -1
        if (row >= 0) {
            list.positionViewAtIndex(row, ListView.Center)
            list.followNewest = list.atYEnd
        }
    }
    // While the person reads at the bottom, whatever grows or arrives keeps
    // the newest message in view: bars under the list, a taller composer, a
    // new reply, a bubble that grows as it is edited in place.
    function keepNewest() {
        if (!list.followNewest || list.moving)
            return
        list.settling = true
        Qt.callLater(view.toNewest)
    }
    function toNewest() {
        if (list.followNewest && !list.moving && list.count > 0)
            list.positionViewAtBeginning()
        list.settling = false
    }
    function markReadIfAtEnd() {
        if (list.atYEnd && Qt.application.state === Qt.ApplicationActive)
            timeline.markRead()
    }

    DropArea {
        anchors.fill: parent
        onDropped: drop => {
            if (drop.hasUrls)
                composer.attach(drop.urls)
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        PinnedBar {
            Layout.fillWidth: true
            onJump: id => view.jumpTo(id)
        }

        ListView {
            id: list
            objectName: "timelineList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            model: view.timeline
            verticalLayoutDirection: ListView.BottomToTop
            clip: true
            reuseItems: true
            boundsBehavior: Flickable.StopAtBounds
            topMargin: Theme.pad
            bottomMargin: Theme.pad
            Accessible.role: Accessible.List
            Accessible.name: Loc.l("Messages", Loc.revision)
            ScrollBar.vertical: ScrollBar {
                // A drag of the bar is the person's choice of place, as a flick is.
                onPressedChanged: if (!pressed) list.followNewest = list.atYEnd
            }
            // Whether the view follows the newest message; the person's own
            // scrolling decides, layout changes do not.
            property bool followNewest: true
            // A layout change is being answered; its moves are not the person's.
            property bool settling: false

            delegate: Item {
                id: rowItem
                required property var model
                required property int index
                // Runs of one sender sit 2 px apart, everything else 8 px.
                readonly property real gapAbove: rowItem.model.kind === "message" && rowItem.model.groupStart === false ? 2 : 8
                width: ListView.view.width
                height: loader.height + gapAbove
                Component.onCompleted: ++view.delegatesMade

                Loader {
                    id: loader
                    x: Theme.padL
                    y: rowItem.gapAbove
                    width: parent.width - 2 * Theme.padL
                    sourceComponent: rowItem.model.kind === "day" ? dayRow
                                   : rowItem.model.kind === "system" ? systemRow : messageRow
                }
                Component {
                    id: dayRow
                    DayPill { text: rowItem.model.dayText || "" }
                }
                Component {
                    id: systemRow
                    Text {
                        text: rowItem.model.systemText || ""
                        horizontalAlignment: Text.AlignHCenter
                        wrapMode: Text.Wrap
                        color: Theme.textSecondary
                        font.pixelSize: Theme.secondary
                        topPadding: 4
                        bottomPadding: 4
                    }
                }
                Component {
                    id: messageRow
                    Column {
                        spacing: 0
                        UnreadLine {
                            width: parent.width
                            visible: view.unreadFrom !== 0 && rowItem.model.messageId === view.unreadFrom
                        }
                        MessageBubble {
                            id: bubbleItem
                            width: parent.width
                            row: rowItem.model
                            maxWidth: view.bubbleMax
                            onJumpTo: id => view.jumpTo(id)
                            onOpenMedia: info => viewer.show(info)
                            onSaveMedia: (url, name) => saver.ask(url, name)
                            onContextMenu: (x, y) => actions.openFor(rowItem.model, bubbleItem, x, y)
                        }
                    }
                }
            }

            onAtYBeginningChanged: if (atYBeginning && count > 0 && view.timeline.hasMore) view.timeline.loadOlder()
            onAtYEndChanged: {
                if (atYEnd)
                    followNewest = true
                view.markReadIfAtEnd()
            }
            onMovementEnded: followNewest = atYEnd
            onMovingChanged: if (!moving) followNewest = atYEnd
            // The wheel moves the view without a flick: any move outside a
            // layout change is the person's.
            onContentYChanged: if (!settling && !moving) followNewest = atYEnd
            onHeightChanged: view.keepNewest()
            onContentHeightChanged: view.keepNewest()
            onCountChanged: {
                view.captureUnread()
                view.keepNewest()
                view.markReadIfAtEnd()
            }
        }

        AgentBars {
            Layout.fillWidth: true
            Layout.fillHeight: false
            onEditBacklog: id => {
                AppModel.composer.startEdit(id)
                AppModel.composer.draft = AppModel.agent.backlogDraft(id)
                composer.focusDraft()
            }
        }

        ComposerBar {
            id: composer
            Layout.fillWidth: true
        }
    }

    // Over the list's own bottom edge, so it never covers the agent's bars
    // (and their Stop button) or the composer under it.
    IconButton {
        objectName: "jumpToNewest"
        x: list.x + list.width - width - Theme.padL
        y: list.y + list.height - height - Theme.padL
        visible: !list.atYEnd && !list.followNewest && list.count > 0
        symbol: "arrow.down"
        label: Loc.l("Newest messages", Loc.revision)
        background: Rectangle { radius: 18; color: Theme.surfaceRaised; border.color: Theme.separator }
        onClicked: {
            list.followNewest = true
            list.positionViewAtBeginning()
        }
    }

    MessageActions {
        id: actions
        onReply: id => { AppModel.composer.setReplyTo(id); composer.focusDraft() }
        onEdit: id => { AppModel.composer.startEdit(id); composer.focusDraft() }
        onForward: id => forwardPicker.openFor(id)
    }
    ForwardPicker {
        id: forwardPicker
    }
    MediaViewer {
        id: viewer
        onSaveRequested: (url, name) => saver.ask(url, name)
    }
    // The save dialog, made for each save and gone once answered.
    Loader {
        id: saver
        property string url
        property string name
        function ask(mediaUrl, fileName) {
            url = mediaUrl
            name = fileName
            active = false
            active = true
        }
        active: false
        sourceComponent: SaveMediaDialog {
            onAccepted: Qt.callLater(() => saver.active = false)
            onRejected: Qt.callLater(() => saver.active = false)
            Component.onCompleted: ask(saver.url, saver.name)
        }
    }
    // Ways in for the screenshot script: the newest picture zoomed, the
    // newest file saving to the downloads folder, the quality menu, the
    // actions of the person's own newest message.
    Connections {
        target: AppModel
        function onSheetRequested(name, chatId) {
            if (name === "picture" && view.timeline.newestPicture().url) {
                viewer.show(view.timeline.newestPicture())
                Qt.callLater(() => viewer.zoomTo(2.5))
            } else if (name === "saveFile" && view.timeline.newestFile().url) {
                const file = view.timeline.newestFile()
                AppModel.transfers.save(file.url, AppModel.transfers.suggestedTarget(file.name))
            } else if (name === "quality") {
                composer.openQualityMenu()
            } else if (name === "messageMenu") {
                actions.openFor({ messageId: view.timeline.lastOwnMessageId(), isMine: true },
                                list, list.width / 2, list.height / 3)
            }
        }
    }

    // Coming back to the window with the conversation on screen reads it.
    Connections {
        target: Qt.application
        function onStateChanged() { view.markReadIfAtEnd() }
    }
    Connections {
        target: view.timeline
        function onChatIdChanged() {
            view.delegatesMade = 0
            view.unreadFrom = 0
            view.unreadCaptured = false
            list.followNewest = true
            view.captureUnread()
            composer.focusDraft()
        }
    }
    Component.onCompleted: {
        captureUnread()
        composer.focusDraft()
    }
}
