import QtQuick
import QtQuick.Controls.Basic
import Velmarin
import Velmarin.Models

ApplicationWindow {
    id: window
    width: 1000
    height: 700
    minimumWidth: 720
    minimumHeight: 460
    visible: true
    title: "Velmarin"
    color: Theme.window
    // The family list (Inter, then Noto Color Emoji) comes from the application font.
    font.pixelSize: Theme.body
    // The standard controls that draw from the palette (menus above all) wear
    // the design's colours, so no white menu opens in the dark design.
    palette.window: Theme.surfaceRaised
    palette.windowText: Theme.text
    palette.dark: Theme.separator
    palette.mid: Theme.separator
    palette.light: Theme.hover
    palette.midlight: Theme.accentWash

    RootView {
        id: root
        anchors.fill: parent
    }

    QuickSwitcher {
        id: switcher
    }

    ProfileSheet {
        id: profileSheet
    }

    Shortcut {
        sequence: "Ctrl+K"
        enabled: AppModel.signedIn
        onActivated: switcher.opened ? switcher.close() : switcher.open()
    }
    Shortcut {
        sequence: "Ctrl+F"
        enabled: AppModel.signedIn && !switcher.opened && !profileSheet.opened
        onActivated: root.focusSearch()
    }
    // Quits, also while a tray icon keeps the app when its window closes.
    Shortcut {
        sequence: StandardKey.Quit
        onActivated: Qt.quit()
    }
    // Popups close themselves on Esc; this one steps back in the main layout.
    Shortcut {
        sequence: "Esc"
        enabled: AppModel.signedIn && !switcher.opened && !profileSheet.opened
        onActivated: root.goBack()
    }
}
