// The agent's bars and badges as the open conversation shows them, driven
// through the view model they bind to, against the real server and its
// simulated agent host: a queue worked through in order, the status line
// following the working message, the build bar, stop, and the one deploy
// notice once the queue is empty.
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/AgentTestKit.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/ShadowRows.h"
#include "ui/AppModel.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>

namespace {

// A bubble's badge as a view shows it: the status and the quoted prompt.
QString shownBadge(const QModelIndex& row) {
    const QVariantMap badge = row.data(TimelineModel::AgentBadgeRole).toMap();
    return badge.value("status").toString() + u'/' +
           badge.value("answered").toMap().value("id").toString();
}

void appendChanged(QStringList& trail, const QString& value) {
    if (!value.isEmpty() && (trail.isEmpty() || trail.last() != value)) trail << value;
}

} // namespace

class TestAgentBars : public QObject {
    Q_OBJECT

    QTemporaryDir m_sandbox;
    std::unique_ptr<ServerProcess> m_server;
    ServerClient m_owner{QString()};
    qint64 m_session = 0;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> store;
    std::unique_ptr<AppModel> app;
    // The timeline's badges as a view that reads only signalled rows holds them.
    std::unique_ptr<ShadowRows> shown;
    QList<QUrl> opened;

    AgentBarsModel& bars() { return *app->agent(); }

    QString shownAt(qint64 id) const {
        const int row = app->timeline()->rowOfMessage(id);
        return row >= 0 && row < shown->rows.size() ? shown->rows[row] : QString();
    }

    // A message's place in the queue as its bubble shows it, or "done".
    QString stateOf(qint64 id) const {
        for (const Message& m : store->messages().value(m_session))
            if (m.id == id && store->ccStatus(m) == CCMessageStatus::done)
                return QStringLiteral("done");
        return shownAt(id).section(u'/', 0, 0);
    }

    // The host has answered this message.
    bool answered(qint64 id) const {
        for (const Message& m : store->messages().value(m_session))
            if (m.senderId != store->me()->id && m.ccAnswersId() == id) return true;
        return false;
    }

    // A trail without the passing "done" between two turns.
    static QStringList settled(const QStringList& trail) {
        QStringList out;
        for (int i = 0; i < trail.size(); ++i)
            if (trail[i] != QLatin1String("done") || i == trail.size() - 1)
                appendChanged(out, trail[i]);
        return out;
    }

    // Sends from the composer as the person would and returns the server's id.
    qint64 send(const QString& text) {
        ComposerModel* composer = app->composer();
        composer->setDraft(text);
        composer->send();
        qint64 id = 0;
        const bool arrived = QTest::qWaitFor(
            [&] {
                for (const Message& m : store->messages().value(m_session))
                    if (m.id > 0 && m.displayText() == text) id = m.id;
                return id > 0;
            },
            10000);
        return arrived ? id : 0;
    }

private slots:
    void initTestCase() {
        m_server = std::make_unique<ServerProcess>(ServerProcess::Options{
            {QStringLiteral("alice")},
            QStringLiteral("owner"),
            {QStringLiteral("--agent-host"), QStringLiteral("--agent-pace-ms"),
             QStringLiteral("200"), QStringLiteral("--agent-sandbox"), m_sandbox.path()}});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_owner.setBase(m_server->httpUrl());
        QVERIFY(!m_owner.login(QStringLiteral("owner")).isEmpty());
        const qint64 self = agentkit::selfChat(m_owner);
        QDir(m_sandbox.path()).mkpath(QStringLiteral("app"));
        const auto created = agentkit::request(m_owner, self, QStringLiteral("new"),
                                               QStringLiteral("/app"), {{"perm", "ask"}});
        QVERIFY(created);
        m_session = created->value(QStringLiteral("chatId")).toInteger();
        QVERIFY(m_session > 0);
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        store = launchSignedIn(*m_server, QStringLiteral("owner"));
        store->setNotifier(std::make_shared<RecordingNotifier>());
        app = std::make_unique<AppModel>(store.get());
        opened.clear();
        bars().setUrlOpener([this](const QUrl& url) { opened << url; });
        QTRY_VERIFY_WITH_TIMEOUT(store->chat(m_session), 10000);
        app->selectChat(m_session);
        QCOMPARE(bars().chatId(), m_session);
        QVERIFY(bars().isSession());
        shown = std::make_unique<ShadowRows>(app->timeline(), shownBadge,
                                             QList<int>{TimelineModel::AgentBadgeRole});
        QTRY_VERIFY_WITH_TIMEOUT(!bars().working(), 15000);
    }

    void cleanup() {
        shown.reset();
        app.reset();
        store.reset();
        env.reset();
    }

    void queueRunsInOrderAndTheDeployIsAnnouncedOnceItIsEmpty() {
        // What the queue and the session look like at the moment the deploy is announced.
        QList<std::pair<int, bool>> atAnnouncement;
        connect(store.get(), &Store::deployReady, this, [&](qint64 chatId) {
            if (chatId == m_session)
                atAnnouncement.push_back({bars().backlogCount(), bars().working()});
        });
        const QList<qint64> ids{send(QStringLiteral("Rename the helper in utils")),
                                send(QStringLiteral("Then add a test for it")),
                                send(QStringLiteral("Build and deploy to staging"))};
        QVERIFY(ids[0] > 0 && ids[1] > ids[0] && ids[2] > ids[1]);

        // Watch the bubbles and the bars until the last message is done.
        QList<QStringList> trails(3);
        QStringList lines;
        QStringList buildLines;
        QList<qint64> startedInOrder;
        bool sawTwoQueued = false;
        const bool finished = QTest::qWaitFor(
            [&] {
                for (int i = 0; i < 3; ++i) {
                    const QString state = stateOf(ids[i]);
                    appendChanged(trails[i], state);
                    if (state == QLatin1String("processing") && !startedInOrder.contains(ids[i]))
                        startedInOrder << ids[i];
                }
                if (bars().working()) appendChanged(lines, bars().statusLine());
                if (bars().hasBuild()) appendChanged(buildLines, bars().buildLine());
                if (bars().backlogCount() == 2 &&
                    bars().backlogText() ==
                        QStringLiteral("2 messages queued — handled one by one, in order"))
                    sawTwoQueued = true;
                return answered(ids[2]) && !bars().working();
            },
            60000);
        QVERIFY2(finished, qPrintable(trails[2].join(" > ")));

        const QString trail =
            trails[0].join(">") + " / " + trails[1].join(">") + " / " + trails[2].join(">");
        QVERIFY2(startedInOrder == ids, qPrintable(trail));
        QVERIFY(sawTwoQueued);
        // Each went queued, then in work, then done, and stayed done. (In the
        // host's short pause between two turns, nothing is in work and the
        // newer reply makes the waiting ones read as done for a moment.)
        for (int i = 0; i < 3; ++i) {
            const QStringList seen = settled(trails[i]);
            const QStringList expected = i == 0 ? QStringList{"processing", "done"}
                                                : QStringList{"pending", "processing", "done"};
            QVERIFY2(seen.mid(seen.size() - expected.size()) == expected, qPrintable(trail));
            QVERIFY2(seen.indexOf("processing") == seen.lastIndexOf("processing"),
                     qPrintable(trail));
        }
        // The status line walked through the host's progress, in its order.
        const int reading = lines.indexOf(QStringLiteral("Reading your message"));
        const int tests = lines.lastIndexOf(QStringLiteral("Running the tests"));
        QVERIFY2(reading >= 0 && tests > reading, qPrintable(lines.join(" | ")));
        QVERIFY2(lines.contains(QStringLiteral("Deploying to staging — 60%")),
                 qPrintable(lines.join(" | ")));
        QVERIFY2(!buildLines.isEmpty() && buildLines.first().startsWith("Compiling app…"),
                 qPrintable(buildLines.join(" | ")));
        QVERIFY2(buildLines.last().startsWith("Deploying app to staging…"),
                 qPrintable(buildLines.join(" | ")));
        QTRY_VERIFY_WITH_TIMEOUT(!bars().hasBuild(), 5000);
        QCOMPARE(bars().backlogCount(), 0);

        // One announcement, made with the queue empty and the session idle.
        QTRY_COMPARE_WITH_TIMEOUT(atAnnouncement.size(), 1, 5000);
        QCOMPARE(atAnnouncement.first(), std::make_pair(0, false));
        // The conversation is on screen: no banner for it.
        QVERIFY(!store->inAppBanner());

        // The chip offers the preview, pulses until opened, then stays calm.
        QVariantMap chip = bars().deploy();
        QCOMPARE(chip.value("word").toString(), QStringLiteral("Preview"));
        QVERIFY(chip.value("fresh").toBool());
        QCOMPARE(bars().deployMenu().size(), 2);
        bars().openDeploy();
        QCOMPARE(opened.size(), 1);
        QCOMPARE(opened.first().scheme(), QStringLiteral("http"));
        QVERIFY(!bars().deploy().value("fresh").toBool());
        QCOMPARE(store->activeDeploy(m_session), std::nullopt);

        // The answer to the deploy names its own prompt, the latest one: no quote.
        for (const Message& m : store->messages().value(m_session))
            if (m.ccAnswersId() == ids[2]) {
                QVERIFY(app->timeline()->rowOfMessage(m.id) >= 0);
                QCOMPARE(shownAt(m.id).section(u'/', 1), QString());
            }
    }

    void stopEndsTheRunAndTheNextStartsWithTheStopButton() {
        const qint64 id = send(QStringLiteral("Run the whole test suite"));
        QVERIFY(id > 0);
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(id), QStringLiteral("processing"), 10000);
        QVERIFY(bars().working());
        QVERIFY(!bars().stopRequested());
        bars().stop();
        QVERIFY(bars().stopRequested());
        QTRY_VERIFY_WITH_TIMEOUT(!bars().working(), 10000);
        QVERIFY(!bars().stopRequested());
        QCOMPARE(stateOf(id), QStringLiteral("done"));
        bool stopped = false;
        for (const Message& m : store->messages().value(m_session))
            stopped |= m.ccAnswersId() == id && m.displayText().startsWith("⏹ Stopped");
        QVERIFY(stopped);

        // The next run offers stop again.
        const qint64 next = send(QStringLiteral("Now just say hello"));
        QTRY_VERIFY_WITH_TIMEOUT(bars().working(), 10000);
        QVERIFY(!bars().stopRequested());
        QTRY_COMPARE_WITH_TIMEOUT(stateOf(next), QStringLiteral("done"), 20000);
    }

    // The real send lights the status bar at once, before the host has said a
    // word; a priority send, text or voice, stops the run in progress as soon
    // as the server has the message.
    void sendGuessesWorkAndAPrioritySendStopsTheRun_data() {
        QTest::addColumn<bool>("voice");
        QTest::newRow("text") << false;
        QTest::newRow("voice") << true;
    }

    void sendGuessesWorkAndAPrioritySendStopsTheRun() {
        QFETCH(bool, voice);
        const QString text = QStringLiteral("Run the whole test suite");
        auto sending = store->sendMessage(m_session, text);
        QVERIFY(store->ccWorking(m_session));
        QVERIFY(bars().working());
        await(std::move(sending));
        qint64 running = 0;
        for (const Message& m : store->messages().value(m_session))
            if (m.id > 0 && m.displayText() == text) running = m.id;
        QVERIFY(running > 0);
        // The host itself names it in work (the guess would call it that already).
        QTRY_COMPARE_WITH_TIMEOUT(store->ccProcessingMsgId(m_session), std::optional(running),
                                  15000);

        if (voice) {
            QTemporaryFile recording;
            QVERIFY(recording.open());
            recording.write("not really m4a");
            recording.close();
            recording.setAutoRemove(false);
            await(store->sendVoiceMessage(m_session, "not really m4a", recording.fileName(),
                                          std::nullopt, TranscriptionEngine::whisper, true));
        } else {
            await(store->sendMessage(m_session, QStringLiteral("Stop, this one first"),
                                     std::nullopt, true));
        }
        QCOMPARE(store->lastError(), std::nullopt);
        // The host heard "stop": the run in progress ends as stopped.
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                for (const Message& m : store->messages().value(m_session))
                    if (m.ccAnswersId() == running)
                        return m.displayText().startsWith("⏹ Stopped");
                return false;
            }(),
            10000);
    }

    // Opening a session shows what its host holds now, not what it held, and
    // the model menu names the default model it stands for.
    void openingASessionPullsItsSettings() {
        app->clearSelection();
        // The client's key guards the owner's account now, which ended the name
        // token: the owner's other device pairs instead.
        m_owner.setToken(*signIn(*m_server, QStringLiteral("owner")).api.token);
        const qint64 self = agentkit::selfChat(m_owner);
        const auto set = agentkit::request(m_owner, self, QStringLiteral("setperm"), {},
                                           {{"chatId", m_session}, {"perm", "dangerous"}});
        QVERIFY(set && set->value("ok").toBool());
        app->selectChat(m_session);
        QTRY_COMPARE_WITH_TIMEOUT(store->ccPermission(m_session), Config::CCPermission::dangerous,
                                  15000);
        const QVariantMap inherited = bars().modelOptions().first().toMap();
        QCOMPARE(inherited.value("id").toString(), QString());
        QCOMPARE(inherited.value("name").toString(), store->defaultModelName() + " (default)");
        QVERIFY(agentkit::request(m_owner, self, QStringLiteral("setperm"), {},
                                  {{"chatId", m_session}, {"perm", "ask"}}));
    }
};

QTEST_MAIN(TestAgentBars)
#include "test_agent_bars.moc"
