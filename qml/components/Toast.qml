import QtQuick
import Velmarin
import Velmarin.Models

// The short notice of AppModel.toast, at the bottom centre.
Rectangle {
    id: toast
    objectName: "toast"
    // Kept while the toast fades out after AppModel.toast was cleared.
    property string shown

    anchors.horizontalCenter: parent.horizontalCenter
    anchors.bottom: parent.bottom
    anchors.bottomMargin: 32
    width: label.implicitWidth + 2 * Theme.padL
    height: 36
    radius: height / 2
    color: Theme.toast
    opacity: AppModel.toast.length > 0 ? 1 : 0
    visible: opacity > 0
    Accessible.role: Accessible.AlertMessage
    Accessible.name: label.text

    Component.onCompleted: shown = AppModel.toast
    Connections {
        target: AppModel
        function onToastChanged() {
            if (AppModel.toast.length > 0)
                toast.shown = AppModel.toast
        }
    }

    Behavior on opacity { NumberAnimation { duration: Theme.motion } }

    Text {
        id: label
        anchors.centerIn: parent
        text: toast.shown
        color: Theme.toastForeground
        font.pixelSize: Theme.body
        font.weight: Font.Medium
    }
}
