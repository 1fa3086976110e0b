#include "agent/Builds.h"
#include "core/Prefs.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QJsonDocument>
#include <QTest>
#include <random>

using namespace fixtures;

namespace {

QString buildFrame(qint64 chatId, const QString& state, std::optional<int> percent = {}) {
    QJsonObject o{{"type", "buildStatus"}, {"chatId", chatId}, {"state", state}};
    if (percent) o.insert("percent", *percent);
    return QString::fromUtf8(QJsonDocument(o).toJson());
}

QString messageFrame(const Message& m) {
    return QString::fromUtf8(
        QJsonDocument(QJsonObject{{"type", "message"}, {"message", m.toJson()}}).toJson());
}

QString deployLine(const QString& url, const QString& label = {}, const QString& kind = "web") {
    QJsonObject o{{"url", url}, {"kind", kind}};
    if (!label.isEmpty()) o.insert("label", label);
    return "Shipped.\n[DEPLOY]" +
           QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

BuildStatus status(const QString& state, std::optional<qint64> percent = {},
                   std::optional<QString> label = {}) {
    return BuildStatus{state, percent, label};
}

} // namespace

// Build progress, its dead-man switch, and deploys from announcement to notice.
class TestAgentBuilds : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void barLines_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<int>("percent"); // -1: none
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("hint");
        QTest::addColumn<QString>("symbol");
        QTest::newRow("waiting") << "waiting" << -1 << ""
                                 << "Waiting for build to finish…"
                                 << "Waiting for a build…"
                                 << "clock";
        QTest::newRow("waiting named") << "waiting" << -1 << "iOS"
                                       << "Waiting for iOS to finish…"
                                       << "Waiting for iOS…"
                                       << "clock";
        QTest::newRow("queued") << "queued" << -1 << "web"
                                << "Queued · web"
                                << "Build queued…"
                                << "clock";
        QTest::newRow("a build step that ships") << "building" << 40 << "Uploading to TestFlight"
                                                 << "Deploying Uploading to TestFlight… 40%"
                                                 << "Deploying… 40%"
                                                 << "paperplane.fill";
        QTest::newRow("compiling at zero") << "building" << 0 << ""
                                           << "Compiling build… 0%"
                                           << "Compiling… 0%"
                                           << "hammer.fill";
        QTest::newRow("deploying") << "deploying" << -1 << "site"
                                   << "Deploying site…"
                                   << "Deploying…"
                                   << "paperplane.fill";
        QTest::newRow("another state") << "linking" << 5 << ""
                                       << "Compiling build…"
                                       << "Compiling… 5%"
                                       << "hammer.fill";
    }

    void barLines() {
        QFETCH(QString, state);
        QFETCH(int, percent);
        QFETCH(QString, label);
        const BuildStatus s =
            status(state, percent < 0 ? std::nullopt : std::optional<qint64>(percent),
                   label.isEmpty() ? std::nullopt : std::optional(label));
        QTEST(buildBarLine(s), "line");
        QTEST(buildRowHint(s), "hint");
        QTEST(buildSymbol(s), "symbol");
    }

    void silentBuildClearsItselfAndOnlyTheLastTimerCounts() {
        auto store = offlineStore(0.002); // 90 s become 180 ms
        store->handleEvent(buildFrame(sessionId, "building", 10), 0);
        QTest::qWait(100);
        store->handleEvent(buildFrame(sessionId, "building", 60), 0);
        QTest::qWait(120); // the first timer has fired, the second not yet
        QCOMPARE(store->builds().value(sessionId).percent, 60);
        QTRY_VERIFY_WITH_TIMEOUT(!store->builds().contains(sessionId), 1000);
    }

    void pollPushesOutAPendingClear() {
        auto store = offlineStore(0.002);
        store->handleEvent(buildFrame(sessionId, "building"), 0);
        store->syncBuilds(QMap<QString, BuildStatus>{{"42", status("deploying")}}, 0);
        QTest::qWait(300);
        QCOMPARE(store->builds().value(sessionId).state, "deploying");
    }

    void doneRemovesAndMovesTheGeneration() {
        auto store = offlineStore();
        store->handleEvent(buildFrame(sessionId, "done"), 0);
        QCOMPARE(store->buildClearGen().value(sessionId), 1);
        store->handleEvent(buildFrame(sessionId, "building"), 0);
        store->handleEvent(buildFrame(sessionId, "idle"), 0);
        QVERIFY(!store->builds().contains(sessionId));
        QCOMPARE(store->buildClearGen().value(sessionId), 3);
    }

    void pollIsTheTruthForItsServerOnly() {
        auto store = offlineStore();
        const qint64 onTwo = IDCodec::encode(5, 2);
        seam(store).builds() = {{onTwo, status("building")}, {9, status("building")}};
        store->syncBuilds(QMap<QString, BuildStatus>{{"42", status("queued")}, {"x", status("a")}},
                          0);
        QCOMPARE(store->builds().keys().size(), 2);
        QVERIFY(store->builds().contains(onTwo));
        QVERIFY(!store->builds().contains(9));
        store->syncBuilds(QMap<QString, BuildStatus>{{"5", status("deploying")}}, 2);
        QCOMPARE(store->builds().value(onTwo).state, "deploying");
        store->syncBuilds(std::nullopt, 0);
        QCOMPARE(store->builds().keys(), QList<qint64>{onTwo});
    }

    void bootstrapAndPollFillBuilds() {
        HostEcho echo;
        echo.builds = QJsonObject{{"42", QJsonObject{{"state", "building"}, {"percent", 30}}}};
        auto store = storeOn(echo, 0.01);
        BootstrapResponse reply;
        reply.me = user(meId, "me");
        reply.chats = {session()};
        reply.builds = QMap<QString, BuildStatus>{{"42", status("queued")}};
        store->mergeBootstrap(reply);
        QCOMPARE(store->builds().value(sessionId).state, "queued");
        store->ensureConnected(); // the shell's call when the app becomes active
        QVERIFY(store->buildPollStarted());
        QTRY_COMPARE_WITH_TIMEOUT(store->builds().value(sessionId).percent, 30, 2000);
        echo.builds = {};
        QTRY_VERIFY_WITH_TIMEOUT(store->builds().isEmpty(), 2000);
    }

    void latestDeployFromThreeSources() {
        auto store = offlineStore();
        QVERIFY(!store->latestDeploy(sessionId));
        seam(store).messages()[sessionId] = {
            message(50, agentMember, deployLine("https://a.example/x", "A"))};
        QCOMPARE(store->latestDeploy(sessionId)->msgId, 50);
        seam(store).chats()[0].lastMessage =
            message(60, agentMember, deployLine("https://b.example", "B"));
        QCOMPARE(store->latestDeploy(sessionId)->target.label, "B");
        store->refreshGlobalDeploy();
        QCOMPARE(store->lastGlobalDeployId(), 60);
        // The message goes away; the record keeps the deploy.
        seam(store).messages()[sessionId].clear();
        seam(store).chats()[0].lastMessage.reset();
        QCOMPARE(store->latestDeploy(sessionId)->msgId, 60);
        Store reloaded;
        QCOMPARE(reloaded.deployByChat().value(sessionId).msgId, 60);
        QCOMPARE(reloaded.lastGlobalDeploy()->label, "B");
        QCOMPARE(reloaded.lastGlobalDeployId(), 60);
    }

    void deployTrackingFollowsEveryTimelineChange() {
        auto store = offlineStore();
        seam(store).messages()[sessionId] = {};
        QVERIFY(!store->latestDeploy(sessionId)); // from here on the answer is kept and moved
        std::mt19937 random(7);
        for (int step = 0; step < 600; ++step) {
            const qint64 id = 1 + qint64(random() % 40);
            const quint32 roll = random() % 6;
            if (roll < 2)
                store->removeMessage(sessionId, id);
            else
                store->upsertMessage(
                    message(id, agentMember,
                            roll == 2 ? deployLine(QString("https://d%1.example").arg(id))
                                      : QString("plain %1").arg(step)));
            std::optional<qint64> expected;
            const QList<Message>& list = store->messages().constFind(sessionId).value();
            for (auto m = list.crbegin(); m != list.crend() && !expected; ++m)
                if (m->deployTarget()) expected = m->id;
            const auto latest = store->latestDeploy(sessionId);
            QCOMPARE(latest ? std::optional(latest->msgId) : std::nullopt, expected);
        }
    }

    void seenDeployIsNoLongerActive() {
        auto store = offlineStore();
        seam(store).messages()[sessionId] = {
            message(50, agentMember, deployLine("https://a.example", "A"))};
        QCOMPARE(store->activeDeploy(sessionId)->label, "A");
        store->markDeploySeen(sessionId);
        QCOMPARE(store->seenDeploy().value(sessionId), 50);
        QVERIFY(!store->activeDeploy(sessionId));
        QCOMPARE(store->latestDeploy(sessionId)->target.label, "A"); // the chip falls back to it
        QCOMPARE(Store().seenDeploy().value(sessionId), 50);
    }

    void notificationWaitsForTheQueue() {
        auto store = offlineStore();
        QList<QStringList> shown;
        connect(store.get(), &Store::deployReady, store.get(),
                [&](qint64 chatId, qint64 msgId, DeployTarget, QString title, QString body) {
                    shown.push_back({QString::number(chatId), QString::number(msgId), title, body});
                });
        // The deploy answered 40; the host works on 45 and 47 waits behind it.
        seam(store).messages()[sessionId] = {
            message(40, meId, "build it"),
            message(45, meId, "then this"),
            message(47, meId, "and this"),
            message(50, agentMember, deployLine("https://s.example", "Staging")),
            message(51, agentMember, "💭 Claude is working…\nCCMSG=45\nCCSEEN=45"),
        };
        store->notifyDeployReadyIfNeeded(sessionId);
        QVERIFY(shown.isEmpty());
        QCOMPARE(store->backloggedMessages(sessionId).size(), 1);
        store->handleEvent(messageFrame(message(52, agentMember, "Both done.\nCCDONE=45,47")), 0);
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown[0],
                 (QStringList{"42", "50", "Claude Code", "✅ Done — ready to preview · Staging"}));
        store->notifyDeployReadyIfNeeded(sessionId);
        QCOMPARE(shown.size(), 1); // once per deploy
        QCOMPARE(Store().notifiedDeploy().value(sessionId), 50);
    }

    void silencedNotificationsAnnounceNothing() {
        auto store = offlineStore();
        int shown = 0;
        connect(store.get(), &Store::deployReady, store.get(), [&] { ++shown; });
        seam(store).notifPrefs().muteAll = true;
        seam(store).messages()[sessionId] = {
            message(50, agentMember, deployLine("https://s.example", "", "app"))};
        store->notifyDeployReadyIfNeeded(sessionId);
        QCOMPARE(shown, 0);
        seam(store).notifPrefs().muteAll = false;
        store->notifyDeployReadyIfNeeded(sessionId);
        QCOMPARE(shown, 1);
    }

    void deployLinks_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("link"); // empty: none
        QTest::newRow("no scheme") << "app.example.com/x"
                                   << "https://app.example.com/x";
        QTest::newRow("trimmed") << "  http://a.example/b \n"
                                 << "http://a.example/b";
        QTest::newRow("upper-case scheme kept") << "HTTPS://a.example"
                                                << "https://a.example";
        QTest::newRow("unparsable") << "https://"
                                    << "";
    }

    void deployLinks() {
        QFETCH(QString, url);
        QFETCH(QString, link);
        const auto parsed = deployURL(DeployTarget{"web", url, std::nullopt});
        QCOMPARE(parsed ? parsed->toString() : QString(), link);
    }

    void shownNames() {
        QCOMPARE(deployShownName({"web", "https://a.example/x", std::nullopt}), "a.example/x");
        QCOMPARE(deployShownName({"web", "http://a.example", QString("")}), "a.example");
        QCOMPARE(deployReadyBody({"app", "https://a.example", QString("Beta")}),
                 "✅ Done — update ready to install · Beta");
    }
};

QTEST_GUILESS_MAIN(TestAgentBuilds)
#include "test_agent_builds.moc"
