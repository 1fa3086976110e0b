#include "conversations/MessageText.h"

#include "conversations/TextSearch.h"

#include <QHash>
#include <optional>
#include <vector>

namespace {

// Styled text with one style id per UTF-16 unit, so that restyling a range
// costs its length and never splits a span list. Characters are removed by
// marking them; offsets keep pointing at the same characters throughout.
class AttributedText {
public:
    explicit AttributedText(const StyledText& spans) {
        for (const StyledSpan& span : spans) {
            const quint32 id = intern(span.style);
            m_text.append(span.text);
            m_styles.insert(m_styles.end(), size_t(span.text.size()), id);
        }
        m_removed.assign(m_styles.size() + 1, 0);
    }

    const QString& text() const { return m_text; }
    const TextStyle& styleAt(qsizetype i) const { return m_table[m_styles[size_t(i)]]; }

    template <typename F>
    void restyle(qsizetype from, qsizetype length, F change) {
        quint32 lastOld = 0, lastNew = 0;
        bool cached = false;
        for (qsizetype i = from; i < from + length; ++i) {
            quint32& id = m_styles[size_t(i)];
            if (!cached || id != lastOld) {
                TextStyle style = m_table[id];
                change(style);
                lastOld = id;
                lastNew = intern(style);
                cached = true;
            }
            id = lastNew;
        }
    }

    void remove(qsizetype from, qsizetype length) {
        for (qsizetype i = from; i < from + length; ++i)
            for (size_t k = size_t(i) + 1; k < m_removed.size(); k += k & (~k + 1))
                ++m_removed[k];
    }

    bool anyRemoved(qsizetype from, qsizetype length) const {
        return removedBefore(from + length) > removedBefore(from);
    }

    // The link shared by the whole range; nothing when it differs within it.
    std::optional<QUrl> uniformLink(qsizetype from, qsizetype length) const {
        const quint32 first = m_styles[size_t(from)];
        for (qsizetype i = from + 1; i < from + length; ++i) {
            const quint32 id = m_styles[size_t(i)];
            if (id != first && m_table[id].link != m_table[first].link) return std::nullopt;
        }
        return m_table[first].link;
    }

    StyledText spans() const {
        StyledText out;
        for (qsizetype i = 0; i < m_text.size();) {
            qsizetype j = i + 1;
            while (j < m_text.size() && m_styles[size_t(j)] == m_styles[size_t(i)])
                ++j;
            appendAlive(out, i, j);
            i = j;
        }
        return out;
    }

private:
    // Removed characters before `end`, from a Fenwick tree.
    qsizetype removedBefore(qsizetype end) const {
        qsizetype sum = 0;
        for (size_t k = size_t(end); k > 0; k -= k & (~k + 1))
            sum += m_removed[k];
        return sum;
    }

    void appendAlive(StyledText& out, qsizetype from, qsizetype to) const {
        const TextStyle& style = m_table[m_styles[size_t(from)]];
        QString piece;
        for (qsizetype i = from; i < to; ++i)
            if (!anyRemoved(i, 1)) piece.append(m_text[i]);
        if (piece.isEmpty()) return;
        if (!out.isEmpty() && out.back().style == style)
            out.back().text.append(piece);
        else
            out.append({piece, style});
    }

    quint32 intern(const TextStyle& style) {
        auto it = m_ids.constFind(style);
        if (it != m_ids.constEnd()) return *it;
        const quint32 id = quint32(m_table.size());
        m_table.push_back(style);
        m_ids.insert(style, id);
        return id;
    }

    QString m_text;
    std::vector<quint32> m_styles;
    std::vector<qsizetype> m_removed; // Fenwick tree over removed characters, 1-based
    std::vector<TextStyle> m_table;
    QHash<TextStyle, quint32> m_ids;
};

bool isMentionChar(QChar c) {
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') ||
           u == u'_' || u == u'.' || u == u'-';
}

void styleMentions(AttributedText& text, bool isMine) {
    const QString& s = text.text();
    for (qsizetype i = 0; i < s.size(); ++i) {
        if (s[i] != u'@') continue;
        qsizetype end = i + 1;
        while (end < s.size() && isMentionChar(s[end]))
            ++end;
        if (end == i + 1) continue;
        const QUrl url(QStringLiteral("velmarin://user/") + s.sliced(i + 1, end - i - 1),
                       QUrl::StrictMode);
        text.restyle(i, end - i, [&](TextStyle& style) {
            style.color = isMine ? TextColor::White : TextColor::Mention;
            style.mention = true;
            if (url.isValid()) style.link = url;
        });
        i = end - 1;
    }
}

QUrl copyLink(const QString& code) {
    // Only ASCII letters and digits stay as they are; the copy handler removes
    // the encoding again.
    const QByteArray encoded = QUrl::toPercentEncoding(code, QByteArray(), "-._~");
    const QUrl url(QStringLiteral("velmarin://copy/") + QString::fromLatin1(encoded),
                   QUrl::StrictMode);
    return url.isValid() ? url : QUrl();
}

// Shows `written`, found at `at`, as its pretty form linked to `url`; a range
// that already links (a code span's copy link, a Markdown link) stays.
void applyWebLink(AttributedText& text, qsizetype at, const QString& written, const QUrl& url) {
    const std::optional<QUrl> existing = text.uniformLink(at, written.size());
    if (existing && !existing->isEmpty()) return;
    const qsizetype cut = written.size() - prettyLink(written).size();
    TextStyle style = text.styleAt(at);
    style.link = url;
    style.underline = true;
    if (cut > 0) {
        text.remove(at, cut);
        text.restyle(at + cut, written.size() - cut, [&](TextStyle& s) { s = style; });
    } else {
        text.restyle(at, written.size(), [&](TextStyle& s) {
            s.link = url;
            s.underline = true;
        });
    }
}

void styleCode(AttributedText& text, bool isMine) {
    const QString& s = text.text();
    for (qsizetype i = 0; i < s.size();) {
        const TextStyle first = text.styleAt(i);
        qsizetype end = i + 1;
        while (end < s.size() && text.styleAt(end).sameIntent(first))
            ++end;
        if (first.code) {
            const QUrl link = copyLink(s.sliced(i, end - i));
            text.restyle(i, end - i, [&](TextStyle& style) {
                if (!link.isEmpty()) style.link = link;
                style.underline = false;
                style.color = isMine ? TextColor::WhiteSoft : TextColor::Secondary;
            });
        }
        i = end;
    }
}

// Each link is looked up at the first place its written form appears in the
// styled text, which may hold it inside a Markdown link, a code span or an
// earlier copy. Shortening a link only removes characters, so the places are
// found once, up front, and a place that has lost characters no longer counts.
// (An address glued together from text on both sides of a removed prefix is
// not looked for.)
void styleWebLinks(AttributedText& text, const QString& source) {
    const QList<WebLink> links = webLinks(source);
    if (links.isEmpty()) return;
    QStringList needles;
    QHash<QString, int> needleIndex;
    for (const WebLink& link : links) {
        const QString written = source.sliced(link.start, link.length);
        if (!needleIndex.contains(written)) {
            needleIndex.insert(written, int(needles.size()));
            needles.append(written);
        }
    }
    const std::vector<std::vector<qsizetype>> places = MultiSearch(needles).findAll(text.text());
    std::vector<size_t> next(places.size(), 0);
    for (const WebLink& link : links) {
        const QString written = source.sliced(link.start, link.length);
        const size_t needle = size_t(needleIndex.value(written));
        const std::vector<qsizetype>& candidates = places[needle];
        size_t& k = next[needle];
        while (k < candidates.size() && text.anyRemoved(candidates[k], written.size()))
            ++k;
        if (k == candidates.size()) continue;
        applyWebLink(text, candidates[k], written, link.url);
    }
}

} // namespace

StyledText mentionStyled(const QString& text, bool isMine) {
    AttributedText styled(inlineMarkdown(text));
    styleMentions(styled, isMine);
    styleCode(styled, isMine);
    styleWebLinks(styled, text);
    return styled.spans();
}

QString mentionRichText(const QString& text, bool isMine, const RichTextPalette& palette) {
    return toRichText(mentionStyled(text, isMine), palette);
}
