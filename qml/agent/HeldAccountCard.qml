import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// A further account a machine holds beside its main sign-in.
ColumnLayout {
    id: held
    property string holder

    spacing: 4
    RowLayout {
        spacing: Theme.pad
        Icon {
            symbol: "externaldrive.badge.checkmark"
            size: 16
            color: Theme.accentText
        }
        Text {
            Layout.fillWidth: true
            text: Loc.lf("Held on %@", [held.holder], Loc.revision)
            color: Theme.text
            font.pixelSize: Theme.body
            font.weight: Font.DemiBold
        }
    }
    Text {
        Layout.fillWidth: true
        text: Loc.lf("%@ keeps this account's own credentials and quota; conversations you move to it run on it. The client's main sign-in stays %@.",
                     [held.holder, held.holder], Loc.revision)
        color: Theme.textSecondary
        font.pixelSize: Theme.secondary
        wrapMode: Text.Wrap
    }
}
