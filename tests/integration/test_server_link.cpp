#include "store/ServerLink.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QWebSocket>

namespace {
QWebSocket* socketOf(const ServerLink& link) {
    const auto sockets = link.findChildren<QWebSocket*>();
    return sockets.isEmpty() ? nullptr : sockets.last();
}
} // namespace

// One server's link against the real server: up only at the first pong, a
// silent server dropped and rejoined, and back-off.
class TestServerLink : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    QUrl linkUrl(const Account& account) const { return *account.api.wsURL(); }

private slots:
    void init() {
        env = std::make_unique<ClientEnv>();
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void cleanup() {
        if (server) server->resume();
        server.reset();
        env.reset();
    }

    void upOnlyAtTheFirstPongAndSilenceDropsIt() {
        const Account alice = signIn(*server, "alice");
        ServerLink link(0.05); // a ping every second
        QSignalSpy ups(&link, &ServerLink::up);
        QSignalSpy downs(&link, &ServerLink::down);
        connect(&link, &ServerLink::reconnectDue, this, [&] { link.open(linkUrl(alice)); });
        bool upAtConnected = true;
        link.open(linkUrl(alice));
        QVERIFY(link.hasSocket() && !link.isUp());
        // The socket is connected, but the server stops before it can answer the ping.
        connect(socketOf(link), &QWebSocket::connected, this, [&] {
            upAtConnected = link.isUp();
            server->pause();
        });
        QTRY_VERIFY_WITH_TIMEOUT(!upAtConnected, 10000);
        QTest::qWait(500); // long enough for a pong, had the server been there to send one
        QVERIFY(!link.isUp() && ups.isEmpty());
        server->resume();
        QTRY_COMPARE_WITH_TIMEOUT(ups.count(), 1, 10000);
        QVERIFY(link.isUp());
        QCOMPARE(link.reconnectDelay(), 1.0);

        // Silent again: the next ping goes unanswered and the link comes down.
        server->pause();
        QTRY_COMPARE_WITH_TIMEOUT(downs.count(), 1, 10000);
        QCOMPARE(downs.first().first().toBool(), true);
        QVERIFY(!link.isUp());
        QCOMPARE(link.reconnectDelay(), 2.0);
        QTRY_COMPARE_WITH_TIMEOUT(link.attempts(), 2, 10000);
        server->resume();
        QTRY_COMPARE_WITH_TIMEOUT(ups.count(), 2, 10000);
        QCOMPARE(link.reconnectDelay(), 1.0);
    }

    void refusedAttemptsBackOffAndAnUnwantedLinkStaysDown() {
        const Account alice = signIn(*server, "alice");
        ServerLink link(0.02);
        bool wanted = true;
        link.setWanted([&] { return wanted; });
        QList<double> delays;
        QList<qint64> dueAt;
        QElapsedTimer clock;
        connect(&link, &ServerLink::reconnectDue, this, [&] {
            delays << link.reconnectDelay();
            dueAt << clock.elapsed();
            link.open(linkUrl(alice));
        });
        QSignalSpy ups(&link, &ServerLink::up);
        QSignalSpy downs(&link, &ServerLink::down);
        link.open(linkUrl(alice));
        QTRY_COMPARE_WITH_TIMEOUT(ups.count(), 1, 10000);
        clock.start();
        server->kill();
        QTRY_VERIFY_WITH_TIMEOUT(delays.size() >= 5, 20000);
        // Waits of 1, 2, 4, 8, 15 s (scaled); the delay read at each attempt is the next wait.
        QCOMPARE(delays.mid(0, 5), (QList<double>{2, 4, 8, 15, 15}));
        const QList<double> waits{2, 4, 8, 15};
        for (int i = 1; i < 5; ++i)
            QVERIFY2(dueAt[i] - dueAt[i - 1] >= qint64(waits[i - 1] * 1000 * 0.02 * 0.8),
                     qPrintable(QString("attempt %1 came too early").arg(i)));
        // Only the first loss ended a link that was up.
        QCOMPARE(downs.first().first().toBool(), true);
        QVERIFY(!downs.last().first().toBool());

        QVERIFY(server->restart());
        QTRY_COMPARE_WITH_TIMEOUT(ups.count(), 2, 15000);
        QCOMPARE(link.reconnectDelay(), 1.0);

        // Once the owner no longer wants it, a loss schedules nothing.
        wanted = false;
        const int before = link.attempts();
        server->kill();
        QTRY_VERIFY_WITH_TIMEOUT(!link.isUp() && !link.hasSocket(), 10000);
        QVERIFY(!link.reconnectScheduled());
        QCOMPARE(link.attempts(), before);
    }
};

QTEST_GUILESS_MAIN(TestServerLink)
#include "test_server_link.moc"
