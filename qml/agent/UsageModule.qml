import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The usage section: each Claude account with its two windows, the machines
// it signs in on and the conversations that run on it.
Rectangle {
    id: module
    objectName: "usageModule"
    readonly property var usage: AppModel.usage
    color: Theme.window

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ModuleHeader {
            Layout.fillWidth: true
            title: Loc.l("Usage", Loc.revision)
            ClaudeUsageRailView {
                vertical: false
                pieSize: 18
            }
            SecondaryButton {
                text: Loc.l("New session", Loc.revision)
                symbol: "plus.circle"
                onClicked: AppModel.sessionSettings.requestSheet("folders")
            }
            PrimaryButton {
                objectName: "addAccountButton"
                text: Loc.l("Add account", Loc.revision)
                onClicked: {
                    AppModel.claudeSignIn.startAddingAccount()
                    addSheet.open()
                }
            }
        }

        EmptyState {
            Layout.fillWidth: true
            Layout.fillHeight: true
            visible: module.usage.empty
            symbol: "gauge.medium"
            title: Loc.l("No usage data yet", Loc.revision)
            note: Loc.l("Usage shows up once the Mac running your sessions reports in.", Loc.revision)
        }

        ScrollView {
            id: scroll
            visible: !module.usage.empty
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                width: Math.min(scroll.availableWidth - 2 * Theme.padL, Theme.contentMax + 120)
                x: Math.max(Theme.padL, (scroll.availableWidth - width) / 2)
                spacing: Theme.padL

                SheetSectionTitle {
                    Layout.topMargin: Theme.padL
                    text: Loc.l("Accounts", Loc.revision)
                }
                Repeater {
                    model: module.usage.accounts
                    delegate: Card {
                        id: accountCard
                        required property var modelData
                        Layout.fillWidth: true
                        symbol: "person.crop.circle.fill"
                        title: modelData.email.length > 0 ? modelData.email
                                                          : Loc.l("Account not reported yet", Loc.revision)

                        GridLayout {
                            visible: accountCard.modelData.hasUsage
                            Layout.fillWidth: true
                            columns: module.width > 760 ? 2 : 1
                            columnSpacing: Theme.padM
                            rowSpacing: Theme.padM
                            Repeater {
                                model: accountCard.modelData.cards
                                delegate: UsageWindowCard {
                                    required property var modelData
                                    Layout.fillWidth: true
                                    usageWindow: modelData
                                }
                            }
                        }
                        Text {
                            visible: !accountCard.modelData.hasUsage && accountCard.modelData.email.length > 0
                            Layout.fillWidth: true
                            text: Loc.l("No usage reported yet for this account.", Loc.revision)
                            color: Theme.textSecondary
                            font.pixelSize: Theme.body
                            wrapMode: Text.Wrap
                        }
                        HeldAccountCard {
                            visible: accountCard.modelData.held
                            Layout.fillWidth: true
                            holder: accountCard.modelData.holder
                        }
                        Repeater {
                            model: accountCard.modelData.clients
                            delegate: RowLayout {
                                required property var modelData
                                Layout.fillWidth: true
                                spacing: Theme.pad
                                Icon {
                                    symbol: modelData.isMac ? "laptopcomputer" : "server.rack"
                                    size: 16
                                    color: Theme.textSecondary
                                }
                                Text {
                                    Layout.fillWidth: true
                                    text: modelData.name + (modelData.subtitle.length > 0 ? " · " + Loc.l(modelData.subtitle, Loc.revision) : "")
                                    color: Theme.text
                                    font.pixelSize: Theme.secondary
                                    elide: Text.ElideRight
                                }
                                Rectangle {
                                    width: 8
                                    height: 8
                                    radius: 4
                                    color: modelData.answering ? Theme.online : Theme.unknown
                                    Accessible.role: Accessible.Indicator
                                    Accessible.name: modelData.answering ? Loc.l("Online", Loc.revision) : Loc.l("Offline", Loc.revision)
                                }
                            }
                        }
                        Repeater {
                            model: accountCard.modelData.chats
                            delegate: SheetRow {
                                id: chatRow
                                required property var modelData
                                symbol: "message.fill"
                                symbolColor: Theme.textSecondary
                                title: modelData.title
                                value: Loc.l("Move to other Claude account", Loc.revision)
                                enabled: !module.usage.moving
                                onClicked: moveMenu.popup(chatRow, chatRow.width - moveMenu.width, chatRow.height)
                                Menu {
                                    id: moveMenu
                                    Instantiator {
                                        model: module.usage.knownAccounts
                                        delegate: MenuItem {
                                            required property string modelData
                                            text: modelData
                                            onTriggered: module.usage.moveChat(chatRow.modelData.id, modelData)
                                        }
                                        onObjectAdded: (index, object) => moveMenu.insertItem(index, object)
                                        onObjectRemoved: (index, object) => moveMenu.removeItem(object)
                                    }
                                }
                            }
                        }
                    }
                }
                Item { Layout.preferredHeight: Theme.padL }
            }
        }
    }

    AddClaudeAccountSheet {
        id: addSheet
    }
    MoveFailedAlert {
        id: moveAlert
    }
    Connections {
        target: module.usage
        function onMoveFailed(reason) { moveAlert.show(reason) }
    }
}
