import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The main Claude sign-in of the Mac (or of `clientLabel`): who is signed in,
// log out, or sign in with the two steps.
ColumnLayout {
    id: content
    objectName: "claudeAccountContent"
    property string clientLabel
    property bool confirmLogout: false
    readonly property var signIn: AppModel.claudeSignIn

    spacing: Theme.pad
    Component.onCompleted: signIn.showMainAccount(0)

    Text {
        visible: content.signIn.loading
        text: Loc.l("Loading…", Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.body
    }
    ColumnLayout {
        visible: !content.signIn.loading && content.signIn.loggedIn
        Layout.fillWidth: true
        spacing: 4
        Text {
            text: Loc.l("Signed in", Loc.revision)
            color: Theme.online
            font.pixelSize: Theme.secondary
            font.weight: Font.DemiBold
        }
        Text {
            Layout.fillWidth: true
            text: content.signIn.email
            color: Theme.text
            font.pixelSize: Theme.body
            elide: Text.ElideRight
        }
        Text {
            visible: content.signIn.plan.length > 0
            text: content.signIn.plan + Loc.l(" plan", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
        Text {
            Layout.fillWidth: true
            text: content.clientLabel.length > 0
                  ? Loc.lf("This changes the Claude account for every conversation on %@.", [content.clientLabel], Loc.revision)
                  : Loc.l("This changes the Claude account for every conversation on this Mac.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
        }
        SecondaryButton {
            visible: !content.confirmLogout
            text: Loc.l("Log out", Loc.revision)
            onClicked: content.confirmLogout = true
        }
        ColumnLayout {
            visible: content.confirmLogout
            Layout.fillWidth: true
            spacing: Theme.pad
            Text {
                Layout.fillWidth: true
                text: content.clientLabel.length > 0
                      ? Loc.lf("Log out of Claude on %@?", [content.clientLabel], Loc.revision)
                      : Loc.l("Log out of Claude on this Mac?", Loc.revision)
                color: Theme.text
                font.pixelSize: Theme.body
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }
            Text {
                Layout.fillWidth: true
                text: Loc.l("Every conversation will be unable to run until an account signs in again.", Loc.revision)
                color: Theme.dangerText
                font.pixelSize: Theme.secondary
                wrapMode: Text.Wrap
            }
            RowLayout {
                spacing: Theme.pad
                PrimaryButton {
                    text: Loc.l("Log out", Loc.revision)
                    onClicked: {
                        content.confirmLogout = false
                        content.signIn.logout()
                    }
                }
                SecondaryButton {
                    text: Loc.l("Cancel", Loc.revision)
                    onClicked: content.confirmLogout = false
                }
            }
        }
    }
    ColumnLayout {
        visible: !content.signIn.loading && !content.signIn.loggedIn
        Layout.fillWidth: true
        spacing: Theme.pad
        Text {
            Layout.fillWidth: true
            text: content.clientLabel.length > 0
                  ? Loc.lf("No Claude account is signed in on %@.", [content.clientLabel], Loc.revision)
                  : Loc.l("No Claude account is signed in on this Mac.", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.body
            wrapMode: Text.Wrap
        }
        SecondaryButton {
            visible: content.signIn.loginUrl.length === 0
            text: Loc.l("Sign in", Loc.revision)
            enabled: !content.signIn.busy
            onClicked: content.signIn.startSignIn()
        }
        SignInSteps {
            visible: content.signIn.loginUrl.length > 0
            Layout.fillWidth: true
        }
    }
    Text {
        visible: content.signIn.error.length > 0
        Layout.fillWidth: true
        text: Loc.l(content.signIn.error, Loc.revision)
        color: Theme.dangerText
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
    }
}
