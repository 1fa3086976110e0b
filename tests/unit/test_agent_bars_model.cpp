// The view model behind the agent's bars and bubble badges, over a store
// filled by hand: which prompt an answer quotes, the badges and when they
// read again, what follows the open conversation, the deploy chip and where
// a finished deploy is announced.
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/TestSupport.h"
#include "ui/AgentBarsModel.h"

#include <QTest>

namespace {

constexpr qint64 me = 1;
constexpr qint64 claude = 2;
constexpr qint64 helper = 3; // another bot of the server
constexpr qint64 sessionId = 40;
constexpr qint64 otherId = 41;

Message msg(qint64 id, qint64 sender, const QString& text, qint64 chatId = sessionId) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = sender;
    m.senderName = sender == me ? QStringLiteral("ana") : QStringLiteral("Claude Code");
    m.text = text;
    m.createdAt = 1700000000000 + id * 1000;
    return m;
}

ChatSummary direct(qint64 id) {
    User a;
    a.id = me;
    a.username = QStringLiteral("ana");
    User c;
    c.id = claude;
    c.username = QStringLiteral("Claude Code");
    ChatSummary chat;
    chat.id = id;
    chat.kind = QStringLiteral("direct");
    chat.members = {a, c};
    return chat;
}

// "id:sender:text" rows, sender m (me), c (Claude), h (the other bot).
QList<Message> rows(const QStringList& shapes) {
    QList<Message> out;
    for (const QString& row : shapes) {
        const QStringList parts = row.split(u':');
        const qint64 sender = parts[1] == "m" ? me : parts[1] == "c" ? claude : helper;
        QString text = parts.mid(2).join(u':');
        text.replace(QStringLiteral("\\n"), QStringLiteral("\n"));
        out << msg(parts[0].toLongLong(), sender, text);
    }
    return out;
}

} // namespace

class TestAgentBarsModel : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<AgentBarsModel> bars;
    QList<QUrl> opened;

    void setHistory(qint64 chatId, const QList<Message>& list) {
        store->messages.insert(chatId, list);
        if (!list.isEmpty()) store->chats[chatId == sessionId ? 0 : 1].lastMessage = list.last();
        for (const Message& m : list)
            store->captureCCMarkers(m);
        emit store->timelineChanged(chatId, {TimelineChange::reset, 0, 0});
    }

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        store = std::make_unique<Store>();
        User u;
        u.id = me;
        u.username = QStringLiteral("ana");
        store->me = u;
        store->agentId = 99;
        store->botIds = {helper};
        store->chats = {direct(sessionId), direct(otherId)};
        bars = std::make_unique<AgentBarsModel>(store.get());
        opened.clear();
        bars->setUrlOpener([this](const QUrl& url) { opened << url; });
        store->setSelectedChatId(sessionId);
    }

    void cleanup() {
        bars.reset();
        store.reset();
        prefs.reset();
    }

    void answerQuotesItsPrompt_data() {
        QTest::addColumn<QStringList>("history");
        QTest::addColumn<qint64>("bubble");
        QTest::addColumn<qint64>("quoted"); // 0: no quote
        QTest::newRow("answers the latest prompt")
            << QStringList{"1:m:a", "2:m:b", "3:c:x\\nCCFOR=2"} << 3ll << 0ll;
        QTest::newRow("a newer prompt stands between")
            << QStringList{"1:m:a", "2:m:b", "3:c:x\\nCCFOR=1"} << 3ll << 1ll;
        QTest::newRow("prompts after the answer do not count")
            << QStringList{"1:m:a", "2:c:x\\nCCFOR=1", "3:m:b"} << 2ll << 0ll;
        QTest::newRow("a bot's message is no prompt")
            << QStringList{"1:m:a", "2:h:b", "3:c:x\\nCCFOR=1"} << 3ll << 0ll;
        QTest::newRow("control traffic is no prompt") << QStringList{"1:m:a",
                                                                     "2:m:\x02"
                                                                     "CCCTL{}",
                                                                     "3:c:x\\nCCFOR=1"}
                                                      << 3ll << 0ll;
        QTest::newRow("an answer to itself or later is ignored")
            << QStringList{"1:m:a", "2:m:b", "3:c:x\\nCCFOR=3"} << 3ll << 0ll;
        QTest::newRow("the answered message is not loaded")
            << QStringList{"2:m:a", "3:m:b", "4:c:x\\nCCFOR=1"} << 4ll << 0ll;
        QTest::newRow("history out of id order")
            << QStringList{"3:c:x\\nCCFOR=1", "1:m:a", "2:m:b"} << 3ll << 1ll;
        QTest::newRow("a pending copy at the end")
            << QStringList{"1:m:a", "2:m:b", "3:c:x\\nCCFOR=1", "-5:m:c"} << 3ll << 1ll;
        QTest::newRow("no marker") << QStringList{"1:m:a", "2:m:b", "3:c:x"} << 3ll << 0ll;
    }
    void answerQuotesItsPrompt() {
        QFETCH(QStringList, history);
        QFETCH(qint64, bubble);
        QFETCH(qint64, quoted);
        setHistory(sessionId, rows(history));
        const QVariantMap badge = bars->badge(bubble);
        QCOMPARE(badge.value("answered").toMap().value("id").toLongLong(), quoted);
        if (quoted) QCOMPARE(badge.value("answered").toMap().value("senderName").toString(), "ana");
    }

    void badgesReadAgainWhenTheWorkingMessageMoves() {
        setHistory(sessionId, rows({"1:m:one", "2:c:ok\\nCCFOR=1\\nCCDONE=1", "3:m:two",
                                    "4:m:\x02"
                                    "CCNOW"
                                    "three",
                                    "5:c:💭 Claude is working…\\nStep\\nCCMSG=3\\nCCSEEN=3"}));
        QCOMPARE(bars->badge(1).value("status").toString(), QString());
        QCOMPARE(bars->badge(3).value("status").toString(), QStringLiteral("processing"));
        QCOMPARE(bars->badge(4).value("status").toString(), QStringLiteral("pending"));
        QVERIFY(bars->badge(4).value("priority").toBool());
        QCOMPARE(bars->badge(-7), QVariantMap());
        QCOMPARE(bars->backlogCount(), 1);
        QCOMPARE(bars->backlogText(), QStringLiteral("1 message queued — runs next"));
        QCOMPARE(bars->backlogDraft(4), QStringLiteral("three"));
        QCOMPARE(bars->statusLine(), QStringLiteral("Step"));

        // The host edits its working message in place: the badges follow.
        const int before = bars->badgeRevision();
        QList<Message> list = store->messages.value(sessionId);
        list.last().text = QStringLiteral("💭 Claude is working…\nNext\nCCMSG=4\nCCSEEN=4");
        setHistory(sessionId, list);
        QVERIFY(bars->badgeRevision() > before);
        QCOMPARE(bars->badge(3).value("status").toString(), QString());
        QCOMPARE(bars->badge(4).value("status").toString(), QStringLiteral("processing"));
        QCOMPARE(bars->backlogCount(), 0);
        QCOMPARE(bars->statusLine(), QStringLiteral("Next"));
    }

    void stopAndIdleAdviceBelongToTheOpenConversation() {
        setHistory(sessionId, rows({"1:m:one", "2:c:💭 Claude is working…\\nStep\\nCCMSG=1"}));
        QVERIFY(bars->working());
        bars->stop();
        QVERIFY(bars->stopRequested());
        // Another conversation starts without a pending stop, and so does this one again.
        store->setSelectedChatId(otherId);
        QVERIFY(!bars->stopRequested());
        store->setSelectedChatId(sessionId);
        QVERIFY(!bars->stopRequested());
        bars->stop();
        // Work ends: the next run starts with the stop button.
        setHistory(sessionId, rows({"1:m:one", "2:c:💭 Claude is working…\\nStep\\nCCMSG=1",
                                    "3:c:done\\nCCFOR=1"}));
        QVERIFY(!bars->working());
        QVERIFY(!bars->stopRequested());

        // A large context an idle hour and more after the person's last word.
        store->ccContextStats.insert(sessionId, CCContextStat{612400, 0, 0, 0});
        store->userActivity.insert(sessionId,
                                   QDateTime::currentMSecsSinceEpoch() - 3 * 3600 * 1000);
        emit store->ccStateChanged(sessionId);
        QVERIFY(bars->showIdleReset());
        QCOMPARE(bars->contextText(), QStringLiteral("Context 612k token"));
        QCOMPARE(bars->contextPercent(), QStringLiteral("61%"));
        bars->dismissIdleReset();
        QVERIFY(!bars->showIdleReset());
        store->setSelectedChatId(otherId);
        store->setSelectedChatId(sessionId);
        QVERIFY(bars->showIdleReset());
        store->ccContextStats.insert(sessionId, CCContextStat{2500000, 0, 0, 0});
        QCOMPARE(bars->contextShare(), 1.0);
    }

    void deployChip_data() {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("label");
        QTest::addColumn<int>("menuSize");
        QTest::newRow("web")
            << QStringLiteral(
                   "[DEPLOY]{\"url\":\"https://staging.example.org/x\",\"label\":\"Staging\"}")
            << QStringLiteral("Preview") << QStringLiteral("Staging") << 2;
        QTest::newRow("app, no label")
            << QStringLiteral("[DEPLOY]{\"url\":\"https://apps.example.org/a\",\"kind\":\"app\"}")
            << QStringLiteral("Update") << QStringLiteral("apps.example.org/a") << 1;
    }
    void deployChip() {
        QFETCH(QString, line);
        QFETCH(QString, word);
        QFETCH(QString, label);
        QFETCH(int, menuSize);
        setHistory(sessionId, {msg(1, me, "ship"), msg(2, claude, "Shipped.\n" + line)});
        QVariantMap chip = bars->deploy();
        QCOMPARE(chip.value("word").toString(), word);
        QCOMPARE(chip.value("label").toString(), label);
        QVERIFY(chip.value("fresh").toBool());
        QCOMPARE(bars->deployMenu().size(), menuSize);
        bars->deployMenuAction(QStringLiteral("open"));
        QCOMPARE(opened.size(), 1);
        QVERIFY(opened.first().toString().startsWith("https://"));
        // Opened: it stays, calm.
        chip = bars->deploy();
        QCOMPARE(chip.value("word").toString(), word);
        QVERIFY(!chip.value("fresh").toBool());
        // No deploy in another conversation: no chip there.
        store->setSelectedChatId(otherId);
        QVERIFY(bars->deploy().isEmpty());
    }

    void finishedDeployIsAnnouncedWhereTheUserIsNot_data() {
        QTest::addColumn<bool>("active");
        QTest::addColumn<qint64>("selected");
        QTest::addColumn<bool>("banner");
        QTest::addColumn<bool>("notification");
        QTest::newRow("in front, this conversation open") << true << sessionId << false << false;
        QTest::newRow("in front, another open") << true << otherId << true << false;
        QTest::newRow("in the background") << false << sessionId << false << true;
    }
    void finishedDeployIsAnnouncedWhereTheUserIsNot() {
        QFETCH(bool, active);
        QFETCH(qint64, selected);
        QFETCH(bool, banner);
        QFETCH(bool, notification);
        auto notifier = std::make_shared<RecordingNotifier>();
        store->setNotifier(notifier);
        store->setAppActive(active);
        store->setSelectedChatId(selected);
        setHistory(sessionId,
                   {msg(1, me, "ship"), msg(2, claude,
                                            "Done.\n[DEPLOY]{\"url\":\"https://"
                                            "staging.example.org\",\"label\":\"Staging\"}")});
        store->notifyDeployReadyIfNeeded(sessionId);
        store->notifyDeployReadyIfNeeded(sessionId); // once only
        QCOMPARE(store->inAppBanner().has_value(), banner);
        if (banner)
            QCOMPARE(store->inAppBanner()->text,
                     QStringLiteral("✅ Done — ready to preview · Staging"));
        QCOMPARE(notifier->delivered().size(), notification ? 1 : 0);
        if (notification)
            QCOMPARE(notifier->delivered().first().identifier,
                     QStringLiteral("deploy-%1-2").arg(sessionId));
    }
};

QTEST_GUILESS_MAIN(TestAgentBarsModel)
#include "test_agent_bars_model.moc"
