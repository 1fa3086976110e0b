import QtQuick
import Velmarin
import Velmarin.Models

// The login screen while there is no session, the main layout once there is
// one, and the toast above both.
Item {
    id: root

    function focusSearch() {
        if (main.item)
            main.item.focusSearch()
    }
    function goBack() {
        return main.item ? main.item.goBack() : false
    }

    Loader {
        id: loginLoader
        anchors.fill: parent
        active: !AppModel.signedIn
        sourceComponent: LoginView {}
    }
    Loader {
        id: main
        anchors.fill: parent
        active: AppModel.signedIn
        sourceComponent: MainLayout {}
    }

    InAppBanner {}
    Toast {}
}
