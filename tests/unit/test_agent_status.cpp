#include "agent/Status.h"
#include "core/Localisation.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QTest>

using namespace fixtures;

namespace {

const QString working = QStringLiteral("💭 Claude is working…");

// "5 me a | 6 agent W:CCMSG=5": id, sender, text; "W:" starts a working
// message, "\n" in the text is a line break.
QList<Message> script(const QString& text) {
    QList<Message> out;
    if (text.isEmpty()) return out;
    for (const QString& item : text.split(QStringLiteral(" | "))) {
        QString body = item.section(' ', 2);
        if (body.startsWith("W:")) body = working + "\n" + body.mid(2);
        body.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
        const qint64 sender = item.section(' ', 1, 1) == "me" ? meId : agentMember;
        out.push_back(message(item.section(' ', 0, 0).toLongLong(), sender, body));
    }
    return out;
}

QString statusText(const std::optional<CCMessageStatus>& s) {
    return s ? rawValue(*s) : "nil";
}

QString frame(const QString& type, const Message& m) {
    return QString::fromUtf8(
        QJsonDocument(QJsonObject{{"type", type}, {"message", m.toJson()}}).toJson());
}

} // namespace

// Whether a session works, on what, and where each own message stands.
class TestAgentStatus : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void initTestCase() { Loc::setCurrent(AppLanguage::en); }
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void statusRules_data() {
        QTest::addColumn<QString>("history");
        QTest::addColumn<qint64>("highWater"); // 0: none
        QTest::addColumn<QList<qint64>>("processed");
        QTest::addColumn<bool>("optimistic");
        QTest::addColumn<qint64>("probe");
        QTest::addColumn<QString>("expected");
        const QList<qint64> none;
        QTest::newRow("a temporary message has none")
            << "-1 me hi" << 0ll << none << true << -1ll << "nil";
        QTest::newRow("not the user's own")
            << "10 agent hi" << 0ll << none << true << 10ll << "nil";
        QTest::newRow("in work beats below the mark")
            << "8 me a | 9 agent W:CCMSG=8" << 10ll << none << false << 8ll << "processing";
        QTest::newRow("below the mark") << "8 me a" << 10ll << none << false << 8ll << "done";
        QTest::newRow("declared done")
            << "12 me a" << 10ll << QList<qint64>{12} << false << 12ll << "done";
        QTest::newRow("at the seen mark")
            << "5 me a | 9 me b | 10 agent W:CCSEEN=5" << 0ll << none << false << 5ll << "done";
        QTest::newRow("above the seen mark stays queued")
            << "5 me a | 9 me b | 10 agent W:CCSEEN=5" << 0ll << none << false << 9ll << "pending";
        QTest::newRow("before the one in work") << "5 me a | 6 me b | 7 me c | 8 agent W:CCMSG=6"
                                                << 0ll << none << false << 5ll << "done";
        QTest::newRow("the one in work") << "5 me a | 6 me b | 7 me c | 8 agent W:CCMSG=6" << 0ll
                                         << none << false << 6ll << "processing";
        QTest::newRow("behind the one in work") << "5 me a | 6 me b | 7 me c | 8 agent W:CCMSG=6"
                                                << 0ll << none << false << 7ll << "pending";
        QTest::newRow("answered by a later reply")
            << "19 me a | 20 agent reply" << 0ll << none << false << 19ll << "done";
        QTest::newRow("oldest unanswered is taken to be in work")
            << "20 agent reply | 21 me a | 22 me b" << 0ll << none << true << 21ll << "processing";
        QTest::newRow("the next one waits")
            << "20 agent reply | 21 me a | 22 me b" << 0ll << none << true << 22ll << "pending";
        QTest::newRow("nothing known once the guess expired")
            << "20 agent reply | 21 me a | 22 me b" << 0ll << none << false << 21ll << "nil";
        QTest::newRow("a newer reply makes the working message stale")
            << "5 me a | 6 agent W:CCMSG=5 | 7 agent answer" << 0ll << none << false << 5ll
            << "done";
        QTest::newRow("an own echo does not end the work")
            << "5 me a | 6 agent W:CCMSG=5 | 8 me b" << 0ll << none << false << 8ll << "pending";
        QTest::newRow("the working message is not part of the queue")
            << "6 agent W:CCMSG=5 | 8 me b | 9 agent control\\nnot really" << 0ll << none << false
            << 8ll << "done";
    }

    void statusRules() {
        QFETCH(QString, history);
        QFETCH(qint64, highWater);
        QFETCH(QList<qint64>, processed);
        QFETCH(bool, optimistic);
        QFETCH(qint64, probe);
        QFETCH(QString, expected);
        auto store = offlineStore(1.0);
        seam(store).messages()[sessionId] = script(history);
        if (highWater) seam(store).ccSeenHighWater()[sessionId] = highWater;
        if (!processed.isEmpty())
            seam(store).ccProcessedIds()[sessionId] =
                QSet<qint64>(processed.begin(), processed.end());
        if (optimistic) store->ccStartOptimisticWorking(sessionId, Store::nowMs());
        const auto list = store->messages().value(sessionId);
        const auto m =
            std::find_if(list.begin(), list.end(), [&](const Message& x) { return x.id == probe; });
        QVERIFY(m != list.end());
        QCOMPARE(statusText(store->ccStatus(*m)), expected);
    }

    void onlySessionConversationsHaveStatus() {
        auto store = offlineStore();
        seam(store).messages()[sessionId] = script("8 me a | 9 agent W:CCMSG=8");
        const Message m = store->messages()[sessionId].first();
        QVERIFY(store->ccStatus(m));
        seam(store).chats()[0].kind = "group";
        emit store->chatsReset();
        QVERIFY(!store->ccStatus(m));
        seam(store).chats()[0] = chatWith(sessionId, {user(meId, "me")}); // Saved Messages
        emit store->chatChanged(sessionId);
        QVERIFY(!store->ccStatus(m));
        store->removeChat(sessionId);
        QVERIFY(!store->ccStatus(m));
    }

    void optimisticGuessLastsTwelveSeconds() {
        auto store = offlineStore(0.01); // 12 s become 120 ms
        seam(store).messages()[sessionId] = script("20 agent reply");
        QVERIFY(!store->ccWorking(sessionId));
        store->ccStartOptimisticWorking(sessionId, Store::nowMs());
        QVERIFY(store->ccWorking(sessionId));
        QVERIFY(!store->ccWorking(selfId));
        QTest::qWait(60);
        QVERIFY(store->ccWorking(sessionId));
        QTRY_VERIFY_WITH_TIMEOUT(!store->ccWorking(sessionId), 1000);
    }

    void replyNewerThanTheWorkingMessageEndsWork() {
        auto store = offlineStore();
        seam(store).messages()[sessionId] = script("5 me a | 6 agent W:CCMSG=5\\nCCCHROME=1");
        QVERIFY(store->ccWorking(sessionId));
        QCOMPARE(store->ccProcessingMsgId(sessionId), 5);
        QVERIFY(store->ccChromeActive(sessionId));
        // The host edits its working message in place: the reading follows.
        store->handleEvent(frame("messageUpdated", script("6 agent W:CCMSG=7\\nCCSEEN=5").first()),
                           0);
        QCOMPARE(store->ccProcessingMsgId(sessionId), 7);
        QCOMPARE(store->ccSeenMsgId(sessionId), 5);
        QVERIFY(!store->ccChromeActive(sessionId));
        store->handleEvent(frame("message", script("8 me again").first()), 0);
        QVERIFY(store->ccWorking(sessionId));
        store->handleEvent(frame("message", script("9 agent the answer").first()), 0);
        QVERIFY(!store->ccWorking(sessionId));
        QVERIFY(!store->ccProcessingMsgId(sessionId));
    }

    void unloadedHistoryReadsTheSummary() {
        auto store = offlineStore();
        seam(store).chats()[0].lastMessage =
            script("6 agent W:Reading files\\nCCMSG=5\\nCCSHOT=1").first();
        QVERIFY(!store->messages().contains(sessionId));
        QVERIFY(store->ccWorking(sessionId));
        QCOMPARE(store->ccProcessingMsgId(sessionId), 5);
        QVERIFY(store->ccScreenshotActive(sessionId));
        QCOMPARE(store->ccStatusLine(sessionId), "Reading files");
        store->updateChatLast(message(7, agentMember, "done"));
        QVERIFY(!store->ccWorking(sessionId));
        QVERIFY(!store->ccStatusText(sessionId));
    }

    void statusLine_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("line");
        QTest::newRow("last human line") << working + "\n  Reading files \n\tRunning tests\t\n\x02"
                                                      "CCMSG=5\n\nCCSEEN=3"
                                         << "Running tests";
        QTest::newRow("head only") << working << "Claude is working…";
        QTest::newRow("unknown markers are hidden too") << working + "\nStep 1\nCCFOO=1"
                                                        << "Step 1";
        QTest::newRow("prose holding a marker stays") << working + "\nsaw CCSEEN=7"
                                                      << "saw CCSEEN=7";
    }

    void statusLine() {
        QFETCH(QString, text);
        QFETCH(QString, line);
        QCOMPARE(ccStatusLineOf(text), line);
    }

    void queueAndItsBar() {
        auto store = offlineStore();
        seam(store).messages()[sessionId] = script("5 me a | 9 me c | 7 me b | 10 agent W:CCMSG=5");
        const QList<Message> queued = store->backloggedMessages(sessionId);
        QCOMPARE(queued.size(), 2);
        QCOMPARE(queued[0].id, 7);
        QCOMPARE(queued[1].id, 9);
        QCOMPARE(backlogBarText(queued.size()), "2 messages queued — handled one by one, in order");
        QCOMPARE(backlogBarText(1), "1 message queued — runs next");
        // A queued message does not count as conversation yet.
        QCOMPARE(store->visibleMessageCount(sessionId), 1);
    }

    void stoppingLastsUntilWorkEnds() {
        CCStopRequest stop;
        stop.observe(true);
        stop.press();
        QVERIFY(stop.showsStopping());
        stop.observe(true); // the host has not stopped yet, or the reply was lost
        QVERIFY(stop.showsStopping());
        stop.observe(false);
        QVERIFY(!stop.showsStopping());
        stop.observe(true); // a later run starts with the stop button
        QVERIFY(!stop.showsStopping());
    }

    void lastRealMessageSkipsPendingOnes() {
        auto store = offlineStore();
        QCOMPARE(store->lastRealMsgId(sessionId), 0);
        seam(store).messages()[sessionId] = script("5 me a | 9 agent b | -1 me c");
        QCOMPARE(store->lastRealMsgId(sessionId), 9);
    }

    void sendNowAndStopAreControlOps() {
        HostEcho echo;
        auto store = storeOn(echo);
        QCoro::waitFor(store->ccSendNow(sessionId, 9));
        QCoro::waitFor(store->ccStopSession(sessionId));
        QCOMPARE(echo.requests.size(), 2);
        QCOMPARE(echo.requests[0].value("op").toString(), "now");
        QCOMPARE(echo.requests[0].value("msgId").toInteger(), 9);
        QCOMPARE(echo.requests[1].value("op").toString(), "stop");
        QCOMPARE(echo.requests[1].value("chatId").toInteger(), sessionId);
    }
};

QTEST_GUILESS_MAIN(TestAgentStatus)
#include "test_agent_status.moc"
