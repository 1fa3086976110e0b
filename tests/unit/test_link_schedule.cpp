#include "net/Pinning.h"
#include "store/ServerLink.h"
#include "support/ClientEnv.h"

#include <QCoroTimer>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

namespace {
struct Round {
    qint64 startedAt = 0;
    qint64 endedAt = 0;
    bool bootstrap = false;
};

// A round that takes `ms` to fetch and records when it ran.
ServerLink::PollRound recording(QList<Round>& rounds, const QElapsedTimer& clock, int ms) {
    return [&rounds, &clock, ms](bool bootstrap, std::function<bool()>) -> QCoro::Task<> {
        rounds.append({clock.elapsed(), 0, bootstrap});
        const qsizetype index = rounds.size() - 1;
        co_await QCoro::sleepFor(std::chrono::milliseconds(ms));
        rounds[index].endedAt = clock.elapsed();
    };
}

QList<int> bootstrapRounds(const QList<Round>& rounds) {
    QList<int> numbers;
    for (qsizetype i = 0; i < rounds.size(); ++i)
        if (rounds[i].bootstrap) numbers.append(int(i) + 1);
    return numbers;
}
} // namespace

// A link's own schedule without a server: the polling rounds, the burst after
// a send, and the address its calls go to.
class TestLinkSchedule : public QObject {
    Q_OBJECT

    std::unique_ptr<ClientEnv> env;

private slots:
    void init() { env = std::make_unique<ClientEnv>(); }
    void cleanup() { env.reset(); }

    void roundsWaitASecondAfterTheLastAndEveryFifteenthBootstraps() {
        ServerLink link(0.02); // a second is 20 ms
        QList<Round> rounds;
        QElapsedTimer clock;
        clock.start();
        link.startPolling(recording(rounds, clock, 15));
        QVERIFY(link.isPolling());
        QTRY_VERIFY_WITH_TIMEOUT(rounds.size() >= 31 && rounds[30].endedAt > 0, 20000);
        QCOMPARE(bootstrapRounds(rounds.mid(0, 31)), (QList<int>{15, 30}));
        QVERIFY(rounds[0].startedAt >= 16);
        // A slow round is never overlapped: the next one waits its second after it.
        for (qsizetype i = 1; i < 31; ++i)
            QVERIFY2(rounds[i].startedAt - rounds[i - 1].endedAt >= 16,
                     qPrintable(QString("round %1 came too early").arg(i + 1)));

        link.stopPolling();
        QVERIFY(!link.isPolling());
        const qsizetype stoppedAt = rounds.size();
        QTest::qWait(200); // ten seconds of the link's time
        QCOMPARE(rounds.size(), stoppedAt);

        // A restart counts afresh: its first bootstrap is again its fifteenth round.
        rounds.clear();
        link.startPolling(recording(rounds, clock, 0));
        QTRY_VERIFY_WITH_TIMEOUT(rounds.size() >= 15, 20000);
        QCOMPARE(bootstrapRounds(rounds.mid(0, 15)), QList<int>{15});
        link.stopPolling();
        // The round under way still writes to `rounds`: it ends before they go.
        QTRY_VERIFY_WITH_TIMEOUT(rounds.last().endedAt > 0, 10000);
    }

    // A round checks `current` after each fetch; a stop or a restart meanwhile ends it.
    void aRoundUnderWayLearnsOfAStopAndARestart() {
        ServerLink link(0.02);
        QList<bool> currentAfterFetch;
        int inFetch = 0;
        const auto round = [&](bool, std::function<bool()> current) -> QCoro::Task<> {
            ++inFetch;
            co_await QCoro::sleepFor(std::chrono::milliseconds(100));
            --inFetch;
            currentAfterFetch.append(current());
        };
        link.startPolling(round);
        QTRY_VERIFY_WITH_TIMEOUT(inFetch > 0, 10000);
        link.stopPolling();
        QTRY_COMPARE_WITH_TIMEOUT(currentAfterFetch, QList<bool>{false}, 10000);

        link.startPolling(round);
        QTRY_VERIFY_WITH_TIMEOUT(inFetch > 0, 10000);
        link.startPolling(round);
        QTRY_VERIFY_WITH_TIMEOUT(currentAfterFetch.size() >= 3, 10000);
        // The first round of the replaced run is stale; the new run's are current.
        QCOMPARE(currentAfterFetch.mid(0, 3), (QList<bool>{false, false, true}));
        link.stopPolling();
        QTRY_COMPARE_WITH_TIMEOUT(inFetch, 0, 10000); // nothing left to touch this test's state
    }

    void burstRunsAtOnceThenAtItsWaitsWhileWanted() {
        ServerLink link(0.1); // waits of 0, 40, 90 and 150 ms
        QElapsedTimer clock;
        clock.start();
        QList<qint64> startedAt;
        link.burst([] { return true; },
                   [&]() -> QCoro::Task<> {
                       startedAt.append(clock.elapsed());
                       co_return;
                   });
        QCOMPARE(startedAt.size(), 1); // the first round starts before burst returns
        QTRY_COMPARE_WITH_TIMEOUT(startedAt.size(), 4, 10000);
        const QList<qint64> waits{40, 90, 150};
        for (int i = 1; i < 4; ++i)
            QVERIFY2(startedAt[i] - startedAt[i - 1] >= waits[i - 1] * 8 / 10,
                     qPrintable(QString("round %1 came too early").arg(i + 1)));
        QTest::qWait(300);
        QCOMPARE(startedAt.size(), 4);

        // Once no longer wanted (another conversation selected), it ends.
        int rounds = 0;
        link.burst([&] { return rounds < 2; },
                   [&]() -> QCoro::Task<> {
                       ++rounds;
                       co_return;
                   });
        QTRY_COMPARE_WITH_TIMEOUT(rounds, 2, 10000);
        QTest::qWait(300);
        QCOMPARE(rounds, 2);
    }

    // The address is kept as given; a pin learnt later moves the calls onto TLS
    // without the address being set again.
    void callsFollowAPinLearntAfterTheAddress() {
        ServerLink link;
        QSignalSpy changes(&link, &ServerLink::endpointChanged);
        QVERIFY(!link.api());
        link.setToken(QStringLiteral("t"));
        QVERIFY(!link.api()); // no address, no calls
        link.setBase(QUrl(QStringLiteral("http://127.0.0.1:4711")));
        link.setBase(QUrl(QStringLiteral("http://127.0.0.1:4711")));
        link.setToken(QStringLiteral("t"));
        QCOMPARE(changes.count(), 2);
        QCOMPARE(link.api()->base, QUrl(QStringLiteral("http://127.0.0.1:4711")));
        QCOMPARE(link.api()->token, std::optional<QString>(QStringLiteral("t")));
        PinRegistry::shared().setPin(QStringLiteral("F"), QStringLiteral("127.0.0.1:4711"));
        QCOMPARE(link.api()->base.scheme(), QStringLiteral("https"));
        QCOMPARE(link.base(), std::optional<QUrl>(QUrl(QStringLiteral("http://127.0.0.1:4711"))));
        link.setToken(std::nullopt);
        QVERIFY(!link.api()->token);
        QCOMPARE(changes.count(), 3);
    }
};

QTEST_GUILESS_MAIN(TestLinkSchedule)
#include "test_link_schedule.moc"
