import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The profile section: who is signed in, and the app's settings.
Rectangle {
    id: module
    objectName: "profileModule"
    color: Theme.window

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ModuleHeader {
            Layout.fillWidth: true
            title: Loc.l("Profile", Loc.revision)
        }

        ScrollView {
            id: scroll
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                width: Math.min(scroll.availableWidth - 2 * Theme.padL, Theme.contentMax)
                x: Math.max(Theme.padL, (scroll.availableWidth - width) / 2)
                spacing: Theme.padL

                Item { Layout.preferredHeight: Theme.pad }

                Card {
                    Layout.fillWidth: true
                    RowLayout {
                        Layout.fillWidth: true
                        spacing: Theme.padM
                        Rectangle {
                            Layout.preferredWidth: 48
                            Layout.preferredHeight: 48
                            radius: 24
                            color: Theme.accentFill
                            Text {
                                anchors.centerIn: parent
                                text: AppModel.myName.length > 0 ? AppModel.myName.charAt(0).toUpperCase() : "?"
                                color: Theme.accentForeground
                                font.pixelSize: 20
                                font.weight: Font.DemiBold
                            }
                        }
                        ColumnLayout {
                            Layout.fillWidth: true
                            spacing: 2
                            Text {
                                Layout.fillWidth: true
                                text: AppModel.myName
                                color: Theme.text
                                font.pixelSize: Theme.header
                                font.weight: Font.DemiBold
                                elide: Text.ElideRight
                            }
                            Text {
                                Layout.fillWidth: true
                                text: Loc.l("My profile", Loc.revision)
                                color: Theme.textSecondary
                                font.pixelSize: Theme.secondary
                            }
                        }
                        SecondaryButton {
                            symbol: "rectangle.portrait.and.arrow.right"
                            text: Loc.l("Logout", Loc.revision)
                            onClicked: AppModel.logout()
                        }
                    }
                }

                ServersCard {
                    Layout.fillWidth: true
                }

                SettingsBody {
                    Layout.fillWidth: true
                }

                Card {
                    Layout.fillWidth: true
                    visible: AppModel.hostStatus !== "unknown"
                    symbol: "brain.head.profile"
                    title: Loc.l("Claude account", Loc.revision)
                    Loader {
                        Layout.fillWidth: true
                        active: parent.visible
                        sourceComponent: ClaudeAccountContent {}
                    }
                }

                Item { Layout.preferredHeight: Theme.padL }
            }
        }
    }
}
