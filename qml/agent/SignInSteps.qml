import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The two steps of a Claude sign-in once it has started: open the page,
// paste the code it gives.
ColumnLayout {
    id: steps
    readonly property var signIn: AppModel.claudeSignIn

    spacing: Theme.pad
    Text {
        Layout.fillWidth: true
        text: Loc.l("1. Open this link and sign in as the account you want, then copy the code it gives you.", Loc.revision)
        color: Theme.text
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
    }
    SecondaryButton {
        text: Loc.l("Open sign-in page", Loc.revision)
        symbol: "safari.fill"
        onClicked: steps.signIn.openLoginPage()
    }
    Text {
        Layout.fillWidth: true
        text: Loc.l("2. Paste the code here:", Loc.revision)
        color: Theme.text
        font.pixelSize: Theme.body
        wrapMode: Text.Wrap
    }
    VTextField {
        id: codeField
        Layout.fillWidth: true
        placeholderText: Loc.l("Paste code", Loc.revision)
        onAccepted: completeButton.clicked()
    }
    PrimaryButton {
        id: completeButton
        text: Loc.l("Complete sign-in", Loc.revision)
        enabled: !steps.signIn.busy && codeField.text.trim().length > 0
        onClicked: steps.signIn.submitCode(codeField.text)
    }
}
