import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// The pictures (with a caption and a choice of quality) or the files (with
// a message to follow them) waiting to be sent.
ColumnLayout {
    id: pending
    property var composer

    readonly property bool hasImages: composer.pendingImages.length > 0

    function send() {
        if (hasImages)
            composer.sendPendingImages(composer.originalQuality)
        else
            composer.sendPendingFiles()
    }
    // Above its button: below it the menu would run off the window.
    function openQualityMenu() {
        if (hasImages)
            qualityMenu.popup(qualityButton, 0, -qualityMenu.implicitHeight - 4)
    }

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

    // Pictures take a caption, files a message that follows them.
    VTextField {
        objectName: "imageCaption"
        Layout.fillWidth: true
        placeholderText: pending.hasImages ? Loc.l("Add a caption…", Loc.revision)
                                           : Loc.l("Add a message…", Loc.revision)
        text: pending.composer.imageCaption
        onTextChanged: if (text !== pending.composer.imageCaption) pending.composer.imageCaption = text
        Keys.onReturnPressed: pending.send()
        Keys.onEnterPressed: pending.send()
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: Theme.pad
        SecondaryButton {
            id: qualityButton
            objectName: "qualityButton"
            visible: pending.hasImages
            text: Loc.l("Quality", Loc.revision)
            symbol: "chevron.down"
            onClicked: pending.openQualityMenu()
            Menu {
                id: qualityMenu
                objectName: "qualityMenu"
                MenuItem {
                    text: Loc.l("Compressed", Loc.revision)
                    checkable: true
                    checked: !pending.composer.originalQuality
                    onTriggered: pending.composer.originalQuality = false
                }
                MenuItem {
                    text: Loc.l("Original quality", Loc.revision)
                    checkable: true
                    checked: pending.composer.originalQuality
                    onTriggered: pending.composer.originalQuality = true
                }
            }
        }
        Text {
            objectName: "originalQualityLabel"
            visible: pending.hasImages && pending.composer.originalQuality
            text: Loc.l("Sending at original quality", Loc.revision)
            color: Theme.textSecondary
            font.pixelSize: Theme.secondary
        }
        SecondaryButton {
            objectName: "pasteImage"
            visible: pending.hasImages && pending.composer.canPasteImage
            text: Loc.l("Paste", Loc.revision)
            symbol: "doc.on.clipboard"
            onClicked: pending.composer.pasteImage()
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
            onClicked: pending.send()
        }
    }
}
