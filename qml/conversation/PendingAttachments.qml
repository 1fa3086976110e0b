import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The pictures (with a caption) or the files waiting to be sent.
ColumnLayout {
    id: pending
    property var composer

    spacing: Theme.pad

    Flow {
        Layout.fillWidth: true
        spacing: Theme.pad
        Repeater {
            model: pending.composer.pendingImages
            Rectangle {
                required property var modelData
                width: 96
                height: 96
                radius: Theme.radiusControl
                color: Theme.surfaceRaised
                clip: true
                Image {
                    anchors.fill: parent
                    source: parent.modelData.url
                    sourceSize: Qt.size(192, 192)
                    fillMode: Image.PreserveAspectCrop
                    asynchronous: true
                }
                IconButton {
                    anchors.top: parent.top
                    anchors.right: parent.right
                    anchors.margins: 2
                    implicitWidth: 26
                    implicitHeight: 26
                    iconSize: 16
                    symbol: "xmark"
                    iconColor: "white"
                    label: Loc.l("Remove", Loc.revision)
                    background: Rectangle { radius: 13; color: Qt.rgba(0, 0, 0, 0.55) }
                    onClicked: pending.composer.removePending(parent.modelData.id)
                }
            }
        }
        Repeater {
            model: pending.composer.pendingFiles
            Rectangle {
                required property var modelData
                width: fileRow.implicitWidth + 2 * Theme.padM
                height: 44
                radius: Theme.radiusControl
                color: Theme.surfaceRaised
                RowLayout {
                    id: fileRow
                    anchors.verticalCenter: parent.verticalCenter
                    x: Theme.padM
                    spacing: Theme.pad
                    Icon { symbol: parent.parent.modelData.icon }
                    ColumnLayout {
                        spacing: 0
                        Text {
                            text: fileRow.parent.modelData.name
                            color: Theme.text
                            font.pixelSize: Theme.secondary
                            elide: Text.ElideMiddle
                            Layout.maximumWidth: 220
                        }
                        Text {
                            text: fileRow.parent.modelData.size
                            color: Theme.textSecondary
                            font.pixelSize: Theme.caption
                        }
                    }
                    IconButton {
                        implicitWidth: 26
                        implicitHeight: 26
                        iconSize: 16
                        symbol: "xmark"
                        label: Loc.l("Remove", Loc.revision)
                        onClicked: pending.composer.removePending(fileRow.parent.modelData.id)
                    }
                }
            }
        }
    }

    VTextField {
        objectName: "imageCaption"
        Layout.fillWidth: true
        visible: pending.composer.pendingImages.length > 0
        placeholderText: Loc.l("Add a caption…", Loc.revision)
        text: pending.composer.imageCaption
        onTextChanged: if (text !== pending.composer.imageCaption) pending.composer.imageCaption = text
        Keys.onReturnPressed: pending.composer.sendPendingImages(pending.composer.originalQuality)
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.pad
        ToggleSwitch {
            Layout.preferredWidth: 40
            Layout.preferredHeight: 24
            visible: pending.composer.pendingImages.length > 0
            label: Loc.l("Original quality", Loc.revision)
            checked: pending.composer.originalQuality
            onToggled: pending.composer.originalQuality = checked
        }
        Text {
            visible: pending.composer.pendingImages.length > 0
            text: Loc.l("Original quality", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
        Item { Layout.fillWidth: true }
        ProgressBar {
            objectName: "uploadProgress"
            visible: pending.composer.uploadingMedia
            Layout.preferredWidth: 120
            from: 0
            to: 1
            value: Math.max(0, pending.composer.uploadProgress)
            indeterminate: pending.composer.uploadProgress < 0
            Accessible.name: Loc.l("Uploading…", Loc.revision)
        }
        SecondaryButton {
            text: Loc.l("Cancel", Loc.revision)
            onClicked: {
                pending.composer.cancelImages()
                pending.composer.cancelFiles()
            }
        }
        PrimaryButton {
            objectName: "sendAttachments"
            enabled: !pending.composer.uploadingMedia
            text: pending.composer.pendingImages.length > 0 ? pending.composer.sendImagesLabel
                                                            : pending.composer.sendFilesLabel
            onClicked: {
                if (pending.composer.pendingImages.length > 0)
                    pending.composer.sendPendingImages(pending.composer.originalQuality)
                else
                    pending.composer.sendPendingFiles()
            }
        }
    }
}
