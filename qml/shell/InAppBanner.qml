import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// A new message elsewhere while the app is in front: the conversation, the
// sender and the text at the top. A click opens the conversation; it goes by
// itself after a few seconds.
Rectangle {
    id: banner
    objectName: "inAppBanner"
    readonly property var notice: AppModel.banner
    readonly property bool showing: notice.id !== undefined

    anchors.horizontalCenter: parent.horizontalCenter
    y: showing ? Theme.padM : -height - Theme.padM
    width: Math.min(420, parent.width - 2 * Theme.padL)
    implicitHeight: content.implicitHeight + 2 * Theme.padM
    radius: Theme.radiusCard
    color: Theme.surface
    border.width: 1
    border.color: Theme.separator
    visible: AppModel.signedIn && (showing || y > -height - Theme.padM)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: (notice.title || "") + ": " + (notice.text || "")

    Behavior on y { NumberAnimation { duration: Theme.motionSlow; easing.type: Easing.OutCubic } }

    // A new banner starts its full time again. This reads the notice itself:
    // `showing` may not have caught up yet when this handler runs.
    onNoticeChanged: {
        if (notice.id !== undefined)
            hideTimer.restart()
        else
            hideTimer.stop()
    }
    Timer {
        id: hideTimer
        interval: 4000
        onTriggered: AppModel.dismissBanner()
    }

    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: AppModel.openBanner()
    }
    RowLayout {
        id: content
        anchors.fill: parent
        anchors.margins: Theme.padM
        spacing: Theme.padM
        Avatar {
            size: 36
            title: banner.notice.title || ""
            ringColor: Theme.surface
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 0
            Text {
                Layout.fillWidth: true
                text: banner.notice.title || ""
                color: Theme.text
                font.pixelSize: Theme.body
                font.weight: Font.DemiBold
                elide: Text.ElideRight
            }
            Text {
                Layout.fillWidth: true
                text: banner.notice.sender && banner.notice.sender.length > 0
                      ? banner.notice.sender + ": " + (banner.notice.text || "") : (banner.notice.text || "")
                color: Theme.textSecondary
                font.pixelSize: Theme.secondary
                elide: Text.ElideRight
                maximumLineCount: 2
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
            }
        }
        IconButton {
            symbol: "xmark"
            label: Loc.l("Close", Loc.revision)
            onClicked: AppModel.dismissBanner()
        }
    }
}
