import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Models

// The signed-in frame: the rail at the left, the current section beside it,
// and the main menu drawer over both.
Item {
    id: layout
    objectName: "mainLayout"

    // Ctrl+F: the conversation list's search.
    function focusSearch() {
        AppModel.section = "Conversation"
        Qt.callLater(() => {
            if (content.item && content.item.focusSearch)
                content.item.focusSearch()
        })
    }
    // Esc: the innermost thing that is open closes; true when something did.
    function goBack() {
        if (AppModel.showMainMenu) {
            AppModel.showMainMenu = false
            return true
        }
        return content.item && content.item.goBack ? content.item.goBack() : false
    }

    function entryFor(section) {
        const entries = AppModel.menuSections
        for (let i = 0; i < entries.length; ++i)
            if (entries[i].section === section)
                return entries[i]
        return { section: section, title: section, symbol: "", badge: "" }
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        ModuleRail {
            Layout.fillHeight: true
            Layout.preferredWidth: Theme.railWidth
        }
        Rectangle {
            Layout.fillHeight: true
            Layout.preferredWidth: 1
            color: Theme.separator
        }
        Loader {
            id: content
            Layout.fillWidth: true
            Layout.fillHeight: true
            sourceComponent: AppModel.section === "Conversation" ? mainView
                           : AppModel.section === "Profile" ? profileModule
                           : AppModel.section === "Usage" ? usageModule
                           : AppModel.section === "People" ? peopleModule : emptyModule
        }
    }

    Component {
        id: mainView
        MainView {}
    }
    Component {
        id: profileModule
        ProfileModule {}
    }
    Component {
        id: usageModule
        UsageModule {}
    }
    Component {
        id: peopleModule
        PeopleModule {}
    }
    Component {
        id: emptyModule
        ModulePlaceholder {
            entry: layout.entryFor(AppModel.section)
        }
    }

    MainMenuDrawer {}
    SessionSheets {}
    GroupSheets {}
}
