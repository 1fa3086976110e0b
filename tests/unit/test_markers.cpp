#include "agent/Markers.h"
#include "model/IDCodec.h"

#include <QTest>

namespace {

const QString stx = QStringLiteral("\x02");

Message message(const QString& text, qint64 id = 100) {
    Message m;
    m.id = id;
    m.chatId = 1;
    m.senderId = 2;
    m.text = text;
    return m;
}

// Nil as an invalid QVariant, so optional results fit one table column.
template <typename T>
QVariant orNil(const std::optional<T>& value) {
    return value ? QVariant::fromValue(*value) : QVariant();
}

QVariant nil() {
    return QVariant();
}

std::optional<qint64> readId(const QString& reader, const Message& m) {
    if (reader == u"msg") return m.ccWorkingMsgId();
    if (reader == u"start") return m.ccWorkingStartId();
    if (reader == u"seen") return m.ccSeenMsgId();
    if (reader == u"for") return m.ccAnswersId();
    qFatal("unknown reader");
}

std::optional<QString> readString(const QString& reader, const Message& m) {
    if (reader == u"model") return m.ccModel();
    if (reader == u"account") return m.ccAccount();
    if (reader == u"effort") return m.ccEffort();
    qFatal("unknown reader");
}

QString tokensText(const std::optional<Message::CCTokens>& t) {
    if (!t) return QStringLiteral("nil");
    return QStringLiteral("%1,%2,%3,%4").arg(t->ctx).arg(t->warm).arg(t->fresh).arg(t->create);
}

const qint64 me = 1;
const qint64 agent = 2;
const qint64 bot = 3;
const qint64 otherPerson = 4;

// A conversation written as "10 me, 11 agent, 12 ctl": id, then who sent it or
// what kind of message it is.
QList<Message> conversation(const QString& layout) {
    QList<Message> out;
    for (QStringView item : QStringView(layout).tokenize(u',', Qt::SkipEmptyParts)) {
        const auto parts = item.trimmed().split(u' ');
        Message m = message(QStringLiteral("text"), parts[0].toLongLong());
        const QStringView kind = parts[1];
        m.senderId = kind == u"agent"   ? agent
                     : kind == u"bot"   ? bot
                     : kind == u"other" ? otherPerson
                                        : me;
        if (kind == u"ctl") m.text = stx + QStringLiteral("CCCTL{}");
        if (kind == u"work") m.text = QStringLiteral("💭 Claude is working…");
        out.append(m);
    }
    return out;
}

} // namespace

class TestMarkers : public QObject {
    Q_OBJECT

private slots:
    void wholeMessageKinds_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kinds");
        QTest::addColumn<QString>("noteText");
        QTest::newRow("control") << stx + "CCCTL{\"id\":\"A\"}"
                                 << "control"
                                 << "";
        QTest::newRow("control needs the byte") << "CCCTL{}"
                                                << ""
                                                << "";
        QTest::newRow("working") << "💭 Claude is working…\nReading files"
                                 << "working"
                                 << "";
        QTest::newRow("working not trimmed") << " 💭 Claude is working…"
                                             << ""
                                             << "";
        QTest::newRow("priority") << stx + "CCNOWfix it"
                                  << "priority"
                                  << "";
        QTest::newRow("priority stripped by relay") << "CCNOW fix it"
                                                    << "priority"
                                                    << "";
        QTest::newRow("priority only at start") << "fix it CCNOW"
                                                << ""
                                                << "";
        QTest::newRow("system note") << stx + "CCSYSchat.renamed"
                                     << "system"
                                     << "chat.renamed";
        QTest::newRow("system note stripped by relay") << "CCSYS note"
                                                       << "system"
                                                       << " note";
        QTest::newRow("system only at start") << " CCSYS"
                                              << ""
                                              << "";
    }
    void wholeMessageKinds() {
        QFETCH(QString, text);
        QFETCH(QString, kinds);
        QFETCH(QString, noteText);
        const Message m = message(text);
        QCOMPARE(m.isCCControl(), kinds == u"control");
        QCOMPARE(m.isCCWorking(), kinds == u"working");
        QCOMPARE(m.isPriority(), kinds == u"priority");
        QCOMPARE(m.isSystemNote(), kinds == u"system");
        QCOMPARE(m.systemNoteText(), m.isSystemNote() ? noteText : text);
    }

    void idMarkers_data() {
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("messageId");
        QTest::addColumn<QVariant>("expected");
        const qint64 onServer3 = IDCodec::encode(500, 3);
        QTest::newRow("first line decides")
            << "msg" << stx + "CCMSG=42\n" + stx + "CCMSG=43" << qint64(100) << QVariant(42LL);
        QTest::newRow("bad first line ends the search")
            << "msg"
            << "CCMSG=abc\nCCMSG=43" << qint64(100) << nil();
        QTest::newRow("tail trimmed of blanks")
            << "msg"
            << "💭 Claude is working…\n" + stx + "CCMSG= 42 \t" << qint64(100) << QVariant(42LL);
        QTest::newRow("tail must be whole") << "msg"
                                            << "CCMSG=42 more" << qint64(100) << nil();
        QTest::newRow("later line holds it")
            << "msg"
            << "Working\n\nCCMSG=8" << qint64(100) << QVariant(8LL);
        QTest::newRow("second key in the line is tail")
            << "msg"
            << "CCMSG=1 CCMSG=2" << qint64(100) << nil();
        QTest::newRow("largest id") << "msg"
                                    << "CCMSG=9223372036854775807" << qint64(100)
                                    << QVariant(std::numeric_limits<qint64>::max());
        QTest::newRow("overflow is no id") << "msg"
                                           << "CCMSG=9223372036854775808" << qint64(100) << nil();
        QTest::newRow("no marker") << "msg"
                                   << "CCSEEN=7" << qint64(100) << nil();
        QTest::newRow("seen after words") << "seen"
                                          << "some words CCSEEN=7" << qint64(100) << QVariant(7LL);
        QTest::newRow("start") << "start" << stx + "CCSTART=9" << qint64(100) << QVariant(9LL);
        QTest::newRow("answers") << "for"
                                 << "Done.\n" + stx + "CCFOR=12" << qint64(100) << QVariant(12LL);
        QTest::newRow("extra server id is global")
            << "msg"
            << "CCMSG=42" << onServer3 << QVariant(IDCodec::encode(42, 3));
    }
    void idMarkers() {
        QFETCH(QString, reader);
        QFETCH(QString, text);
        QFETCH(qint64, messageId);
        QFETCH(QVariant, expected);
        QCOMPARE(orNil(readId(reader, message(text, messageId))), expected);
    }

    void contextTokens_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("four counters") << stx + "CCTOK=100,90,10,5"
                                       << "100,90,10,5";
        QTest::newRow("older three") << "CCTOK=100,90,10"
                                     << "100,90,10,0";
        QTest::newRow("short line skipped") << "CCTOK=1,2\nCCTOK=1,2,3,4"
                                            << "1,2,3,4";
        QTest::newRow("junk dropped") << "CCTOK= 1 , 2 ,x, 3"
                                      << "1,2,3,0";
        QTest::newRow("empty items dropped") << "CCTOK=1,,2,,3,"
                                             << "1,2,3,0";
        QTest::newRow("five is too many") << "CCTOK=1,2,3,4,5"
                                          << "nil";
        QTest::newRow("too many then valid") << "CCTOK=1,2,3,4,5\nCCTOK=6,7,8"
                                             << "6,7,8,0";
        QTest::newRow("none") << "Reply without counters"
                              << "nil";
    }
    void contextTokens() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(tokensText(message(text).ccContextTokens()), expected);
        // Counters are no ids: a message of an extra server reads the same.
        QCOMPARE(tokensText(message(text, IDCodec::encode(5, 2)).ccContextTokens()), expected);
    }

    void stringMarkers_data() {
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("empty line skipped") << "model"
                                            << "CCMODEL=\nCCMODEL=x" << QVariant("x");
        QTest::newRow("first value wins") << "model"
                                          << "CCMODEL=a\nCCMODEL=b" << QVariant("a");
        QTest::newRow("trimmed, inner blanks kept")
            << "model" << stx + "CCMODEL= my model \t" << QVariant("my model");
        QTest::newRow("account") << "account"
                                 << "Done\nCCACCT=ana@example.com" << QVariant("ana@example.com");
        QTest::newRow("raw effort") << "effort"
                                    << "CCEFF=ultra" << QVariant("ultra");
        QTest::newRow("none") << "model"
                              << "CCEFF=high" << nil();
    }
    void stringMarkers() {
        QFETCH(QString, reader);
        QFETCH(QString, text);
        QFETCH(QVariant, expected);
        QCOMPARE(orNil(readString(reader, message(text))), expected);
    }

    void flags_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("chrome");
        QTest::addColumn<bool>("screenshot");
        QTest::newRow("one") << "CCCHROME=1" << true << false;
        QTest::newRow("starts with one") << "CCCHROME=10\nCCSHOT=1 yes" << true << true;
        QTest::newRow("zero") << "CCCHROME=0\nCCSHOT=0" << false << false;
        QTest::newRow("true is not one") << "CCCHROME=true" << false << false;
        QTest::newRow("first line decides")
            << "CCCHROME=\nCCCHROME=1\nCCSHOT=0\nCCSHOT=1" << false << false;
        QTest::newRow("none") << "Working" << false << false;
    }
    void flags() {
        QFETCH(QString, text);
        QFETCH(bool, chrome);
        QFETCH(bool, screenshot);
        QCOMPARE(message(text).ccChromeActive(), chrome);
        QCOMPARE(message(text).ccScreenshotActive(), screenshot);
    }

    void doneIds_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("messageId");
        QTest::addColumn<QList<qint64>>("expected");
        QTest::newRow("list in order") << "CCDONE=9,3,5" << qint64(100) << QList<qint64>{9, 3, 5};
        QTest::newRow("junk and blanks dropped")
            << stx + "CCDONE= 4, x ,5,,6" << qint64(100) << QList<qint64>{4, 5, 6};
        QTest::newRow("later lines not read")
            << "CCDONE=7\nCCDONE=8" << qint64(100) << QList<qint64>{7};
        QTest::newRow("bad first line") << "CCDONE=x\nCCDONE=8" << qint64(100) << QList<qint64>{};
        QTest::newRow("none") << "Done." << qint64(100) << QList<qint64>{};
        QTest::newRow("extra server")
            << "CCDONE=1,2" << IDCodec::encode(50, 2)
            << QList<qint64>{IDCodec::encode(1, 2), IDCodec::encode(2, 2)};
    }
    void doneIds() {
        QFETCH(QString, text);
        QFETCH(qint64, messageId);
        QFETCH(QList<qint64>, expected);
        QCOMPARE(message(text, messageId).ccDoneIds(), expected);
    }

    void markerIdToGlobal() {
        QCOMPARE(Message::markerIdToGlobal(42, 7), 42);
        QCOMPARE(Message::markerIdToGlobal(42, IDCodec::encode(7, 3)), IDCodec::encode(42, 3));
        QCOMPARE(Message::markerIdToGlobal(-1, IDCodec::encode(7, 3)), -1);
    }

    void isMarkerLine_data() {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("expected");
        QTest::newRow("well formed") << stx + "CCTOK=1,2,3" << true;
        QTest::newRow("leading blanks, empty value") << "  CCFOO=" << true;
        QTest::newRow("byte, tab and blank mixed") << "\t" + stx + " CCMSG=5" << true;
        QTest::newRow("no-break space is a blank") << "\u00A0CCA=1" << true;
        QTest::newRow("eight letters") << "CCABCDEFGH=1" << true;
        QTest::newRow("nine letters") << "CCABCDEFGHI=1" << false;
        QTest::newRow("accented capital") << "CCÉTAT=1" << true;
        QTest::newRow("decomposed capital counts once") << "CCABCDEFGE\u0301=1" << true;
        QTest::newRow("mark without a letter") << "CC\u0301X=1" << false;
        QTest::newRow("capital beyond the BMP") << "CC\U0001D400=1" << true;
        QTest::newRow("priority prefix") << "CCNOW hello" << false;
        QTest::newRow("empty key") << "CC=1" << false;
        QTest::newRow("lower case") << "CCabc=1" << false;
        QTest::newRow("digit in key") << "CCA1=2" << false;
        QTest::newRow("no equals") << "CCMSG" << false;
        QTest::newRow("words ahead") << "some words CCSEEN=7" << false;
        QTest::newRow("empty") << "" << false;
    }
    void isMarkerLine() {
        QFETCH(QString, line);
        QFETCH(bool, expected);
        QCOMPARE(Message::isMarkerLine(line), expected);
    }

    void displayText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain stays untrimmed") << "  plain text \n"
                                               << "  plain text \n";
        QTest::newRow("reply markers hidden")
            << "Done.\n" + stx + "CCFOR=12\n" + stx + "CCTOK=1,2,3,4\nCCMODEL=opus"
            << "Done.";
        QTest::newRow("relay-stripped markers hidden") << "Done.\nCCEFF=high\n"
                                                       << "Done.";
        QTest::newRow("marker after words stays") << "some words CCSEEN=7"
                                                  << "some words CCSEEN=7";
        QTest::newRow("unknown marker hidden") << "Hi\nCCXY=1"
                                               << "Hi";
        QTest::newRow("lower-case key stays") << "Hi\nCCfoo=1"
                                              << "Hi\nCCfoo=1";
        QTest::newRow("nine capitals stay") << "Hi\nCCABCDEFGHI=1"
                                            << "Hi\nCCABCDEFGHI=1";
        QTest::newRow("markers only") << stx + "CCMSG=5\n" + stx + "CCTOK=1,2,3"
                                      << "";
        QTest::newRow("inner empty lines kept") << "a\n\nCCX=1\n\nb"
                                                << "a\n\n\nb";
        QTest::newRow("leading marker") << "\nCCX=1\nb"
                                        << "b";
        QTest::newRow("trimmed when CC appears") << " \nCCAT is a word\n "
                                                 << "CCAT is a word";
        QTest::newRow("priority") << stx + "CCNOWfix the bug"
                                  << "fix the bug";
        QTest::newRow("priority stripped by relay") << "CCNOWfix"
                                                    << "fix";
        QTest::newRow("priority body untrimmed") << stx + "CCNOW  fix  "
                                                 << "  fix  ";
        QTest::newRow("deploy line hidden") << "Deployed\n[DEPLOY]{\"url\":\"https://a.example\"}\n"
                                            << "Deployed";
        QTest::newRow("any line with deploy") << "see [DEPLOY] above\nok"
                                              << "ok";
        QTest::newRow("deploy then markers") << "Shipped\n[DEPLOY]{}\n" + stx + "CCFOR=3\n"
                                             << "Shipped";
    }
    void displayText() {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(message(text).displayText(), expected);
    }

    void deployTarget_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QVariant>("label");
        const QString none;
        QTest::newRow("web with label")
            << "Shipped.\n[DEPLOY]{\"url\":\"https://staging.example.com\",\"kind\":\"web\","
               "\"label\":\"Staging\"}\n" +
                   stx + "CCFOR=3"
            << "web"
            << "https://staging.example.com" << QVariant("Staging");
        QTest::newRow("app") << "[DEPLOY]{\"url\":\"https://x.example.com/a.ipa\",\"kind\":\"app\"}"
                             << "app"
                             << "https://x.example.com/a.ipa" << nil();
        QTest::newRow("other kind is web")
            << "[DEPLOY]{\"url\":\"http://a.example\",\"kind\":\"APP\",\"label\":\"\"}"
            << "web"
            << "http://a.example" << nil();
        QTest::newRow("kind not a string") << "[DEPLOY]{\"url\":\"http://a.example\",\"kind\":1}"
                                           << "web"
                                           << "http://a.example" << nil();
        QTest::newRow("url trimmed, scheme any case")
            << "[DEPLOY] {\"url\":\" \tHTTPS://A.example\"}"
            << "web"
            << "HTTPS://A.example" << nil();
        QTest::newRow("json on the next line")
            << "[DEPLOY]\n\n{\"url\":\"https://a.example\"}\nmore"
            << "web"
            << "https://a.example" << nil();
        QTest::newRow("first announcement wins")
            << "[DEPLOY]{\"url\":\"https://a.example\"}\n[DEPLOY]{\"url\":\"https://b.example\"}"
            << "web"
            << "https://a.example" << nil();
        QTest::newRow("host without dot")
            << "[DEPLOY]{\"url\":\"https://localhost/\"}" << none << none << nil();
        QTest::newRow("blank in url")
            << "[DEPLOY]{\"url\":\"https://a.b/x y\"}" << none << none << nil();
        QTest::newRow("ellipsis") << "[DEPLOY]{\"url\":\"https://…\"}" << none << none << nil();
        QTest::newRow("ellipsis in path")
            << "[DEPLOY]{\"url\":\"https://a.b/…\"}" << none << none << nil();
        QTest::newRow("pipe") << "[DEPLOY]{\"url\":\"https://a.b/x|y\"}" << none << none << nil();
        QTest::newRow("angle") << "[DEPLOY]{\"url\":\"https://a.b/<x>\"}" << none << none << nil();
        QTest::newRow("other scheme") << "[DEPLOY]{\"url\":\"ftp://a.b\"}" << none << none << nil();
        QTest::newRow("no authority") << "[DEPLOY]{\"url\":\"https:a.b\"}" << none << none << nil();
        QTest::newRow("url not a string") << "[DEPLOY]{\"url\":42}" << none << none << nil();
        QTest::newRow("trailing words")
            << "[DEPLOY]{\"url\":\"https://a.b\"} ok" << none << none << nil();
        QTest::newRow("array") << "[DEPLOY][\"https://a.b\"]" << none << none << nil();
        QTest::newRow("broken json") << "[DEPLOY]{\"url\":" << none << none << nil();
        QTest::newRow("marker alone") << "Done\n[DEPLOY]\n" << none << none << nil();
        QTest::newRow("no marker") << "https://a.example" << none << none << nil();
    }
    void deployTarget() {
        QFETCH(QString, text);
        QFETCH(QString, kind);
        QFETCH(QString, url);
        QFETCH(QVariant, label);
        const auto target = message(text).deployTarget();
        QCOMPARE(target.has_value(), !kind.isEmpty());
        if (!target) return;
        QCOMPARE(target->kind, kind);
        QCOMPARE(target->url, url);
        QCOMPARE(orNil(target->label), label);
    }

    void answeredPrompt_data() {
        QTest::addColumn<QString>("chat");
        QTest::addColumn<QString>("bubbleText");
        QTest::addColumn<bool>("hasReply");
        QTest::addColumn<qint64>("quoted");
        QTest::newRow("earlier prompt quoted") << "10 me, 11 agent, 12 me"
                                               << "A\nCCFOR=10" << false << qint64(10);
        QTest::newRow("latest prompt not quoted") << "10 me, 11 agent, 12 me"
                                                  << "A\nCCFOR=12" << false << qint64(0);
        QTest::newRow("own reply wins") << "10 me, 12 me"
                                        << "A\nCCFOR=10" << true << qint64(0);
        QTest::newRow("no marker") << "10 me, 12 me"
                                   << "A" << false << qint64(0);
        QTest::newRow("answer not earlier") << "10 me, 12 me"
                                            << "A\nCCFOR=15" << false << qint64(0);
        QTest::newRow("zero") << "10 me, 12 me"
                              << "A\nCCFOR=0" << false << qint64(0);
        QTest::newRow("bots, agent and hidden kinds are no prompts")
            << "10 me, 11 bot, 12 ctl, 13 work, 14 agent"
            << "A\nCCFOR=10" << false << qint64(0);
        QTest::newRow("another person counts") << "10 me, 12 other"
                                               << "A\nCCFOR=10" << false << qint64(10);
        QTest::newRow("later messages do not count") << "10 me, 20 me"
                                                     << "A\nCCFOR=10" << false << qint64(0);
        QTest::newRow("answered message not loaded") << "11 agent, 12 me"
                                                     << "A\nCCFOR=10" << false << qint64(0);
        QTest::newRow("no prompts at all") << "11 agent"
                                           << "A\nCCFOR=10" << false << qint64(0);
    }
    void answeredPrompt() {
        QFETCH(QString, chat);
        QFETCH(QString, bubbleText);
        QFETCH(bool, hasReply);
        QFETCH(qint64, quoted);
        Message bubble = message(bubbleText, 15);
        bubble.senderId = agent;
        if (hasReply) bubble.replyTo = ReplySnippet{10, me, QStringLiteral("me"), QString()};
        const auto isBot = [](qint64 id) { return id == bot; };
        const auto result = ::answeredPrompt(bubble, conversation(chat), isBot, agent);
        QCOMPARE(result ? result->id : 0, quoted);
    }

    void lineMarkerHint() {
        QVERIFY(!mayHoldLineMarkers(u"No markers here, cc= either"));
        QVERIFY(mayHoldLineMarkers(u"x CCMSG=1"));
    }
};

QTEST_GUILESS_MAIN(TestMarkers)
#include "test_markers.moc"
