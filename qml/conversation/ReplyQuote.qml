import QtQuick
import QtQuick.Layouts
import Velmarin

// The quoted message a reply answers: who wrote it and its first line, with
// a bar in the sender's colour. A click goes to it.
Rectangle {
    id: quote
    property var reply: ({})
    property bool overAccent: false
    signal jump(var messageId)

    implicitHeight: column.implicitHeight + Theme.pad
    implicitWidth: Math.max(name.implicitWidth, line.implicitWidth) + Theme.padM + Theme.pad
    radius: Theme.radiusControl / 2
    color: overAccent ? Qt.rgba(1, 1, 1, 0.16) : Theme.hover
    Accessible.role: Accessible.Button
    Accessible.name: (reply.senderName || "") + ": " + (reply.text || "")

    Rectangle {
        width: 3
        height: parent.height
        radius: 1.5
        color: quote.overAccent ? Theme.accentForeground : Theme.accent
    }
    ColumnLayout {
        id: column
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: Theme.padM
        anchors.rightMargin: Theme.pad
        spacing: 0
        Text {
            id: name
            Layout.fillWidth: true
            text: quote.reply.senderName || ""
            color: quote.overAccent ? Theme.accentForeground : Theme.accentText
            font.pixelSize: Theme.secondary
            font.weight: Font.DemiBold
            elide: Text.ElideRight
        }
        Text {
            id: line
            Layout.fillWidth: true
            text: (quote.reply.text || "").split("\n")[0]
            color: quote.overAccent ? Theme.accentForeground : Theme.textSecondary
            font.pixelSize: Theme.secondary
            elide: Text.ElideRight
            textFormat: Text.PlainText
        }
    }
    MouseArea {
        anchors.fill: parent
        cursorShape: Qt.PointingHandCursor
        onClicked: quote.jump(quote.reply.id)
    }
}
