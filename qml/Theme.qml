pragma Singleton
import QtQuick
import Velmarin.Models

// Every colour, size and duration of the visual language in one place. The
// colours come from the C++ palette, which keeps text at 4.5:1 or better in
// each design.
QtObject {
    readonly property var p: AppModel.palette

    readonly property bool dark: p.dark
    readonly property color rail: p.rail
    readonly property color window: p.window
    readonly property color surface: p.surface
    readonly property color surfaceRaised: p.surfaceRaised
    readonly property color conversation: p.conversation
    readonly property color separator: p.separator
    readonly property color fieldBorder: p.fieldBorder
    readonly property color text: p.text
    readonly property color textSecondary: p.textSecondary
    readonly property color accent: p.accent
    readonly property color accentFill: p.accentFill
    readonly property color accentText: p.accentText
    readonly property color accentForeground: p.accentForeground
    readonly property color focusRing: p.focusRing
    readonly property color online: p.online
    readonly property color ahead: p.ahead
    readonly property color danger: p.danger
    readonly property color unknown: p.unknown
    readonly property color dangerText: p.dangerText
    readonly property color badge: p.badge
    readonly property color badgeForeground: p.badgeForeground
    readonly property color toast: p.toast
    readonly property color toastForeground: p.toastForeground
    readonly property color scrim: p.scrim
    // A faint wash of the accent for hovered and current items.
    readonly property color accentWash: Qt.rgba(p.accent.r, p.accent.g, p.accent.b, dark ? 0.16 : 0.12)
    readonly property color hover: Qt.rgba(p.text.r, p.text.g, p.text.b, 0.06)

    readonly property string fontFamily: "Inter"
    readonly property string emojiFamily: "Noto Color Emoji"
    readonly property string monoFamily: AppModel.monoFont
    readonly property string iconFamily: AppModel.iconFont

    readonly property int body: 14
    readonly property int secondary: 12
    readonly property int caption: 11
    readonly property int listTitle: 14
    readonly property int header: 16
    readonly property int emojiLarge: 36
    readonly property int iconSize: 20

    readonly property int pad: 8
    readonly property int padM: 12
    readonly property int padL: 16
    readonly property int groupGap: 8
    readonly property int bubbleGap: 2

    readonly property int radiusBubble: 16
    readonly property int radiusBubbleTail: 6
    readonly property int radiusCard: 12
    readonly property int radiusControl: 8

    readonly property int railWidth: 64
    readonly property int listMin: 280
    readonly property int listMax: 420
    readonly property int listDefault: 340
    readonly property int narrowWidth: 900
    readonly property int contentMax: 640
    readonly property int controlHeight: 36

    readonly property int motionFast: 120
    readonly property int motion: 150
    readonly property int motionSlow: 180
}
