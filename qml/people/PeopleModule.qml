import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Velmarin
import Velmarin.Core
import Velmarin.Models

// The people section: everyone the person knows on their servers, by
// server and name. A row opens the person's profile; its button writes to them.
Rectangle {
    id: module
    objectName: "peopleModule"
    readonly property var people: AppModel.people

    function focusSearch() {
        search.forceActiveFocus()
        search.selectAll()
    }

    color: Theme.window

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ModuleHeader {
            Layout.fillWidth: true
            title: Loc.l("People", Loc.revision)
        }

        VTextField {
            id: search
            objectName: "peopleModuleSearch"
            Layout.fillWidth: true
            Layout.maximumWidth: Theme.contentMax
            Layout.margins: Theme.padM
            placeholderText: Loc.l("Search people", Loc.revision)
            onTextChanged: module.people.search = text
            Keys.onDownPressed: {
                list.forceActiveFocus()
                list.currentIndex = 0
            }
        }

        Text {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.padL
            Layout.rightMargin: Theme.padL
            visible: text.length > 0
            text: module.people.errorText
            color: Theme.dangerText
            font.pixelSize: Theme.secondary
            wrapMode: Text.Wrap
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }

        ListView {
            id: list
            objectName: "peopleList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.maximumWidth: Theme.contentMax
            clip: true
            model: module.people
            currentIndex: -1
            keyNavigationEnabled: true
            activeFocusOnTab: true
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: Loc.l("People", Loc.revision)
            section.property: module.people.serverCount > 1 ? "serverId" : ""
            section.delegate: Text {
                required property string section
                width: list.width
                leftPadding: Theme.padL
                topPadding: Theme.padM
                bottomPadding: 4
                text: section === "0" ? Loc.l("Primary server", Loc.revision)
                                      : AppModel.servers.nameOf(Number(section))
                color: Theme.textSecondary
                font.pixelSize: Theme.caption
                font.weight: Font.DemiBold
                font.capitalization: Font.AllUppercase
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }

            delegate: ItemDelegate {
                id: person
                required property var userId
                required property string name
                required property string presence
                required property bool online
                required property url avatarUrl
                required property string about
                width: list.width
                height: 60
                leftPadding: Theme.padL
                rightPadding: Theme.padM
                focusPolicy: Qt.NoFocus
                Accessible.name: name + ", " + presence
                onClicked: module.people.showProfile(userId)
                Keys.onReturnPressed: module.people.showProfile(userId)

                contentItem: RowLayout {
                    spacing: Theme.padM
                    Avatar {
                        title: person.name
                        source: person.avatarUrl
                        online: person.online
                        size: 40
                    }
                    ColumnLayout {
                        Layout.fillWidth: true
                        spacing: 2
                        Text {
                            Layout.fillWidth: true
                            text: person.name
                            color: Theme.text
                            font.pixelSize: Theme.listTitle
                            font.weight: Font.DemiBold
                            elide: Text.ElideRight
                        }
                        Text {
                            Layout.fillWidth: true
                            text: person.about.length > 0 ? person.presence + " · " + person.about
                                                          : person.presence
                            color: person.online ? Theme.online : Theme.textSecondary
                            font.pixelSize: Theme.secondary
                            elide: Text.ElideRight
                        }
                    }
                    IconButton {
                        symbol: "message.fill"
                        label: Loc.lf("Message %@", [person.name], Loc.revision)
                        enabled: !module.people.busy
                        onClicked: module.people.message(person.userId)
                    }
                }
                background: Rectangle {
                    color: person.hovered || (person.ListView.isCurrentItem && list.activeFocus)
                           ? Theme.hover : "transparent"
                }
            }
        }
    }

    EmptyState {
        anchors.centerIn: parent
        width: parent.width
        height: 200
        visible: list.count === 0
        symbol: search.text.length > 0 ? "magnifyingglass" : "person.2.fill"
        title: search.text.length > 0 ? Loc.l("No one found", Loc.revision)
                                      : Loc.l("No people yet", Loc.revision)
        note: search.text.length > 0 ? ""
                                     : Loc.l("People on your servers show up here.", Loc.revision)
    }
}
