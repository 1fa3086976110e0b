import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The row of buttons at the foot of a sheet: whatever the sheet puts on the
// left, then the quiet way out and the one action. An empty `cancelText`
// leaves only the action.
RowLayout {
    id: footer
    property string cancelText: Loc.l("Cancel", Loc.revision)
    property string confirmText
    property bool confirmEnabled: true
    property bool confirmVisible: true
    // For an action that cannot be undone.
    property bool confirmDanger: false
    property string confirmObjectName
    default property alias leading: lead.data
    signal cancel()
    signal confirm()

    // Enter in a field of the sheet: the action, when it can run.
    function submit() {
        if (confirmEnabled && confirmVisible)
            confirm()
    }

    Layout.fillWidth: true
    spacing: Theme.pad

    RowLayout {
        id: lead
        spacing: Theme.pad
    }
    Item { Layout.fillWidth: true }
    SecondaryButton {
        visible: footer.cancelText.length > 0
        text: footer.cancelText
        onClicked: footer.cancel()
    }
    PrimaryButton {
        objectName: footer.confirmObjectName
        visible: footer.confirmVisible
        danger: footer.confirmDanger
        text: footer.confirmText
        enabled: footer.confirmEnabled
        onClicked: footer.submit()
    }
}
