import QtQuick
import QtQuick.Layouts
import Velmarin

// One bar over the composer: a line high, a separator on top, content in a row.
Rectangle {
    id: line
    default property alias content: row.data
    property color tint: Theme.window

    implicitHeight: Math.max(36, row.implicitHeight + Theme.pad)
    color: tint

    Rectangle { width: parent.width; height: 1; color: Theme.separator }
    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: Theme.padL
        anchors.rightMargin: Theme.padM
        spacing: Theme.pad
    }
}
