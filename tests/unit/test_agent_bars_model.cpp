// The view model behind the agent's bars and bubble badges, over a store
// filled by hand: which prompt an answer quotes, the badges as the timeline
// hands them to bubbles and which rows it signals when they turn, what
// follows the open conversation, the deploy chip and where a finished deploy
// is announced.
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/ShadowRows.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"
#include "ui/AgentBarsModel.h"
#include "ui/TimelineModel.h"

#include <QSignalSpy>
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

QString working(qint64 processing, qint64 seen) {
    return QStringLiteral("💭 Claude is working…\nStep\nCCMSG=%1\nCCSEEN=%2")
        .arg(processing)
        .arg(seen);
}

// A bubble's badge as a view shows it: the status and the quoted prompt.
QString shownBadge(const QModelIndex& row) {
    const QVariantMap badge = row.data(TimelineModel::AgentBadgeRole).toMap();
    return badge.value("status").toString() + u'/' +
           badge.value("answered").toMap().value("id").toString();
}

// The badges of the newest `count` rows (all by default), read afresh.
QStringList freshBadges(const TimelineModel& timeline, int count = -1) {
    QStringList out;
    for (int r = 0; r < (count < 0 ? timeline.rowCount() : count); ++r)
        out << shownBadge(timeline.index(r));
    return out;
}

} // namespace

class TestAgentBarsModel : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::unique_ptr<TimelineModel> timeline;
    std::unique_ptr<AgentBarsModel> bars;
    QList<QUrl> opened;

    QVariantMap badge(qint64 id) const {
        return timeline->index(timeline->rowOfMessage(id))
            .data(TimelineModel::AgentBadgeRole)
            .toMap();
    }

    void setWorking(qint64 processing, qint64 seen) {
        QList<Message> list = store->messages().value(sessionId);
        list.last().text = working(processing, seen);
        setHistory(sessionId, list);
    }

    void setHistory(qint64 chatId, const QList<Message>& list) {
        seam(store).messages().insert(chatId, list);
        if (!list.isEmpty())
            seam(store).chats()[chatId == sessionId ? 0 : 1].lastMessage = list.last();
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
        seam(store).me() = u;
        seam(store).agentId() = 99;
        seam(store).botIds() = {helper};
        seam(store).chats() = {direct(sessionId), direct(otherId)};
        // In the app's order: the timeline hears of a new selection first.
        timeline = std::make_unique<TimelineModel>(store.get());
        bars = std::make_unique<AgentBarsModel>(store.get());
        timeline->setAgentBadges(bars.get());
        opened.clear();
        bars->setUrlOpener([this](const QUrl& url) { opened << url; });
        store->setSelectedChatId(sessionId);
    }

    void cleanup() {
        bars.reset();
        timeline.reset();
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
        const QVariantMap shown = badge(bubble);
        QCOMPARE(shown.value("answered").toMap().value("id").toLongLong(), quoted);
        if (quoted) QCOMPARE(shown.value("answered").toMap().value("senderName").toString(), "ana");
    }

    void badgesReadAgainWhenTheWorkingMessageMoves() {
        setHistory(sessionId, rows({"1:m:one", "2:c:ok\\nCCFOR=1\\nCCDONE=1", "3:m:two",
                                    "4:m:\x02"
                                    "CCNOW"
                                    "three",
                                    "5:c:💭 Claude is working…\\nStep\\nCCMSG=3\\nCCSEEN=3"}));
        QCOMPARE(badge(1).value("status").toString(), QString());
        QCOMPARE(badge(3).value("status").toString(), QStringLiteral("processing"));
        QCOMPARE(badge(4).value("status").toString(), QStringLiteral("pending"));
        QVERIFY(badge(4).value("priority").toBool());
        QCOMPARE(bars->badge(-7), QVariantMap());
        QCOMPARE(bars->backlogCount(), 1);
        QCOMPARE(bars->backlogText(), QStringLiteral("1 message queued — runs next"));
        QCOMPARE(bars->backlogDraft(4), QStringLiteral("three"));
        QCOMPARE(bars->statusLine(), QStringLiteral("Step"));

        // The host edits its working message in place: the badges follow.
        ShadowRows shown(timeline.get(), shownBadge, {TimelineModel::AgentBadgeRole});
        QList<Message> list = store->messages().value(sessionId);
        list.last().text = QStringLiteral("💭 Claude is working…\nNext\nCCMSG=4\nCCSEEN=4");
        setHistory(sessionId, list);
        QCOMPARE(shown.rows[timeline->rowOfMessage(3)], QStringLiteral("/"));
        QCOMPARE(shown.rows[timeline->rowOfMessage(4)], QStringLiteral("processing/"));
        QCOMPARE(bars->backlogCount(), 0);
        QCOMPARE(bars->statusLine(), QStringLiteral("Next"));
    }

    // A view re-reads only what the timeline signals: a badge that turns
    // signals its own row and role alone, and a state that reads the same
    // signals nothing.
    void aTurningBadgeSignalsItsRowAlone() {
        setHistory(sessionId, rows({"1:m:one", "2:c:ok\\nCCFOR=1\\nCCDONE=1", "3:m:two",
                                    "4:m:three", "5:c:" + working(3, 3)}));
        ShadowRows shown(timeline.get(), shownBadge, {TimelineModel::AgentBadgeRole});
        const int row = timeline->rowOfMessage(4);
        QCOMPARE(shown.rows[timeline->rowOfMessage(3)], QStringLiteral("processing/"));
        QCOMPARE(shown.rows[row], QStringLiteral("pending/"));
        QSignalSpy changes(timeline.get(), &QAbstractItemModel::dataChanged);

        // Seen up to 4 while still at work on 3: only the queued one turns.
        setWorking(3, 4);
        QCOMPARE(changes.size(), 1);
        QCOMPARE(changes[0][0].toModelIndex().row(), row);
        QCOMPARE(changes[0][1].toModelIndex().row(), row);
        QCOMPARE(changes[0][2].value<QList<int>>(), QList<int>{TimelineModel::AgentBadgeRole});
        QCOMPARE(shown.rows[row], QStringLiteral("/"));
        QCOMPARE(shown.rows, freshBadges(*timeline));

        changes.clear();
        setWorking(3, 4);
        emit store->ccStateChanged(sessionId);
        QCOMPARE(changes.size(), 0);
    }

    // The timeline turns to a newly opened conversation before the bars do;
    // what it hands out meanwhile is put right once they follow.
    void badgesFollowTheOpenConversation() {
        setHistory(sessionId, rows({"1:m:one", "2:m:two", "3:c:" + working(1, 1)}));
        setHistory(otherId, {msg(11, me, "a", otherId), msg(12, me, "b", otherId),
                             msg(13, me, "c", otherId), msg(14, claude, working(12, 12), otherId)});
        ShadowRows shown(timeline.get(), shownBadge, {TimelineModel::AgentBadgeRole});
        QCOMPARE(shown.rows, (QStringList{"pending/", "processing/", "/"}));
        store->setSelectedChatId(otherId);
        QCOMPARE(shown.rows, (QStringList{"pending/", "processing/", "/", "/"}));
        store->setSelectedChatId(sessionId);
        QCOMPARE(shown.rows, (QStringList{"pending/", "processing/", "/"}));
    }

    // A view that has been through a long history and shows the newest rows
    // again: the next change signals every row read so far once, the view
    // reads those it still shows, and from then on only turning badges are
    // signalled.
    void aLongReadHistoryIsSignalledOnceThenForgotten() {
        constexpr int total = 300;
        QStringList shapes;
        for (int id = 1; id <= total; ++id)
            shapes << QStringLiteral("%1:m:line %1").arg(id);
        shapes << QStringLiteral("%1:c:").arg(total + 1) + working(290, 290);
        setHistory(sessionId, rows(shapes));
        freshBadges(*timeline); // scrolled through all of it
        constexpr int inView = 20;
        QStringList view = freshBadges(*timeline, inView);
        int signalled = 0;
        QList<int> roles;
        QObject scope;
        connect(timeline.get(), &QAbstractItemModel::dataChanged, &scope,
                [&](const QModelIndex& a, const QModelIndex& b, const QList<int>& changed) {
                    signalled += b.row() - a.row() + 1;
                    roles += changed;
                    for (int r = a.row(); r <= std::min(b.row(), inView - 1); ++r)
                        view[r] = shownBadge(timeline->index(r));
                });
        setWorking(291, 291);
        QCOMPARE(signalled, total);
        QCOMPARE(view, freshBadges(*timeline, inView));
        QCOMPARE(view[timeline->rowOfMessage(291)], QStringLiteral("processing/"));
        signalled = 0;
        setWorking(292, 292);
        QCOMPARE(signalled, 2);
        QCOMPARE(view, freshBadges(*timeline, inView));
        QCOMPARE(view[timeline->rowOfMessage(291)], QStringLiteral("/"));
        QVERIFY(std::all_of(roles.begin(), roles.end(),
                            [](int role) { return role == TimelineModel::AgentBadgeRole; }));
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
        seam(store).ccContextStats().insert(sessionId, CCContextStat{612400, 0, 0, 0});
        seam(store).userActivity().insert(sessionId,
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
        seam(store).ccContextStats().insert(sessionId, CCContextStat{2500000, 0, 0, 0});
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
