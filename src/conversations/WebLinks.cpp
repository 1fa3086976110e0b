#include "conversations/WebLinks.h"

#include <QSet>

namespace {

// Bare host names link only under these domains. Domains that double as
// common file extensions (.md, .py, .rs, .sh, .pl, .cc, .so, .zip, .mov ...)
// are left out: agents mention file names far more often than sites.
const QSet<QString>& bareDomains() {
    static const QSet<QString> domains = [] {
        const QStringView list(u"com org net edu gov mil int io dev app ai co me info biz xyz site "
                               u"online tech cloud page blog shop store news live tv fm ly gg to "
                               u"eu uk us ca de fr ch be nl es it at se no dk fi pt ie lu jp cn "
                               u"in au nz br mx ar za kr tw hk sg ru ua cz gr hu ro is");
        QSet<QString> set;
        for (QStringView d : list.split(u' '))
            set.insert(d.toString());
        return set;
    }();
    return domains;
}

bool isHostChar(QChar c) {
    return c.unicode() < 0x80 && (c.isLetterOrNumber() || c == u'-');
}

// A link cannot start inside a word, a host name, a path or a mail address.
bool atStartBoundary(QStringView s, qsizetype i) {
    if (i == 0) return true;
    const QChar p = s[i - 1];
    return !p.isLetterOrNumber() && !QStringView(u"_-.@/:+%~#=&\\").contains(p);
}

bool endsUrl(QChar c) {
    return c.isSpace() || c.unicode() < 0x20 || c.unicode() == 0x7f ||
           QStringView(u"<>\"`{}|\\^").contains(c);
}

// One past the last character of the address whose path starts at `from`:
// stops at space and at a closing bracket that was never opened, then gives
// back trailing punctuation that belongs to the sentence.
qsizetype urlEnd(QStringView s, qsizetype from) {
    qsizetype end = from;
    int parens = 0;
    int squares = 0;
    for (; end < s.size() && !endsUrl(s[end]); ++end) {
        const QChar c = s[end];
        if (c == u'(') ++parens;
        if (c == u'[') ++squares;
        if ((c == u')' && parens-- == 0) || (c == u']' && squares-- == 0)) break;
    }
    while (end > from && QStringView(u".,:;!?'\"*_~").contains(s[end - 1]))
        --end;
    return end;
}

// Labels separated by dots, starting at `from`; returns one past the host and
// the start of its last label.
qsizetype hostEnd(QStringView s, qsizetype from, qsizetype& lastLabel, int& dots) {
    qsizetype p = from;
    lastLabel = from;
    dots = 0;
    while (p < s.size() && isHostChar(s[p])) {
        while (p < s.size() && isHostChar(s[p]))
            ++p;
        if (p + 1 < s.size() && s[p] == u'.' && isHostChar(s[p + 1])) {
            ++dots;
            lastLabel = ++p;
        } else {
            break;
        }
    }
    return p;
}

bool continuesIntoPath(QStringView s, qsizetype p) {
    return p < s.size() && (s[p] == u'/' || s[p] == u'?' || s[p] == u'#' ||
                            (s[p] == u':' && p + 1 < s.size() && s[p + 1].isDigit()));
}

bool hostFollowerOk(QStringView s, qsizetype p) {
    return p >= s.size() || !(s[p].isLetterOrNumber() || s[p] == u'_' || s[p] == u'@');
}

qsizetype schemeLength(QStringView s, qsizetype i) {
    // Most words start elsewhere: skip the case-folding comparisons for them.
    if (s[i] != u'h' && s[i] != u'H') return 0;
    const QStringView rest = s.sliced(i);
    if (rest.startsWith(u"https://", Qt::CaseInsensitive)) return 8;
    if (rest.startsWith(u"http://", Qt::CaseInsensitive)) return 7;
    return 0;
}

// The address starting at `i`, or -1; `withScheme` says whether the text
// carries its own scheme.
qsizetype matchAt(QStringView s, qsizetype i, bool& withScheme) {
    const qsizetype scheme = schemeLength(s, i);
    withScheme = scheme > 0;
    if (withScheme) {
        const qsizetype host = i + scheme;
        if (host >= s.size() || !(s[host].isLetterOrNumber() || s[host] == u'[')) return -1;
        return urlEnd(s, host);
    }
    qsizetype lastLabel = 0;
    int dots = 0;
    const qsizetype end = hostEnd(s, i, lastLabel, dots);
    if (dots == 0 || !hostFollowerOk(s, end)) return -1;
    const bool www = s.sliced(i).startsWith(u"www.", Qt::CaseInsensitive) && dots >= 2;
    const QString tld = s.sliced(lastLabel, end - lastLabel).toString().toLower();
    if (!www && !bareDomains().contains(tld)) return -1;
    return continuesIntoPath(s, end) ? urlEnd(s, end) : end;
}

} // namespace

QList<WebLink> webLinks(const QString& text) {
    QList<WebLink> links;
    const QStringView s(text);
    for (qsizetype i = 0; i < s.size();) {
        if (!s[i].isLetterOrNumber() || !atStartBoundary(s, i)) {
            ++i;
            continue;
        }
        bool withScheme = false;
        const qsizetype end = matchAt(s, i, withScheme);
        if (end <= i) {
            ++i;
            continue;
        }
        const QString source = s.sliced(i, end - i).toString();
        const QUrl url(withScheme ? source : QStringLiteral("http://") + source,
                       QUrl::TolerantMode);
        const QString scheme = url.scheme().toLower();
        if (url.isValid() && !url.host().isEmpty() && (scheme == u"http" || scheme == u"https"))
            links.append({i, end - i, url});
        i = end;
    }
    return links;
}

QString prettyLink(const QString& link) {
    QStringView rest(link);
    if (rest.startsWith(u"https://", Qt::CaseInsensitive))
        rest = rest.sliced(8);
    else if (rest.startsWith(u"http://", Qt::CaseInsensitive))
        rest = rest.sliced(7);
    if (rest.startsWith(u"www.", Qt::CaseInsensitive)) rest = rest.sliced(4);
    return rest.toString();
}

QString displayNormalizedLinks(const QString& text) {
    const QList<WebLink> links = webLinks(text);
    if (links.isEmpty()) return text;
    QString out;
    out.reserve(text.size());
    qsizetype cursor = 0;
    for (const WebLink& link : links) {
        if (link.start < cursor) continue;
        out.append(QStringView(text).sliced(cursor, link.start - cursor));
        out.append(prettyLink(text.sliced(link.start, link.length)));
        cursor = link.start + link.length;
    }
    out.append(QStringView(text).sliced(cursor));
    return out;
}
