import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// What stands where a host's answer will be: a line while it is asked, or why
// it did not come with a way to ask again.
ColumnLayout {
    id: loadState
    property bool loading: false
    property string loadingText
    property string failedTitle
    property string failedNote
    property string retryText: Loc.l("Retry", Loc.revision)
    signal retry()

    spacing: Theme.pad
    Text {
        visible: loadState.loading
        Layout.fillWidth: true
        text: loadState.loadingText
        color: Theme.textSecondary
        font.pixelSize: Theme.body
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
    }
    ColumnLayout {
        visible: !loadState.loading && loadState.failedTitle.length > 0
        Layout.fillWidth: true
        spacing: Theme.pad
        Icon {
            Layout.alignment: Qt.AlignHCenter
            symbol: "exclamationmark.triangle.fill"
            size: 32
            color: Theme.textSecondary
        }
        Text {
            Layout.fillWidth: true
            text: loadState.failedTitle
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        Text {
            Layout.fillWidth: true
            visible: text.length > 0
            text: loadState.failedNote
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }
        SecondaryButton {
            Layout.alignment: Qt.AlignHCenter
            text: loadState.retryText
            symbol: "arrow.clockwise"
            onClicked: loadState.retry()
        }
    }
}
