import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// While the agent works: the looping meter, what it does now, and a stop button.
Rectangle {
    id: status
    property bool stopRequested: false

    implicitHeight: 36
    color: Theme.window
    Accessible.role: Accessible.StatusBar
    Accessible.name: AppModel.selectedChatStatusLine

    Connections {
        target: AppModel
        function onAgentStateChanged() {
            if (!AppModel.selectedChatWorking)
                status.stopRequested = false
        }
    }
    Rectangle { width: parent.width; height: 1; color: Theme.separator }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.padL
        anchors.rightMargin: Theme.padM
        spacing: Theme.pad
        WorkingIndicator { Layout.alignment: Qt.AlignVCenter }
        Text {
            Layout.fillWidth: true
            text: AppModel.selectedChatStatusLine
            color: Theme.text
            font.pixelSize: Theme.secondary
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
        Text {
            visible: status.stopRequested
            text: Loc.l("Stopping…", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
        IconButton {
            visible: !status.stopRequested
            symbol: "stop.circle.fill"
            iconColor: Theme.danger
            label: Loc.l("Stop", Loc.revision)
            onClicked: {
                status.stopRequested = true
                AppModel.stopAgent()
            }
        }
    }
}
