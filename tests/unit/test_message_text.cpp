#include "conversations/Emoji.h"
#include "conversations/MessageBlocks.h"
#include "conversations/MessageDecor.h"
#include "conversations/MessageText.h"
#include "conversations/TextSearch.h"

#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <functional>

Q_DECLARE_METATYPE(QList<MessageBlock>)

namespace {

// Spans as one line: unstyled text stands as it is, styled text reads
// {text|flags@link}. Flags: B bold, I italic, S strike, C code, M mention,
// U underline; colours m mention, s secondary, w white, W soft white. Copy
// links show the text they copy, decoded, as copy:<text>.
QString describe(const StyledText& text) {
    QString out;
    for (const StyledSpan& span : text) {
        const TextStyle& s = span.style;
        QString flags;
        if (s.bold) flags += u'B';
        if (s.italic) flags += u'I';
        if (s.strike) flags += u'S';
        if (s.code) flags += u'C';
        if (s.mention) flags += u'M';
        if (s.underline) flags += u'U';
        const char* colors[] = {"", "m", "s", "w", "W"};
        flags += QLatin1String(colors[int(s.color)]);
        QString link;
        if (s.link.scheme() == u"velmarin" && s.link.host() == u"copy")
            link = u"@copy:"_qs +
                   QUrl::fromPercentEncoding(s.link.path(QUrl::FullyEncoded).mid(1).toLatin1());
        else if (!s.link.isEmpty())
            link = u'@' + s.link.toString(QUrl::FullyEncoded);
        if (flags.isEmpty() && link.isEmpty())
            out += span.text;
        else
            out += u'{' + span.text + u'|' + flags + link + u'}';
    }
    return out;
}

QStringList describe(const QList<WebLink>& links, const QString& text) {
    QStringList out;
    for (const WebLink& l : links)
        out << text.mid(l.start, l.length) + u" -> "_qs + l.url.toString();
    return out;
}

MessageBlock table(QStringList header, QList<QStringList> rows, QList<TableAlign> aligns) {
    return MessageBlock::makeTable(std::move(header), std::move(rows), std::move(aligns));
}

constexpr auto L = TableAlign::Leading;
constexpr auto C = TableAlign::Center;
constexpr auto T = TableAlign::Trailing;

struct Fragment {
    QString text;
    QTextCharFormat format;
};

QList<Fragment> renderedFragments(const QString& html) {
    QTextDocument doc;
    doc.setHtml(html);
    QList<Fragment> out;
    for (QTextBlock b = doc.begin(); b != doc.end(); b = b.next())
        for (auto it = b.begin(); !it.atEnd(); ++it)
            out.append({it.fragment().text(), it.fragment().charFormat()});
    return out;
}

Fragment fragmentWith(const QList<Fragment>& fragments, const QString& text) {
    for (const Fragment& f : fragments)
        if (f.text == text) return f;
    return {};
}

QString renderedPlain(const QString& html) {
    QTextDocument doc;
    doc.setHtml(html);
    return doc.toPlainText();
}


} // namespace

class TestMessageText : public QObject {
    Q_OBJECT

private slots:
    void blocks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<MessageBlock>>("expected");
        using B = QList<MessageBlock>;
        auto text = [](const char* t) { return MessageBlock::makeText(QString::fromUtf8(t)); };

        QTest::newRow("no pipe keeps text as it stands") << "  hi\n\n there \n"
                                                         << B{text("  hi\n\n there \n")};
        QTest::newRow("pipe without delimiter") << "a|b" << B{text("a|b")};
        QTest::newRow("aligns and padded row")
            << "|a|b|\n|---|:-:|\n|1|" << B{table({"a", "b"}, {{"1", ""}}, {L, C})};
        QTest::newRow("long row is cut")
            << "a|b\n-|-\n1|2|3" << B{table({"a", "b"}, {{"1", "2"}}, {L, L})};
        QTest::newRow("escaped pipe stays in the cell")
            << "x\\|y|z\n--|--\nq\\\\|r" << B{table({"x|y", "z"}, {{"q\\", "r"}}, {L, L})};
        QTest::newRow("text, table, text with blank lines trimmed")
            << "intro\n\n| h | i |\n|---|---|\n| v | w |\n\n\noutro\n"
            << B{text("intro"), table({"h", "i"}, {{"v", "w"}}, {L, L}), text("outro")};
        QTest::newRow("rows stop at a line without a pipe")
            << "|h|\n|-|\n|1|\nafter\n|2|" << B{table({"h"}, {{"1"}}, {L}), text("after\n|2|")};
        QTest::newRow("rows stop at a blank line")
            << "|h|\n|-|\n|1|\n  \t\n|2|" << B{table({"h"}, {{"1"}}, {L}), text("|2|")};
        QTest::newRow("all alignments, missing ones leading")
            << "|a|b|c|d|e|\n|:--|:-:|--:|---|"
            << B{table({"a", "b", "c", "d", "e"}, {}, {L, C, T, L, L})};
        QTest::newRow("table without data rows") << "|a|\n|-|" << B{table({"a"}, {}, {L})};
        QTest::newRow("dashes alone are no delimiter") << "a|b\n---" << B{text("a|b\n---")};
        QTest::newRow("colon cell is no delimiter") << "a|b\n:|-" << B{text("a|b\n:|-")};
        QTest::newRow("delimiter line cannot be a header")
            << "|--|--|\n|--|--|" << B{text("|--|--|\n|--|--|")};
        QTest::newRow("spaced delimiter cells")
            << "a | b\n :-- | --: \n1|2" << B{table({"a", "b"}, {{"1", "2"}}, {L, T})};
        QTest::newRow("CRLF lines") << "|a|b|\r\n|-|-|\r\n|1|2|\r\n"
                                    << B{table({"a", "b"}, {{"1", "2"}}, {L, L})};
        QTest::newRow("two tables back to back")
            << "|a|\n|-|\n|1|\n\n|b|\n|-|\n|2|"
            << B{table({"a"}, {{"1"}}, {L}), table({"b"}, {{"2"}}, {L})};
        QTest::newRow("only whitespace around a pipe") << "  |  " << B{text("|")};
        QTest::newRow("header on the last line") << "x\n|a|b|" << B{text("x\n|a|b|")};
    }
    void blocks() {
        QFETCH(QString, text);
        QFETCH(QList<MessageBlock>, expected);
        const QList<MessageBlock> got = parseMessageBlocks(text);
        QCOMPARE(got.size(), expected.size());
        for (qsizetype i = 0; i < got.size(); ++i) {
            QCOMPARE(int(got[i].kind), int(expected[i].kind));
            QCOMPARE(got[i].text, expected[i].text);
            QCOMPARE(got[i].header, expected[i].header);
            QCOMPARE(got[i].rows, expected[i].rows);
            QCOMPARE(got[i].aligns, expected[i].aligns);
        }
    }

    void columnAlignPastTheEnd() {
        const MessageBlock t = table({"a", "b"}, {}, {T});
        QCOMPARE(tableColumnAlign(t, 0), T);
        QCOMPARE(tableColumnAlign(t, 1), L);
        QCOMPARE(tableColumnAlign(t, -1), L);
    }

    void markdown_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << "plain text"
                               << "plain text";
        QTest::newRow("inline styles") << "**b** *i* ~~s~~ `c`"
                                       << "{b|B} {i|I} {s|S} {c|C}";
        QTest::newRow("underscore forms") << "_i_ __b__"
                                          << "{i|I} {b|B}";
        QTest::newRow("single tilde strikes") << "~x~"
                                              << "{x|S}";
        QTest::newRow("three tildes are text") << "~~~x~~~"
                                               << "~~~x~~~";
        QTest::newRow("bold italic") << "***bi***"
                                     << "{bi|BI}";
        QTest::newRow("nested") << "**a *b* c**"
                                << "{a |B}{b|BI}{ c|B}";
        QTest::newRow("intraword star") << "a*b*c"
                                        << "a{b|I}c";
        QTest::newRow("intraword underscore is text") << "snake_case_name"
                                                      << "snake_case_name";
        QTest::newRow("rule of three") << "*a**b*"
                                       << "{a**b|I}";
        QTest::newRow("unmatched") << "**open *half"
                                   << "**open *half";
        QTest::newRow("spaced stars are text") << "a * b * c"
                                               << "a * b * c";
        QTest::newRow("block syntax stays literal") << "# Title\n- item\n> quote\n1. one"
                                                    << "# Title\n- item\n> quote\n1. one";
        QTest::newRow("whitespace preserved") << "a  b\n\n  c\t \n"
                                              << "a  b\n\n  c\t \n";
        QTest::newRow("escapes") << "\\*not\\* \\_x\\_ \\q"
                                 << "*not* _x_ \\q";
        QTest::newRow("backslash newline keeps the break") << "a\\\nb"
                                                           << "a\nb";
        QTest::newRow("double backtick code") << "`` a`b ``"
                                              << "{a`b|C}";
        QTest::newRow("code keeps inner syntax") << "`**x** [a](b)`"
                                                 << "{**x** [a](b)|C}";
        QTest::newRow("unclosed backticks") << "`x ``y"
                                            << "`x ``y";
        QTest::newRow("escaped backtick then code") << "\\``x`"
                                                    << "`{x|C}";
        QTest::newRow("code beats emphasis") << "*a `b*` c*"
                                             << "{a |I}{b*|IC}{ c|I}";
        QTest::newRow("inline link") << "see [t](https://x.y/p)"
                                     << "see {t|@https://x.y/p}";
        QTest::newRow("link with title and emphasis") << "[*a* b](<u v> \"title\")"
                                                      << "{a|I@u%20v}{ b|@u%20v}";
        QTest::newRow("link destination with balanced parens") << "[w](https://e.org/A_(b))"
                                                               << "{w|@https://e.org/A_(b)}";
        QTest::newRow("reference form is text") << "[t] and [t][x]"
                                                << "[t] and [t][x]";
        QTest::newRow("broken destination is text") << "[t](a b)"
                                                    << "[t](a b)";
        QTest::newRow("links do not nest") << "[a [b](c)](d)"
                                           << "[a {b|@c}](d)";
        QTest::newRow("image is a bang and a link") << "![alt](p.png)"
                                                    << "!{alt|@p.png}";
        QTest::newRow("autolink") << "<https://x.y/a>"
                                  << "{https://x.y/a|@https://x.y/a}";
        QTest::newRow("mail autolink") << "<me@host.org>"
                                       << "{me@host.org|@mailto:me@host.org}";
        QTest::newRow("html is text") << "<b>x</b> &amp;"
                                      << "<b>x</b> &amp;";
        QTest::newRow("emphasis inside link closes there") << "*[a*](u)"
                                                           << "*{a*|@u}";
        QTest::newRow("empty") << ""
                               << "";
    }
    void markdown() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(describe(inlineMarkdown(text)), expected);
    }

    void mentions_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isMine");
        QTest::addColumn<QString>("expected");
        QTest::newRow("mention") << "hi @ana!" << false << "hi {@ana|Mm@velmarin://user/ana}!";
        QTest::newRow("mine is white") << "@ana" << true << "{@ana|Mw@velmarin://user/ana}";
        QTest::newRow("one mention with punctuation")
            << "@a.b-c_d" << false << "{@a.b-c_d|Mm@velmarin://user/a.b-c_d}";
        QTest::newRow("at sign alone") << "@ and @!" << false << "@ and @!";
        QTest::newRow("mail address matches from the at")
            << "me@host" << false << "me{@host|Mm@velmarin://user/host}";
        QTest::newRow("mention across markdown runs")
            << "@a**b**" << false << "{@a|Mm@velmarin://user/ab}{b|BMm@velmarin://user/ab}";
        QTest::newRow("mention inside code copies the code")
            << "`hi @x`" << false << "{hi |Cs@copy:hi @x}{@x|CMs@copy:hi @x}";
        QTest::newRow("code copies its text")
            << "run `a/b c%` now" << false << "run {a/b c%|Cs@copy:a/b c%} now";
        QTest::newRow("code on my bubble") << "`x`" << true << "{x|CW@copy:x}";
        QTest::newRow("bold code is its own run")
            << "`a`**`b`**" << false << "{a|Cs@copy:a}{b|BCs@copy:b}";
        QTest::newRow("code with a url stays code")
            << "`https://x.com/a`" << false << "{https://x.com/a|Cs@copy:https://x.com/a}";
        QTest::newRow("pretty web link") << "see https://www.Sample.test/a ok" << false
                                         << "see {Sample.test/a|U@https://www.sample.test/a} ok";
        QTest::newRow("upper-case scheme") << "HTTP://x.y" << false << "{x.y|U@http://x.y}";
        QTest::newRow("bare host keeps its text")
            << "go to example.com/x." << false << "go to {example.com/x|U@http://example.com/x}.";
        QTest::newRow("same url twice, both prettified")
            << "https://a.io and https://a.io" << false
            << "{a.io|U@https://a.io} and {a.io|U@https://a.io}";
        QTest::newRow("same bare host twice, second found linked")
            << "a.io a.io" << false << "{a.io|U@http://a.io} a.io";
        QTest::newRow("markdown link stays as written")
            << "[https://x.com](https://x.com)" << false << "{https://x.com|@https://x.com}";
        QTest::newRow("bold link keeps bold")
            << "**https://x.com**" << false << "{x.com|BU@https://x.com}";
        QTest::newRow("url wins over a mention inside it")
            << "https://x.com/@bob" << false << "{x.com/@bob|U@https://x.com/@bob}";
        QTest::newRow("mail address is a mention, not a web link")
            << "write a@b.com" << false << "write a{@b.com|Mm@velmarin://user/b.com}";
        QTest::newRow("parenthesised url") << "(see https://x.com/a_(b))." << false
                                           << "(see {x.com/a_(b)|U@https://x.com/a_(b)}).";
        QTest::newRow("url ends at a table pipe")
            << "https://x.com|y" << false << "{x.com|U@https://x.com}|y";
        QTest::newRow("url removed by markdown is not found")
            << "`code` https://q.io/`x`" << false
            << "{code|Cs@copy:code} {q.io/|U@https://q.io/}{x|Cs@copy:x}";
    }
    void mentions() {
        QFETCH(QString, text);
        QFETCH(bool, isMine);
        QFETCH(QString, expected);
        QCOMPARE(describe(mentionStyled(text, isMine)), expected);
    }

    // The copy link must survive a round trip through any URL handler: only
    // unreserved ASCII and percent escapes after the prefix.
    void copyLinksAreFullyEncoded() {
        const QString code = u"a b/c?d#e&f\"g<h>ü😀%"_qs;
        const StyledText styled = mentionStyled(u'`' + code + u'`', false);
        QCOMPARE(styled.size(), 1);
        const QString href = styled[0].style.link.toString(QUrl::FullyEncoded);
        QVERIFY(href.startsWith(u"velmarin://copy/"));
        const QString encoded = href.mid(16);
        for (QChar c : encoded)
            QVERIFY2(c.isLetterOrNumber() || QStringView(u"%-._~").contains(c), qPrintable(href));
        QCOMPARE(QUrl::fromPercentEncoding(encoded.toLatin1()), code);
    }

    // The one-pass search behind web-link lookup: needles that share prefixes
    // and suffixes, overlapping and repeated occurrences.
    void multiSearch_data() {
        QTest::addColumn<QStringList>("needles");
        QTest::addColumn<QString>("haystack");
        QTest::addColumn<QString>("expected");
        QTest::newRow("classic") << QStringList{"he", "she", "his", "hers"} << "ushers"
                                 << "he:2 she:1 his: hers:2";
        QTest::newRow("overlapping") << QStringList{"aa", "a"} << "aaa"
                                     << "aa:0,1 a:0,1,2";
        QTest::newRow("suffix chain")
            << QStringList{"https://a.io", "a.io", "io"} << "x https://a.io a.io"
            << "https://a.io:2 a.io:10,15 io:12,17";
        QTest::newRow("absent and empty") << QStringList{"zz", ""} << "abc"
                                          << "zz: :";
        QTest::newRow("non-ascii") << QStringList{u"\u00e9t\u00e9"_qs}
                                   << u"\u00e9t\u00e9 \u00e9t\u00e9"_qs << u"\u00e9t\u00e9:0,4"_qs;
    }
    void multiSearch() {
        QFETCH(QStringList, needles);
        QFETCH(QString, haystack);
        QFETCH(QString, expected);
        const auto found = MultiSearch(needles).findAll(haystack);
        QStringList got;
        for (qsizetype i = 0; i < needles.size(); ++i) {
            QStringList starts;
            for (qsizetype at : found[size_t(i)])
                starts << QString::number(at);
            got << needles[i] + u':' + starts.join(u',');
        }
        QCOMPARE(got.join(u' '), expected);
    }

    void webLinks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("empty") << "" << QStringList{};
        QTest::newRow("none") << "no links here." << QStringList{};
        QTest::newRow("scheme") << "a https://x.com/p?q=1#f b"
                                << QStringList{"https://x.com/p?q=1#f -> https://x.com/p?q=1#f"};
        QTest::newRow("www") << "www.x.org/a" << QStringList{"www.x.org/a -> http://www.x.org/a"};
        QTest::newRow("bare host and port")
            << "x.io:8080/a" << QStringList{"x.io:8080/a -> http://x.io:8080/a"};
        QTest::newRow("localhost with scheme")
            << "http://localhost:8391/x"
            << QStringList{"http://localhost:8391/x -> http://localhost:8391/x"};
        QTest::newRow("other schemes dropped")
            << "ftp://x.com mailto:a@b.com tel:123 velmarin://user/a" << QStringList{};
        QTest::newRow("file names are not hosts")
            << "see README.md, main.rs, setup.py and Store.swift" << QStringList{};
        QTest::newRow("numbers are not hosts") << "pi is 3.14 or v1.2.3" << QStringList{};
        QTest::newRow("scheme alone") << "https:// and http://" << QStringList{};
        QTest::newRow("glued scheme") << "xhttps://a.com" << QStringList{};
        QTest::newRow("unknown domain") << "foo.comx bar.local" << QStringList{};
        QTest::newRow("trailing punctuation")
            << "Visit https://x.com/a. Or x.com!"
            << QStringList{"https://x.com/a -> https://x.com/a", "x.com -> http://x.com"};
        QTest::newRow("angle brackets and quotes")
            << "<https://x.com> \"https://y.com\""
            << QStringList{"https://x.com -> https://x.com", "https://y.com -> https://y.com"};
        QTest::newRow("unbalanced bracket ends it")
            << "[https://x.com](https://y.com)"
            << QStringList{"https://x.com -> https://x.com", "https://y.com -> https://y.com"};
        QTest::newRow("ipv6 host")
            << "http://[::1]:80/a" << QStringList{"http://[::1]:80/a -> http://[::1]:80/a"};
        QTest::newRow("non-ascii path")
            << "https://fr.wiki.org/Été"
            << QStringList{"https://fr.wiki.org/Été -> https://fr.wiki.org/Été"};
    }
    void webLinks() {
        QFETCH(QString, text);
        QFETCH(QStringList, expected);
        QCOMPARE(describe(::webLinks(text), text), expected);
    }

    void prettyLink_data() {
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("expected");
        QTest::newRow("https www") << "https://www.Sample.test/a"
                                   << "Sample.test/a";
        QTest::newRow("upper case") << "HTTP://WWW.A.B/C?Q"
                                    << "A.B/C?Q";
        QTest::newRow("one scheme only") << "http://https://x"
                                         << "https://x";
        QTest::newRow("www only") << "www.x.io"
                                  << "x.io";
        QTest::newRow("other scheme") << "ftp://www.x"
                                      << "ftp://www.x";
        QTest::newRow("www needs its dot") << "wwwx.com"
                                           << "wwwx.com";
        QTest::newRow("empty") << ""
                               << "";
    }
    void prettyLink() {
        QFETCH(QString, link);
        QFETCH(QString, expected);
        QCOMPARE(::prettyLink(link), expected);
    }

    void displayNormalizedLinks_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("two links") << "see https://www.x.com/a and http://y.io!"
                                   << "see x.com/a and y.io!";
        QTest::newRow("no links unchanged") << "  just text\n"
                                            << "  just text\n";
        QTest::newRow("markdown around") << "**https://x.com**"
                                         << "**x.com**";
    }
    void displayNormalizedLinks() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(::displayNormalizedLinks(text), expected);
    }

    void emojiOnly_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        const QString thumbs = u"\U0001F44D"_qs;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("spaces") << " \n\t " << false;
        QTest::newRow("one") << thumbs << true;
        QTest::newRow("spaced") << thumbs + u" \n\u3000"_qs + thumbs << true;
        QTest::newRow("eight") << thumbs.repeated(8) << true;
        QTest::newRow("nine") << thumbs.repeated(9) << false;
        QTest::newRow("letter") << "a" << false;
        QTest::newRow("emoji and letter") << thumbs + u"a"_qs << false;
        QTest::newRow("digit") << "1" << false;
        QTest::newRow("number sign") << "#" << false;
        QTest::newRow("keycap") << u"1\uFE0F\u20E3"_qs << true;
        QTest::newRow("copyright with selector") << u"\u00A9\uFE0F"_qs << true;
        QTest::newRow("copyright alone") << u"\u00A9"_qs << false;
        QTest::newRow("heart with selector") << u"\u2764\uFE0F"_qs << true;
        QTest::newRow("heart alone") << u"\u2764"_qs << false;
        QTest::newRow("family is one")
            << u"\U0001F468\u200D\U0001F469\u200D\U0001F467"_qs.repeated(8) << true;
        QTest::newRow("flags") << u"\U0001F1EB\U0001F1F7\U0001F1E9\U0001F1EA"_qs << true;
        QTest::newRow("skin tone") << u"\U0001F44D\U0001F3FD"_qs << true;
        QTest::newRow("lone surrogate") << QString(QChar(0xD83D)) << false;
    }
    void emojiOnly() {
        QFETCH(QString, text);
        QFETCH(bool, expected);
        QCOMPARE(isEmojiOnly(text), expected);
    }

    void quickReactionsInOrder() {
        QCOMPARE(quickReactions(),
                 (QStringList{u"\U0001F44D"_qs, u"\u2764\uFE0F"_qs, u"\U0001F602"_qs,
                              u"\U0001F525"_qs, u"\U0001F389"_qs, u"\U0001F44E"_qs}));
    }

    void senderColor_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("index");
        QTest::newRow("empty") << "" << 5;
        QTest::newRow("a") << "a" << 4;
        QTest::newRow("utf-8 bytes") << u"é"_qs << 1;
        QTest::newRow("Ana") << "Ana" << 1;
        QTest::newRow("wraps") << "velmarin-agent-with-a-long-name-0123456789" << 3;
    }
    void senderColor() {
        QFETCH(QString, name);
        QFETCH(int, index);
        QCOMPARE(::senderColor(name), senderPalette()[index]);
    }

    void senderPaletteValues() {
        QCOMPARE(senderPalette().size(), 6);
        const QColor c = senderPalette()[2];
        QCOMPARE(qRound(c.redF() * 100), 42);
        QCOMPARE(qRound(c.greenF() * 100), 65);
        QCOMPARE(qRound(c.blueF() * 100), 85);
        QCOMPARE(c.alpha(), 255);
    }

    void fileIcons_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("chip");
        QTest::addColumn<QString>("composer");
        const QString code = u"chevron.left.forwardslash.chevron.right"_qs;
        QTest::newRow("pdf") << "Report.PDF"
                             << "doc.richtext"
                             << "doc.richtext";
        QTest::newRow("rar") << "x.rar"
                             << "doc.zipper"
                             << "doc";
        QTest::newRow("tar.gz") << "a/b.tar.gz"
                                << "doc.zipper"
                                << "doc.zipper";
        QTest::newRow("png") << "p.png"
                             << "doc"
                             << "photo";
        QTest::newRow("svg") << "s.svg"
                             << "photo"
                             << "photo";
        QTest::newRow("tiff") << "s.tiff"
                              << "photo"
                              << "doc";
        QTest::newRow("cpp") << "m.cpp" << code << "doc";
        QTest::newRow("swift") << "Store.swift" << code << code;
        QTest::newRow("aac") << "v.aac"
                             << "waveform"
                             << "doc";
        QTest::newRow("m4a") << "v.m4a"
                             << "waveform"
                             << "waveform";
        QTest::newRow("mov") << "f.mov"
                             << "doc"
                             << "film";
        QTest::newRow("md") << "n.md"
                            << "doc.text"
                            << "doc";
        QTest::newRow("csv") << "t.csv"
                             << "tablecells"
                             << "doc";
        QTest::newRow("no extension") << "README"
                                      << "doc"
                                      << "doc";
        QTest::newRow("dot in folder only") << "dir.pdf/readme"
                                            << "doc"
                                            << "doc";
        QTest::newRow("trailing dot") << "x.pdf."
                                      << "doc"
                                      << "doc";
    }
    void fileIcons() {
        QFETCH(QString, name);
        QFETCH(QString, chip);
        QFETCH(QString, composer);
        QCOMPARE(FileChip::fileIcon(name), chip);
        QCOMPARE(FileComposer::icon(name), composer);
    }

    // What Qt's rich text makes of the HTML: the same characters as the styled
    // text, nothing from the message read as markup.
    void richTextKeepsTextExactly_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("markup is text") << "<script>x</script> & <b>not</b> &amp; \"q\" 'a'"
                                        << "<script>x</script> & <b>not</b> &amp; \"q\" 'a'";
        QTest::newRow("whitespace") << "  a   b\n\n\tc  \n  d"
                                    << "  a   b\n\n\tc  \n  d";
        QTest::newRow("leading newlines") << "\n\nx"
                                          << "\n\nx";
        QTest::newRow("styles drop only syntax") << "**b** `c` @m https://www.x.io"
                                                 << "b c @m x.io";
        QTest::newRow("quote in link") << "[a](https://x.io/\"onmouseover=\"x)"
                                       << "a";
    }
    void richTextKeepsTextExactly() {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        const QString html = mentionRichText(text, false);
        QCOMPARE(renderedPlain(html), shown);
        for (const Fragment& f : renderedFragments(html))
            QVERIFY2(f.format.fontWeight() <= QFont::Normal || text.contains(u"**"),
                     qPrintable(f.text));
    }

    void richTextStyles() {
        RichTextPalette palette;
        palette.mention = QColor(1, 2, 3);
        palette.secondary = QColor(4, 5, 6);
        palette.codeBackground = QColor(7, 8, 9, 10);
        const QString text = u"@ana `co de` https://x.io ~~s~~ *i*"_qs;

        const QList<Fragment> theirs = renderedFragments(mentionRichText(text, false, palette));
        const Fragment mention = fragmentWith(theirs, u"@ana"_qs);
        QCOMPARE(mention.format.anchorHref(), u"velmarin://user/ana"_qs);
        QCOMPARE(mention.format.fontWeight(), int(QFont::Bold));
        QVERIFY(!mention.format.fontUnderline());
        QCOMPARE(mention.format.foreground().color(), palette.mention);
        const Fragment code = fragmentWith(theirs, u"co de"_qs);
        QVERIFY(code.format.anchorHref().startsWith(u"velmarin://copy/co"));
        QVERIFY(code.format.fontFamilies().toStringList().contains(u"monospace"_qs));
        QCOMPARE(code.format.background().color(), palette.codeBackground);
        QCOMPARE(code.format.foreground().color(), palette.secondary);
        QVERIFY(!code.format.fontUnderline());
        const Fragment web = fragmentWith(theirs, u"x.io"_qs);
        QCOMPARE(web.format.anchorHref(), u"https://x.io"_qs);
        QVERIFY(web.format.fontUnderline());
        QVERIFY(fragmentWith(theirs, u"s"_qs).format.fontStrikeOut());
        QVERIFY(fragmentWith(theirs, u"i"_qs).format.fontItalic());

        const QList<Fragment> mine = renderedFragments(mentionRichText(text, true, palette));
        QCOMPARE(fragmentWith(mine, u"@ana"_qs).format.foreground().color(), QColor(Qt::white));
        QCOMPARE(fragmentWith(mine, u"co de"_qs).format.foreground().color(),
                 QColor(255, 255, 255, 217));
    }
};

QTEST_MAIN(TestMessageText)
#include "test_message_text.moc"
