#include "conversations/InlineMarkdown.h"

#include <array>
#include <vector>

// The emphasis rules are those of CommonMark (flanking delimiter runs, the
// rule of three, openers_bottom so that matching stays linear), with GitHub's
// strikethrough; links never nest. Nodes form a linked list so that matching
// can insert style markers in constant time; one final pass turns markers
// into span styles.

namespace {

// A link tail longer than this is taken as text, which bounds the work a run
// of unclosed "[](" can cause.
constexpr qsizetype kMaxLinkTail = 4096;
constexpr int kMaxParenDepth = 32;

enum class Marker : uint8_t {
    None,
    EmOpen,
    EmClose,
    StrongOpen,
    StrongClose,
    StrikeOpen,
    StrikeClose,
    LinkOpen,
    LinkClose
};

struct Node {
    QString text;
    Marker marker = Marker::None;
    bool code = false;
    QUrl link; // LinkOpen only
    int prev = -1;
    int next = -1;
};

struct Delim {
    int node = -1;
    char16_t ch = 0;
    int count = 0;
    int origCount = 0;
    bool canOpen = false;
    bool canClose = false;
    int prev = -1;
    int next = -1;
};

struct Bracket {
    int node = -1;
    int delimBottom = -1;
};

bool isAsciiPunct(char32_t c) {
    return (c >= 0x21 && c <= 0x2f) || (c >= 0x3a && c <= 0x40) || (c >= 0x5b && c <= 0x60) ||
           (c >= 0x7b && c <= 0x7e);
}

bool isUnicodeSpace(char32_t c) {
    return c == u'\t' || c == u'\n' || c == u'\f' || c == u'\r' ||
           QChar::category(c) == QChar::Separator_Space;
}

bool isUnicodePunct(char32_t c) {
    if (c < 0x80) return isAsciiPunct(c);
    switch (QChar::category(c)) {
    case QChar::Punctuation_Connector:
    case QChar::Punctuation_Dash:
    case QChar::Punctuation_Open:
    case QChar::Punctuation_Close:
    case QChar::Punctuation_InitialQuote:
    case QChar::Punctuation_FinalQuote:
    case QChar::Punctuation_Other:
        return true;
    default:
        return false;
    }
}

// The code point that ends just before `i`, or a newline at the start.
char32_t codePointBefore(QStringView s, qsizetype i) {
    if (i <= 0) return u'\n';
    const QChar lo = s[i - 1];
    if (lo.isLowSurrogate() && i >= 2 && s[i - 2].isHighSurrogate())
        return QChar::surrogateToUcs4(s[i - 2], lo);
    return lo.unicode();
}

char32_t codePointAt(QStringView s, qsizetype i) {
    if (i >= s.size()) return u'\n';
    const QChar hi = s[i];
    if (hi.isHighSurrogate() && i + 1 < s.size() && s[i + 1].isLowSurrogate())
        return QChar::surrogateToUcs4(hi, s[i + 1]);
    return hi.unicode();
}

qsizetype runLength(QStringView s, qsizetype i, QChar c) {
    qsizetype j = i;
    while (j < s.size() && s[j] == c)
        ++j;
    return j - i;
}

// Every maximal backtick run, indexed by length, so that a code span finds its
// closing run by binary search instead of rescanning the text.
class BacktickRuns {
public:
    explicit BacktickRuns(QStringView s) {
        for (qsizetype i = 0; i < s.size();) {
            if (s[i] != u'`') {
                ++i;
                continue;
            }
            const qsizetype n = runLength(s, i, u'`');
            if (size_t(n) >= m_byLength.size()) m_byLength.resize(size_t(n) + 1);
            m_byLength[size_t(n)].push_back(i);
            i += n;
        }
    }

    // Start of the first run of exactly `length` backticks at or after `from`.
    qsizetype find(qsizetype length, qsizetype from) const {
        if (size_t(length) >= m_byLength.size()) return -1;
        const auto& starts = m_byLength[size_t(length)];
        const auto it = std::lower_bound(starts.begin(), starts.end(), from);
        return it == starts.end() ? -1 : *it;
    }

private:
    std::vector<std::vector<qsizetype>> m_byLength;
};

QString codeContent(QStringView raw) {
    const bool padded = raw.size() >= 2 && raw.startsWith(u' ') && raw.endsWith(u' ');
    if (padded) {
        for (QChar c : raw)
            if (c != u' ') return raw.sliced(1, raw.size() - 2).toString();
    }
    return raw.toString();
}

struct LinkTail {
    qsizetype end = -1; // one past ')', or -1 when there is no link tail
    QString destination;
};

class TailScanner {
public:
    TailScanner(QStringView s, qsizetype from)
        : m_s(s), m_p(from), m_limit(std::min(s.size(), from + kMaxLinkTail)) {}

    LinkTail scan() {
        if (!take(u'(')) return {};
        skipSpace();
        QString dest;
        if (!destination(dest)) return {};
        const bool spaced = skipSpace();
        if (spaced && !title()) return {};
        skipSpace();
        if (!take(u')')) return {};
        return {m_p, dest};
    }

private:
    bool atEnd() const { return m_p >= m_limit; }
    QChar peek() const { return m_s[m_p]; }
    bool take(QChar c) {
        if (atEnd() || peek() != c) return false;
        ++m_p;
        return true;
    }
    bool escapeAhead() const {
        return peek() == u'\\' && m_p + 1 < m_limit && isAsciiPunct(m_s[m_p + 1].unicode());
    }

    // Spaces and tabs with at most one line break; true if any were skipped.
    bool skipSpace() {
        const qsizetype start = m_p;
        bool newline = false;
        while (!atEnd() && (peek() == u' ' || peek() == u'\t' || peek() == u'\n')) {
            if (peek() == u'\n') {
                if (newline) break;
                newline = true;
            }
            ++m_p;
        }
        return m_p > start;
    }

    bool destination(QString& out) {
        if (take(u'<')) {
            while (!atEnd() && peek() != u'>') {
                if (peek() == u'<' || peek() == u'\n') return false;
                if (escapeAhead()) ++m_p;
                out.append(m_s[m_p++]);
            }
            return take(u'>');
        }
        int depth = 0;
        while (!atEnd()) {
            const QChar c = peek();
            if (c.unicode() <= 0x20 || c.unicode() == 0x7f) break;
            if (c == u'(' && ++depth > kMaxParenDepth) return false;
            if (c == u')' && depth-- == 0) break;
            if (escapeAhead()) ++m_p;
            out.append(m_s[m_p++]);
        }
        return depth <= 0;
    }

    bool title() {
        if (atEnd()) return true;
        const QChar open = peek();
        const QChar close = open == u'(' ? u')' : open;
        if (open != u'"' && open != u'\'' && open != u'(') return true;
        ++m_p;
        while (!atEnd() && peek() != close) {
            if (open == u'(' && peek() == u'(') return false;
            m_p += escapeAhead() ? 2 : 1;
        }
        return take(close);
    }

    QStringView m_s;
    qsizetype m_p;
    qsizetype m_limit;
};

bool isSchemeChar(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           c == u'+' || c == u'.' || c == u'-';
}

bool isEmailLocalChar(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           QStringView(u".!#$%&'*+/=?^_`{|}~-").contains(c);
}

// `<scheme:rest>` or `<local@domain>` starting at `s[i] == '<'`; returns the
// index of '>' or -1.
qsizetype autolinkEnd(QStringView s, qsizetype i, bool& email) {
    qsizetype p = i + 1;
    const qsizetype n = s.size();
    qsizetype scheme = 0;
    while (p + scheme < n && scheme <= 32 && isSchemeChar(s[p + scheme]))
        ++scheme;
    if (scheme >= 2 && scheme <= 32 && s[p].isLetter() && p + scheme < n && s[p + scheme] == u':') {
        for (qsizetype q = p + scheme + 1; q < n; ++q) {
            const char16_t c = s[q].unicode();
            if (c == u'>') return (email = false, q);
            if (c <= 0x20 || c == u'<' || c == 0x7f) return -1;
        }
        return -1;
    }
    qsizetype q = p;
    while (q < n && isEmailLocalChar(s[q]))
        ++q;
    if (q == p || q >= n || s[q] != u'@') return -1;
    const qsizetype domain = ++q;
    while (q < n && s[q].unicode() < 0x80 &&
           (s[q].isLetterOrNumber() || s[q] == u'-' || s[q] == u'.'))
        ++q;
    if (q == domain || q >= n || s[q] != u'>' || s[q - 1] == u'.' || s[domain] == u'.') return -1;
    email = true;
    return q;
}

QUrl linkUrl(const QString& destination) {
    if (destination.isEmpty()) return {};
    const QUrl url(destination, QUrl::TolerantMode);
    return url.isValid() ? url : QUrl();
}

class Parser {
public:
    explicit Parser(const QString& text) : m_s(text), m_ticks(m_s) {}

    StyledText run() {
        for (m_i = 0; m_i < m_s.size();)
            step();
        flushText();
        processEmphasis(-1);
        return styled();
    }

private:
    void step() {
        const QChar c = m_s[m_i];
        switch (c.unicode()) {
        case u'\\':
            return escape();
        case u'`':
            return codeSpan();
        case u'*':
        case u'_':
        case u'~':
            return delimiterRun(c);
        case u'[':
            return openBracket();
        case u']':
            return closeBracket();
        case u'<':
            return autolink();
        default:
            m_text.append(c);
            ++m_i;
        }
    }

    void escape() {
        const char32_t next = m_i + 1 < m_s.size() ? m_s[m_i + 1].unicode() : 0;
        if (isAsciiPunct(next) || next == u'\n') {
            m_text.append(QChar(char16_t(next)));
            m_i += 2;
        } else {
            m_text.append(u'\\');
            ++m_i;
        }
    }

    void codeSpan() {
        const qsizetype n = runLength(m_s, m_i, u'`');
        const qsizetype close = m_ticks.find(n, m_i + n);
        if (close < 0) {
            m_text.append(m_s.sliced(m_i, n));
            m_i += n;
            return;
        }
        flushText();
        const int node = append(codeContent(m_s.sliced(m_i + n, close - m_i - n)));
        m_nodes[node].code = true;
        m_i = close + n;
    }

    void delimiterRun(QChar c) {
        const qsizetype n = runLength(m_s, m_i, c);
        if (c == u'~' && n > 2) {
            m_text.append(m_s.sliced(m_i, n));
            m_i += n;
            return;
        }
        const char32_t before = codePointBefore(m_s, m_i);
        const char32_t after = codePointAt(m_s, m_i + n);
        const bool left =
            !isUnicodeSpace(after) &&
            (!isUnicodePunct(after) || isUnicodeSpace(before) || isUnicodePunct(before));
        const bool right =
            !isUnicodeSpace(before) &&
            (!isUnicodePunct(before) || isUnicodeSpace(after) || isUnicodePunct(after));
        Delim d;
        d.ch = c.unicode();
        d.count = d.origCount = int(n);
        if (c == u'_') {
            d.canOpen = left && (!right || isUnicodePunct(before));
            d.canClose = right && (!left || isUnicodePunct(after));
        } else {
            d.canOpen = left;
            d.canClose = right;
        }
        flushText();
        d.node = append(m_s.sliced(m_i, n).toString());
        m_i += n;
        if (d.canOpen || d.canClose) pushDelim(d);
    }

    void openBracket() {
        flushText();
        const int node = append(QStringLiteral("["));
        m_brackets.push_back({node, m_delimTail});
        ++m_i;
    }

    void closeBracket() {
        ++m_i;
        if (m_brackets.empty()) {
            m_text.append(u']');
            return;
        }
        const Bracket b = m_brackets.back();
        const bool active = m_brackets.size() > m_inactiveBelow;
        m_brackets.pop_back();
        m_inactiveBelow = std::min(m_inactiveBelow, m_brackets.size());
        const LinkTail tail = active ? TailScanner(m_s, m_i).scan() : LinkTail{};
        if (tail.end < 0) {
            m_text.append(u']');
            return;
        }
        flushText();
        processEmphasis(b.delimBottom);
        Node& open = m_nodes[size_t(b.node)];
        open.text.clear();
        open.marker = Marker::LinkOpen;
        open.link = linkUrl(tail.destination);
        appendMarker(Marker::LinkClose);
        m_inactiveBelow = m_brackets.size();
        m_i = tail.end;
    }

    void autolink() {
        bool email = false;
        const qsizetype close = autolinkEnd(m_s, m_i, email);
        if (close < 0) {
            m_text.append(u'<');
            ++m_i;
            return;
        }
        const QString content = m_s.sliced(m_i + 1, close - m_i - 1).toString();
        flushText();
        const int open = appendMarker(Marker::LinkOpen);
        m_nodes[size_t(open)].link = linkUrl(email ? QStringLiteral("mailto:") + content : content);
        append(content);
        appendMarker(Marker::LinkClose);
        m_i = close + 1;
    }

    // --- node list ---

    int append(const QString& text) {
        Node n;
        n.text = text;
        return link(n, m_tail, -1);
    }
    int appendMarker(Marker m) {
        Node n;
        n.marker = m;
        return link(n, m_tail, -1);
    }
    int link(Node n, int prev, int next) {
        const int id = int(m_nodes.size());
        n.prev = prev;
        n.next = next;
        m_nodes.push_back(std::move(n));
        if (prev >= 0)
            m_nodes[size_t(prev)].next = id;
        else
            m_head = id;
        if (next >= 0)
            m_nodes[size_t(next)].prev = id;
        else
            m_tail = id;
        return id;
    }
    void insertAfter(int node, Marker m) {
        Node n;
        n.marker = m;
        link(n, node, m_nodes[size_t(node)].next);
    }
    void insertBefore(int node, Marker m) {
        Node n;
        n.marker = m;
        link(n, m_nodes[size_t(node)].prev, node);
    }
    void flushText() {
        if (m_text.isEmpty()) return;
        append(m_text);
        m_text.clear();
    }

    // --- delimiters ---

    void pushDelim(Delim d) {
        d.prev = m_delimTail;
        const int id = int(m_delims.size());
        m_delims.push_back(d);
        if (m_delimTail >= 0) m_delims[size_t(m_delimTail)].next = id;
        m_delimTail = id;
    }
    void removeDelim(int id) {
        Delim& d = m_delims[size_t(id)];
        if (d.prev >= 0) m_delims[size_t(d.prev)].next = d.next;
        if (d.next >= 0)
            m_delims[size_t(d.next)].prev = d.prev;
        else
            m_delimTail = d.prev;
    }
    int firstDelimAbove(int bottom) const {
        if (bottom >= 0) return m_delims[size_t(bottom)].next;
        int d = m_delimTail;
        while (d >= 0 && m_delims[size_t(d)].prev >= 0)
            d = m_delims[size_t(d)].prev;
        return d;
    }

    static int charSlot(char16_t c) { return c == u'*' ? 0 : c == u'_' ? 1 : 2; }

    bool matches(const Delim& o, const Delim& c) const {
        if (o.ch != c.ch || !o.canOpen) return false;
        if (c.ch == u'~') return o.count == c.count;
        const bool bothCan = o.canClose || c.canOpen;
        const bool ruleOfThree =
            (o.origCount + c.origCount) % 3 == 0 && !(o.origCount % 3 == 0 && c.origCount % 3 == 0);
        return !(bothCan && ruleOfThree);
    }

    void processEmphasis(int bottom) {
        std::array<int, 3 * 2 * 3> openersBottom;
        openersBottom.fill(bottom);
        int closer = firstDelimAbove(bottom);
        while (closer >= 0) {
            const Delim& c = m_delims[size_t(closer)];
            if (!c.canClose) {
                closer = c.next;
                continue;
            }
            int& floor =
                openersBottom[size_t(charSlot(c.ch) * 6 + int(c.canOpen) * 3 + c.origCount % 3)];
            int opener = c.prev;
            while (opener >= 0 && opener != bottom && opener != floor &&
                   !matches(m_delims[size_t(opener)], c))
                opener = m_delims[size_t(opener)].prev;
            if (opener >= 0 && opener != bottom && opener != floor) {
                closer = applyMatch(opener, closer);
                continue;
            }
            floor = c.prev;
            const int next = c.next;
            if (!c.canOpen) removeDelim(closer);
            closer = next;
        }
        while (m_delimTail >= 0 && m_delimTail != bottom)
            removeDelim(m_delimTail);
    }

    // Wraps the nodes between opener and closer; returns the next closer.
    int applyMatch(int opener, int closer) {
        Delim& o = m_delims[size_t(opener)];
        Delim& c = m_delims[size_t(closer)];
        const int use = c.ch == u'~' ? c.count : (o.count >= 2 && c.count >= 2 ? 2 : 1);
        o.count -= use;
        c.count -= use;
        m_nodes[size_t(o.node)].text.chop(use);
        m_nodes[size_t(c.node)].text.remove(0, use);
        const auto [open, close] = c.ch == u'~' ? std::pair{Marker::StrikeOpen, Marker::StrikeClose}
                                   : use == 2   ? std::pair{Marker::StrongOpen, Marker::StrongClose}
                                                : std::pair{Marker::EmOpen, Marker::EmClose};
        insertAfter(o.node, open);
        insertBefore(c.node, close);
        for (int d = c.prev; d != opener;) {
            const int prev = m_delims[size_t(d)].prev;
            removeDelim(d);
            d = prev;
        }
        if (o.count == 0) removeDelim(opener);
        if (c.count > 0) return closer;
        const int next = c.next;
        removeDelim(closer);
        return next;
    }

    // --- output ---

    // Open emphasis, strong and strikethrough markers, and the open links.
    struct Open {
        int em = 0;
        int strong = 0;
        int strike = 0;
        std::vector<QUrl> links;

        void apply(const Node& n) {
            const bool opens = n.marker == Marker::EmOpen || n.marker == Marker::StrongOpen ||
                               n.marker == Marker::StrikeOpen;
            const int delta = opens ? 1 : -1;
            if (n.marker == Marker::EmOpen || n.marker == Marker::EmClose) em += delta;
            if (n.marker == Marker::StrongOpen || n.marker == Marker::StrongClose) strong += delta;
            if (n.marker == Marker::StrikeOpen || n.marker == Marker::StrikeClose) strike += delta;
            if (n.marker == Marker::LinkOpen) links.push_back(n.link);
            if (n.marker == Marker::LinkClose) links.pop_back();
        }

        TextStyle style(bool code) const {
            TextStyle s;
            s.italic = em > 0;
            s.bold = strong > 0;
            s.strike = strike > 0;
            s.code = code;
            s.link = links.empty() ? QUrl() : links.back();
            return s;
        }
    };

    StyledText styled() const {
        Open open;
        StyledText out;
        for (int id = m_head; id >= 0; id = m_nodes[size_t(id)].next) {
            const Node& n = m_nodes[size_t(id)];
            if (n.marker == Marker::None)
                appendStyled(out, n.text, open.style(n.code));
            else
                open.apply(n);
        }
        return out;
    }

    static void appendStyled(StyledText& out, const QString& text, const TextStyle& style) {
        if (text.isEmpty()) return;
        if (!out.isEmpty() && out.back().style == style)
            out.back().text.append(text);
        else
            out.append({text, style});
    }

    QStringView m_s;
    BacktickRuns m_ticks;
    qsizetype m_i = 0;
    QString m_text;
    std::vector<Node> m_nodes;
    int m_head = -1;
    int m_tail = -1;
    std::vector<Delim> m_delims;
    int m_delimTail = -1;
    std::vector<Bracket> m_brackets;
    size_t m_inactiveBelow = 0;
};

} // namespace

StyledText inlineMarkdown(const QString& text) {
    return Parser(text).run();
}
