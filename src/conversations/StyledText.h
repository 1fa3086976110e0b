#pragma once

// Styled message text: a list of spans, each a piece of text with one style.
// The inline grammar (MessageText.h) produces it; views render it through
// toRichText() in a QML Text with `textFormat: Text.RichText`, whose
// `onLinkActivated` receives the span links (`velmarin://user/<name>`,
// `velmarin://copy/<percent-encoded text>`, or a web address).

#include <QColor>
#include <QList>
#include <QString>
#include <QUrl>

// Colours that depend on the theme or on the bubble are named by role; the
// renderer resolves them with a RichTextPalette.
enum class TextColor {
    Default,   // inherit the Text item's colour
    Mention,   // the theme's mention blue
    Secondary, // the theme's secondary text colour
    White,     // on the accent fill of one's own bubble
    WhiteSoft, // white at 85 % opacity, code on the accent fill
};

struct TextStyle {
    bool bold = false;
    bool italic = false;
    bool strike = false;
    bool code = false;
    bool mention = false; // shown in the bold body font; not an inline intent
    bool underline = false;
    TextColor color = TextColor::Default;
    QUrl link; // empty: not a link

    // Markdown's inline intents only: what groups characters into one code run.
    bool sameIntent(const TextStyle& o) const {
        return bold == o.bold && italic == o.italic && strike == o.strike && code == o.code;
    }
    bool operator==(const TextStyle&) const = default;
};

size_t qHash(const TextStyle& s, size_t seed = 0);

struct StyledSpan {
    QString text;
    TextStyle style;
    bool operator==(const StyledSpan&) const = default;
};

// Adjacent spans never share a style; no span is empty.
using StyledText = QList<StyledSpan>;

QString plainText(const StyledText& text);

struct RichTextPalette {
    QColor mention = QColor(0x3b, 0x82, 0xf6);
    QColor secondary = QColor(0x8e, 0x8e, 0x93);
    QColor codeBackground = QColor(127, 127, 127, 40);
};

// HTML for Qt's rich text (QTextDocument, QML Text.RichText). Text is escaped,
// so nothing in a message becomes markup. The whole text sits in one span
// with `white-space: pre-wrap`, which Qt honours: runs of spaces, tabs and
// line breaks show as typed and long lines still wrap.
QString toRichText(const StyledText& text, const RichTextPalette& palette = {});
