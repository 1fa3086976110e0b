#include "core/Prefs.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QJsonDocument>
#include <QTest>

using namespace fixtures;

namespace {

// "10 agent CCSEEN=5\nCCMSG=6 | 11 me hello": id, sender, text; messages
// separated by " | ".
QList<Message> script(const QString& text, qint64 chatId = sessionId) {
    QList<Message> out;
    for (const QString& item : text.split(QStringLiteral(" | "))) {
        const QString id = item.section(' ', 0, 0);
        const QString who = item.section(' ', 1, 1);
        QString body = item.section(' ', 2);
        body.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
        out.push_back(message(id.toLongLong(), who == "me" ? meId : agentMember, body, chatId));
    }
    return out;
}

// The markers' memory of one conversation as one comparable line.
QString stateOf(const Store& s, qint64 chatId = sessionId) {
    QStringList parts;
    if (s.ccSeenHighWater().contains(chatId))
        parts << QStringLiteral("seen=%1").arg(s.ccSeenHighWater().value(chatId));
    QList<qint64> done(s.ccProcessedIds().value(chatId).begin(),
                       s.ccProcessedIds().value(chatId).end());
    std::sort(done.begin(), done.end());
    if (!done.isEmpty()) {
        QStringList ids;
        for (qint64 id : done)
            ids << QString::number(id);
        parts << "done=" + ids.join(',');
    }
    if (const auto c = s.ccContext(chatId))
        parts << QStringLiteral("ctx=%1/%2/%3/%4")
                     .arg(c->ctx)
                     .arg(c->warm)
                     .arg(c->fresh)
                     .arg(c->create);
    if (const auto m = s.ccModel(chatId)) parts << "model=" + *m;
    if (s.ccReportedEfforts().contains(chatId))
        parts << "effort=" + Config::rawValue(s.ccReportedEfforts().value(chatId));
    if (s.ccChromeUsedChats().value(chatId)) parts << "chrome";
    if (s.ccScreenshotUsedChats().value(chatId)) parts << "shot";
    const int server = IDCodec::serverId(chatId);
    if (s.serverClaudeEmail().contains(server))
        parts << "acct=" + s.serverClaudeEmail().value(server);
    return parts.join(' ');
}

QString eventFrame(const Message& m) {
    return QString::fromUtf8(
        QJsonDocument(QJsonObject{{"type", "message"}, {"message", m.toJson()}}).toJson());
}

} // namespace

// Folding markers into per-conversation state: each capture, their order,
// idempotence, and every road by which a message reaches the store.
class TestAgentCapture : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void captures_data() {
        QTest::addColumn<QString>("messages");
        QTest::addColumn<QString>("state");
        QTest::newRow("seen only rises") << "10 agent CCSEEN=12 | 11 agent CCSEEN=9"
                                         << "seen=12";
        QTest::newRow("working id and done ids are processed")
            << "20 agent 💭 Claude is working…\\n\x02"
               "CCMSG=15 | 21 agent ok\\nCCDONE=16,abc,-3,0"
            << "done=15,16";
        QTest::newRow("processed set pruned by the seen mark")
            << "20 agent CCDONE=5,15 | 21 agent CCSEEN=10 | 22 agent CCDONE=16"
            << "seen=10 done=15,16";
        QTest::newRow("nothing new leaves the set alone")
            << "20 agent CCDONE=5 | 21 agent CCSEEN=10 | 22 agent CCDONE=5"
            << "seen=10 done=5";
        QTest::newRow("older three-counter form") << "30 agent CCTOK=100,90,10"
                                                  << "ctx=100/90/10/0";
        QTest::newRow("junk items shrink the list") << "30 agent CCTOK= 1 , 2 ,x, 3"
                                                    << "ctx=1/2/3/0";
        QTest::newRow("later context wins") << "30 agent CCTOK=1,2,3,4 | 31 agent CCTOK=5,6,7,8"
                                            << "ctx=5/6/7/8";
        QTest::newRow("model report") << "30 agent CCMODEL=\\nCCMODEL=claude-opus-4-8"
                                      << "model=claude-opus-4-8";
        QTest::newRow("unknown effort ignored whole") << "30 agent CCEFF=ultra"
                                                      << "";
        QTest::newRow("known effort") << "30 agent CCEFF=high"
                                      << "effort=high";
        QTest::newRow("chrome use is one-way") << "30 agent CCCHROME=1 | 31 agent CCCHROME=0"
                                               << "chrome";
        QTest::newRow("chrome needs a 1") << "30 agent CCCHROME=true"
                                          << "";
        QTest::newRow("screenshot use") << "30 agent CCSHOT=1"
                                        << "shot";
        QTest::newRow("account of the server") << "30 agent CCACCT=a@b.example"
                                               << "acct=a@b.example";
        QTest::newRow("replay is harmless")
            << "10 agent CCSEEN=12\\nCCDONE=13 | 10 agent CCSEEN=12\\nCCDONE=13 | 9 agent CCSEEN=3"
            << "seen=12 done=13";
        QTest::newRow("a relay may strip the control byte") << "40 agent \x02"
                                                               "CCSEEN=4\\nCCEFF=max"
                                                            << "seen=4 effort=max";
    }

    void captures() {
        QFETCH(QString, messages);
        QFETCH(QString, state);
        auto store = offlineStore();
        for (const Message& m : script(messages))
            store->captureCCMarkers(m);
        QCOMPARE(stateOf(*store), state);
        // What was captured is what the next launch reads back.
        Store reloaded;
        QCOMPARE(stateOf(reloaded), state);
    }

    void markerIdsTakeTheServerOfTheirMessage() {
        auto store = offlineStore();
        const qint64 chatOn3 = IDCodec::encode(sessionId, 3);
        Message m =
            message(IDCodec::encode(50, 3), agentMember, "CCSEEN=42\nCCACCT=x@y.example", chatOn3);
        store->captureCCMarkers(m);
        QCOMPARE(store->ccSeenHighWater().value(chatOn3), IDCodec::encode(42, 3));
        QCOMPARE(store->serverClaudeEmail().value(3), "x@y.example");
        QVERIFY(!store->serverClaudeEmail().contains(0));
    }

    void contextFloorIgnoresReplayedHistory() {
        auto store = offlineStore();
        seam(store).ccContextFloor()[sessionId] = 50;
        store->captureCCMarkers(message(50, agentMember, "CCTOK=9,9,9,9"));
        QVERIFY(!store->ccContext(sessionId));
        store->captureCCMarkers(message(51, agentMember, "CCTOK=1,2,3,4"));
        QCOMPARE(store->ccContext(sessionId)->ctx, 1);
    }

    void reportsEndOnlyOlderChoices() {
        auto store = offlineStore();
        seam(store).ccOptimisticModel()[sessionId] = {"claude-x", 100};
        seam(store).ccOptimisticEffort()[sessionId] = {Config::CCEffort::max, 100};
        store->captureCCMarkers(message(90, agentMember, "CCMODEL=old\nCCEFF=low"));
        QVERIFY(store->ccOptimisticModel().contains(sessionId));
        QVERIFY(store->ccOptimisticEffort().contains(sessionId));
        QCOMPARE(store->ccModel(sessionId), "old");
        store->captureCCMarkers(message(101, agentMember, "CCEFF=ultra"));
        QVERIFY(store->ccOptimisticEffort().contains(sessionId)); // unknown value: nothing at all
        store->captureCCMarkers(message(101, agentMember, "CCMODEL=new\nCCEFF=high"));
        QVERIFY(!store->ccOptimisticModel().contains(sessionId));
        QVERIFY(!store->ccOptimisticEffort().contains(sessionId));
    }

    void signOfLifeFromTheOtherSideEndsTheGuess() {
        auto store = offlineStore();
        store->ccStartOptimisticWorking(sessionId, Store::nowMs());
        store->captureCCMarkers(message(10, meId, "my own echo"));
        QVERIFY(store->ccOptimisticWorking().contains(sessionId));
        store->captureCCMarkers(message(11, agentMember, "plain text, no markers"));
        QVERIFY(!store->ccOptimisticWorking().contains(sessionId));
        // With nobody signed in, every sender is the other side.
        store->ccStartOptimisticWorking(sessionId, Store::nowMs());
        seam(store).me().reset();
        store->captureCCMarkers(message(12, meId, "?"));
        QVERIFY(!store->ccOptimisticWorking().contains(sessionId));
    }

    void liveEventsCaptureSeenEvenForUnloadedHistory() {
        auto store = offlineStore();
        store->handleEvent(eventFrame(message(60, agentMember, "CCSEEN=55\nCCDONE=58\nCCMODEL=m")),
                           0);
        QVERIFY(!store->messages().contains(sessionId));
        QCOMPARE(stateOf(*store), "seen=55 done=58");
        seam(store).messages()[sessionId] = {};
        store->handleEvent(eventFrame(message(61, agentMember, "CCMODEL=m")), 0);
        QCOMPARE(store->ccModel(sessionId), "m");
    }

    void bootstrapCapturesEachLastMessage() {
        auto store = offlineStore();
        BootstrapResponse reply;
        reply.me = user(meId, "me");
        ChatSummary c = session();
        c.lastMessage = message(70, agentMember, "done\nCCTOK=10,5,5,0\nCCSEEN=69");
        reply.chats = {c, selfChat()};
        store->mergeBootstrap(reply);
        QCOMPARE(stateOf(*store), "seen=69 ctx=10/5/5/0");
    }

    void storedContextWithColdKeyLoadsAndSavesAsCreate() {
        Prefs::shared().setValue("ccContextStats",
                                 QByteArray(R"({"42":{"ctx":7,"warm":6,"cold":5}})"));
        Store store;
        QCOMPARE(store.ccContext(sessionId), (CCContextStat{7, 6, 0, 5}));
        store.saveCCContext();
        const QJsonObject saved =
            QJsonDocument::fromJson(*Prefs::shared().bytes("ccContextStats")).object();
        QCOMPARE(saved.value("42").toObject().value("create").toInteger(), 5);
        QVERIFY(!saved.value("42").toObject().contains("cold"));
    }

    void unreadableStoredMapsLeaveTheDefault() {
        Prefs::shared().setValue("ccSeenHighWater", QByteArray("not json"));
        Prefs::shared().setValue("ccProcessedIds", QByteArray(R"({"42":[1,2],"9":"x"})"));
        Store store;
        QVERIFY(store.ccSeenHighWater().isEmpty());
        QVERIFY(store.ccProcessedIds().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAgentCapture)
#include "test_agent_capture.moc"
