import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// Adding a further Claude account to the Mac.
AgentSheet {
    id: sheet
    objectName: "addClaudeAccountSheet"
    readonly property var signIn: AppModel.claudeSignIn

    title: Loc.l("Add account", Loc.revision)
    preferredWidth: 460
    preferredHeight: 460

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.padL
        spacing: Theme.padM

        Text {
            Layout.fillWidth: true
            text: Loc.l("Add another Claude account to the Mac. It gets its own sign-in and quota, and any conversation can then run on it.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        PrimaryButton {
            visible: sheet.signIn.loginUrl.length === 0 && sheet.signIn.addedEmail.length === 0
            text: Loc.l("Start sign-in", Loc.revision)
            enabled: !sheet.signIn.busy
            onClicked: sheet.signIn.startSignIn()
        }
        SignInSteps {
            visible: sheet.signIn.loginUrl.length > 0
            Layout.fillWidth: true
        }
        Text {
            visible: sheet.signIn.addedEmail.length > 0
            Layout.fillWidth: true
            text: Loc.lf("Signed in as %@ — you can now assign this account to any conversation.", [sheet.signIn.addedEmail], Loc.revision)
            color: Theme.online
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        Text {
            visible: sheet.signIn.error.length > 0
            Layout.fillWidth: true
            text: Loc.l(sheet.signIn.error, Loc.revision)
            color: Theme.dangerText
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        Item { Layout.fillHeight: true }
    }
}
