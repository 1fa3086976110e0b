#include "agent/Usage.h"
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QTest>

using namespace fixtures;

namespace {
const QDateTime now = QDateTime(QDate(2025, 3, 1), QTime(12, 0), Qt::UTC);

ClaudeUsageWindow window(std::optional<double> utilization, std::optional<qint64> resetInSeconds) {
    ClaudeUsageWindow w;
    w.utilization = utilization;
    if (resetInSeconds) w.resetsAt = now.addSecs(*resetInSeconds).toString(Qt::ISODateWithMs);
    return w;
}
} // namespace

// Pace of the usage windows and the host poll that feeds them.
class TestAgentUsage : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void pace_data() {
        QTest::addColumn<double>("utilization"); // negative: none
        QTest::addColumn<qint64>("resetIn");     // 0: no reset date
        QTest::addColumn<double>("expected");    // negative: none
        QTest::addColumn<QString>("pill");
        const double w = UsagePace::fiveHourWindow;
        // 50.2 % of the window elapsed: 49.8 % of 18000 s remain.
        QTest::newRow("rounded equal") << 50.4 << qint64(0.498 * w) << 50.2 << "On track";
        QTest::newRow("ahead") << 51.0 << qint64(w / 2) << 50.0 << "Ahead of pace";
        QTest::newRow("behind") << 10.0 << qint64(w / 2) << 50.0 << "On track";
        QTest::newRow("reset in the past") << 99.0 << -60ll << 100.0 << "On track";
        QTest::newRow("no reset date") << 80.0 << 0ll << -1.0 << "On track";
        QTest::newRow("no figure, clamped") << -1.0 << qint64(2 * w) << 0.0 << "On track";
    }

    void pace() {
        QFETCH(double, utilization);
        QFETCH(qint64, resetIn);
        QFETCH(double, expected);
        QFETCH(QString, pill);
        const auto w = window(utilization < 0 ? std::nullopt : std::optional(utilization),
                              resetIn ? std::optional(resetIn) : std::nullopt);
        const auto elapsed = UsagePace::expected(w, UsagePace::fiveHourWindow, now);
        QCOMPARE(elapsed.has_value(), expected >= 0);
        if (elapsed) QVERIFY(qAbs(*elapsed - expected) < 0.01);
        QCOMPARE(UsagePace::statusPill(UsagePace::overPace(w, UsagePace::fiveHourWindow, now)),
                 pill);
    }

    void utilIsClamped() {
        QCOMPARE(UsagePace::util(window(130, {})), 100.0);
        QCOMPARE(UsagePace::util(window(-3, {})), 0.0);
    }

    void countdowns_data() {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("days") << 90061ll << "1d 1h";
        QTest::newRow("hours") << 3660ll << "1h 1m";
        QTest::newRow("minutes") << 59ll << "0m";
        QTest::newRow("past") << -500ll << "0m";
    }

    void countdowns() {
        QFETCH(qint64, seconds);
        QFETCH(QString, text);
        QCOMPARE(UsagePace::countdown(seconds), text);
        QCOMPARE(UsagePace::countdown(now.addSecs(seconds), now), text);
    }

    void resetClockShowsTheDateOnlyWhenFar() {
        const QString near = UsagePace::resetClock(now.addSecs(3600), now);
        const QString far = UsagePace::resetClock(now.addDays(3), now);
        QVERIFY(!near.isEmpty());
        QVERIFY(far.endsWith(UsagePace::resetClock(now.addDays(3), now.addDays(3))));
        QVERIFY(far.size() > near.size());
    }

    void oneMissedPollIsForgiven() {
        HostEcho echo;
        echo.hostStatus = QJsonObject{
            {"online", true},
            {"mac", "Studio"},
            {"platform", "macos"},
            {"usage", QJsonObject{{"email", "me@x.example"},
                                  {"fiveHour", QJsonObject{{"utilization", 12.5}}}}},
            {"accounts", QJsonArray{QJsonObject{{"email", "b@x.example"}}}},
            {"chatAccounts", QJsonObject{{"42", "b@x.example"}, {"nope", "c@x.example"}}}};
        auto store = storeOn(echo);
        QCoro::waitFor(store->refreshClaudeUsage());
        QVERIFY(store->claudeHostOnline());
        QCOMPARE(store->claudeHostName(), "Studio");
        QCOMPARE(store->serverPlatform().value(0), "macos");
        QCOMPARE(store->serverClaudeEmail().value(0), "me@x.example");
        QCOMPARE(store->macNamedAccounts().size(), 1);
        QCOMPARE(store->macChatAccounts(), (QHash<qint64, QString>{{42, "b@x.example"}}));
        QCOMPARE(store->chatAccountEmail(sessionId), "b@x.example");

        echo.hostStatus.reset();
        QCoro::waitFor(store->refreshClaudeUsage());
        QVERIFY(store->claudeHostOnline());
        QCoro::waitFor(store->refreshClaudeUsage());
        QVERIFY(!store->claudeHostOnline());
        QCOMPARE(store->hostPollFails(), 2);
        // The figures stay for the next launch.
        Store reloaded;
        QCOMPARE(reloaded.claudeUsage()->fiveHour->utilization, 12.5);
        QCOMPARE(reloaded.claudeHostName(), "Studio");
    }

    void hostPollRunsWhileSignedIn() {
        HostEcho echo;
        echo.hostStatus = QJsonObject{{"online", true}};
        Prefs::shared().setValue("primaryBaseURL", echo.url());
        Prefs::shared().setValue("token", "t");
        Store store(StoreOptions{0.01});
        QTRY_VERIFY_WITH_TIMEOUT(echo.hostStatusCalls >= 2, 3000);
        QVERIFY(store.claudeHostOnline());
        store.logout();
        const int calls = echo.hostStatusCalls;
        QTest::qWait(150);
        QVERIFY(echo.hostStatusCalls <= calls + 1); // idle without a token
        QVERIFY(store.serverClaudeEmail().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAgentUsage)
#include "test_agent_usage.moc"
