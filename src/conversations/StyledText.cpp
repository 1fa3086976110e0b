#include "conversations/StyledText.h"

#include <QHashFunctions>

size_t qHash(const TextStyle& s, size_t seed) {
    const int flags = int(s.bold) | int(s.italic) << 1 | int(s.strike) << 2 | int(s.code) << 3 |
                      int(s.mention) << 4 | int(s.underline) << 5 | int(s.color) << 6;
    return qHashMulti(seed, flags, s.link);
}

QString plainText(const StyledText& text) {
    QString out;
    for (const StyledSpan& span : text)
        out.append(span.text);
    return out;
}

namespace {

QString cssColor(const QColor& c) {
    return c.name(c.alpha() == 255 ? QColor::HexRgb : QColor::HexArgb);
}

QString colorFor(TextColor role, const RichTextPalette& palette) {
    switch (role) {
    case TextColor::Mention:
        return cssColor(palette.mention);
    case TextColor::Secondary:
        return cssColor(palette.secondary);
    case TextColor::White:
        return cssColor(QColor(255, 255, 255));
    case TextColor::WhiteSoft:
        return cssColor(QColor(255, 255, 255, 217));
    case TextColor::Default:
        break;
    }
    return {};
}

QString spanCss(const TextStyle& s, const RichTextPalette& palette) {
    QString css;
    if (s.bold || s.mention) css += QLatin1String("font-weight:bold;");
    if (s.italic) css += QLatin1String("font-style:italic;");
    QStringList decorations;
    if (s.underline) decorations << QStringLiteral("underline");
    if (s.strike) decorations << QStringLiteral("line-through");
    // A link is underlined by Qt unless told otherwise; the style decides.
    if (!decorations.isEmpty())
        css += QLatin1String("text-decoration:") + decorations.join(u' ') + u';';
    else if (!s.link.isEmpty())
        css += QLatin1String("text-decoration:none;");
    const QString color = colorFor(s.color, palette);
    if (!color.isEmpty()) css += QLatin1String("color:") + color + u';';
    if (s.code)
        css += QLatin1String("font-family:monospace;background-color:") +
               cssColor(palette.codeBackground) + u';';
    return css;
}

void appendSpan(QString& html, const StyledSpan& span, const RichTextPalette& palette) {
    const QString css = spanCss(span.style, palette);
    const bool link = !span.style.link.isEmpty();
    if (link) {
        html += QLatin1String("<a href=\"") +
                span.style.link.toString(QUrl::FullyEncoded).toHtmlEscaped() + u'"';
        if (!css.isEmpty()) html += QLatin1String(" style=\"") + css + u'"';
        html += u'>';
    } else if (!css.isEmpty()) {
        html += QLatin1String("<span style=\"") + css + QLatin1String("\">");
    }
    html += span.text.toHtmlEscaped();
    if (link)
        html += QLatin1String("</a>");
    else if (!css.isEmpty())
        html += QLatin1String("</span>");
}

} // namespace

QString toRichText(const StyledText& text, const RichTextPalette& palette) {
    QString html = QStringLiteral("<span style=\"white-space:pre-wrap\">");
    for (const StyledSpan& span : text)
        appendSpan(html, span, palette);
    html += QLatin1String("</span>");
    return html;
}
