import QtQuick
import QtQuick.Controls.Basic
import Velmarin

// One section on the module rail: its symbol, an unread badge, and a wash of
// the accent when it is the current one.
Button {
    id: control
    property string symbol
    property string title
    property string badge
    property bool current: false

    implicitWidth: 48
    implicitHeight: 48
    padding: 0
    focusPolicy: Qt.StrongFocus
    Accessible.name: badge.length > 0 ? title + ", " + badge : title
    Accessible.role: Accessible.PageTab
    Accessible.checkable: true
    Accessible.checked: current
    ToolTip.visible: hovered
    ToolTip.text: title
    ToolTip.delay: 400

    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            symbol: control.symbol
            size: 24
            color: control.current ? Theme.accentText : Theme.textSecondary
        }
    }
    background: Rectangle {
        radius: Theme.radiusCard
        color: control.current ? Theme.accentWash
                               : control.hovered ? Theme.hover : "transparent"
    }
    Badge {
        anchors.right: parent.right
        anchors.top: parent.top
        anchors.rightMargin: -2
        anchors.topMargin: 2
        text: control.badge
    }
    FocusRing {}
}
