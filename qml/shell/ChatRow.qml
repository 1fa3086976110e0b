import QtQuick
import QtQuick.Layouts
import Velmarin
import Velmarin.Core

// One conversation in the list: avatar, title, time, the last message (or who
// types, or what the agent does) and the unread count.
Item {
    id: row
    required property var chatId
    required property string title
    required property string preview
    required property string previewRich
    required property string previewSender
    required property string time
    required property int unread
    required property bool muted
    required property url avatarUrl
    required property bool online
    required property string typing
    required property bool working
    required property string statusLine
    required property int queued
    required property string buildHint
    required property string buildSymbol
    required property bool deployReady
    property bool selected: false
    property bool highlighted: false
    signal activated()
    // A right click, or the menu key while the row has the keyboard.
    signal menuRequested(real x, real y)

    function escaped(text) {
        return text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;")
    }

    readonly property color ink: selected ? Theme.accentForeground : Theme.text
    readonly property color inkSoft: selected ? Qt.rgba(1, 1, 1, 0.85) : Theme.textSecondary

    implicitHeight: 64
    Accessible.role: Accessible.ListItem
    Accessible.name: unread > 0 ? title + ", " + unread : title
    Accessible.selected: selected

    Rectangle {
        id: fill
        anchors.fill: parent
        anchors.leftMargin: Theme.pad
        anchors.rightMargin: Theme.pad
        radius: Theme.radiusControl
        color: row.selected ? Theme.accentFill : mouse.containsMouse ? Theme.hover : "transparent"
        border.width: row.highlighted ? 2 : 0
        border.color: Theme.focusRing
    }

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: Theme.padL
        anchors.rightMargin: Theme.padL
        spacing: Theme.padM

        Avatar {
            title: row.title
            source: row.avatarUrl
            online: row.online
            overAccent: row.selected
            ringColor: row.selected ? Theme.accentFill : Theme.window
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.pad
                Text {
                    Layout.fillWidth: true
                    text: row.title
                    color: row.ink
                    font.pixelSize: Theme.listTitle
                    font.weight: Font.DemiBold
                    elide: Text.ElideRight
                }
                Text {
                    text: row.time
                    color: row.inkSoft
                    font.pixelSize: Theme.caption
                }
            }
            RowLayout {
                Layout.fillWidth: true
                spacing: Theme.pad / 2
                WorkingIndicator {
                    visible: row.working
                    color: row.selected ? Theme.accentForeground : Theme.accent
                    barHeight: 10
                }
                // Who types or what the agent does, as plain text that elides.
                Text {
                    Layout.fillWidth: true
                    visible: row.typing.length > 0 || row.working
                    text: row.typing.length > 0 ? Loc.lf("%@ is typing…", [row.typing], Loc.revision)
                                                : row.statusLine
                    color: row.typing.length > 0 && !row.selected ? Theme.accentText : row.inkSoft
                    font.pixelSize: Theme.secondary
                    elide: Text.ElideRight
                    textFormat: Text.PlainText
                }
                // The last message with its inline styling; rich text cannot
                // elide, so one line is clipped at the edge instead.
                Text {
                    Layout.fillWidth: true
                    Layout.preferredHeight: Math.ceil(fontMetrics.height)
                    visible: row.typing.length === 0 && !row.working && row.buildHint.length === 0
                    clip: true
                    text: (row.previewSender.length > 0 ? row.escaped(row.previewSender) + ": " : "") + row.previewRich
                    textFormat: Text.RichText
                    wrapMode: Text.NoWrap
                    color: row.inkSoft
                    font.pixelSize: Theme.secondary
                    FontMetrics {
                        id: fontMetrics
                        font.pixelSize: Theme.secondary
                    }
                }
                BuildHint {
                    Layout.fillWidth: true
                    visible: row.typing.length === 0 && !row.working && row.buildHint.length > 0
                    symbol: row.buildSymbol
                    text: row.buildHint
                    ink: row.inkSoft
                }
                Icon {
                    objectName: "deployMarker"
                    visible: row.deployReady
                    symbol: "safari.fill"
                    size: 14
                    color: row.selected ? Theme.accentForeground : Theme.accent
                }
                Icon {
                    visible: row.queued > 0
                    symbol: "tray.full.fill"
                    size: 14
                    color: row.inkSoft
                }
                Text {
                    visible: row.queued > 0
                    text: row.queued
                    color: row.inkSoft
                    font.pixelSize: Theme.caption
                }
                Badge {
                    text: row.unread <= 0 ? "" : row.unread > 99 ? "99+" : String(row.unread)
                    fill: row.selected ? Theme.accentForeground
                        : row.muted ? Theme.textSecondary : Theme.accentFill
                    ink: row.selected ? Theme.accentFill : Theme.accentForeground
                }
            }
        }
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        onClicked: mouse => mouse.button === Qt.RightButton ? row.menuRequested(mouse.x, mouse.y)
                                                            : row.activated()
    }
}
