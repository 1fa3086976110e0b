import QtQuick
import QtQml.Models
import QtQuick.Controls.Basic
import QtQuick.Templates as T
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The agent's icons beside the attachment button: reset the context (asked
// first), the health checks, and a screenshot of the Mac where one can be taken.
RowLayout {
    id: icons
    readonly property var agent: AppModel.agent
    spacing: 0

    IconButton {
        objectName: "resetContextButton"
        visible: icons.agent.hasContext
        symbol: "eraser"
        label: Loc.l("Reset context", Loc.revision)
        onClicked: confirm.open()
    }
    IconButton {
        id: health
        objectName: "healthButton"
        visible: icons.agent.showHealth
        symbol: "stethoscope"
        label: Loc.l("Health checks", Loc.revision)
        onClicked: healthMenu.popup(health, 0, -healthMenu.implicitHeight)
    }
    IconButton {
        objectName: "screenshotButton"
        visible: icons.agent.showScreenshot
        symbol: "camera.viewfinder"
        label: Loc.l("Screenshot the Mac", Loc.revision)
        onClicked: icons.agent.requestScreenshot()
    }

    Menu {
        id: healthMenu
        objectName: "healthMenu"
        Instantiator {
            model: icons.agent.healthPrompts
            delegate: MenuItem {
                required property var modelData
                required property int index
                text: Loc.l(modelData.title, Loc.revision)
                onTriggered: icons.agent.sendHealthPrompt(index)
            }
            onObjectAdded: (index, object) => healthMenu.insertItem(index, object)
            onObjectRemoved: (index, object) => healthMenu.removeItem(object)
        }
    }

    Dialog {
        id: confirm
        objectName: "resetConfirm"
        parent: T.Overlay.overlay
        anchors.centerIn: parent
        width: Math.min(420, parent ? parent.width - 2 * Theme.padL : 420)
        modal: true
        padding: Theme.padL
        title: Loc.l("Reset the context?", Loc.revision)
        background: Rectangle { radius: Theme.radiusCard; color: Theme.surfaceRaised; border.color: Theme.separator }
        header: Text {
            text: confirm.title
            color: Theme.text
            font.pixelSize: Theme.header
            font.weight: Font.DemiBold
            padding: Theme.padL
            bottomPadding: 0
        }
        contentItem: ColumnLayout {
            spacing: Theme.padM
            Text {
                Layout.fillWidth: true
                text: Loc.l("Claude will start fresh for this conversation. The history stays visible, but it'll forget the current thread.", Loc.revision)
                color: Theme.textSecondary
                font.pixelSize: Theme.body
                wrapMode: Text.Wrap
            }
            Button {
                Layout.fillWidth: true
                text: Loc.l("Reset context", Loc.revision)
                font.pixelSize: Theme.body
                palette.buttonText: Theme.dangerText
                onClicked: { confirm.close(); icons.agent.resetContext(false) }
            }
            SecondaryButton {
                Layout.fillWidth: true
                text: Loc.l("Reset but keep last 50 messages", Loc.revision)
                onClicked: { confirm.close(); icons.agent.resetContext(true) }
            }
            SecondaryButton {
                Layout.fillWidth: true
                text: Loc.l("Cancel", Loc.revision)
                onClicked: confirm.close()
            }
        }
    }
}
