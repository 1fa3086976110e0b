#include "store/ServerLink.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QElapsedTimer>
#include <QTest>
#include <QWebSocket>

// The live link against the real server: handshake by first pong, the active
// flag, back-off through refusals, and sockets that were replaced.
class TestSocket : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    bool serverSeesActive(const Account& observer, qint64 userId) {
        return await(observer.api.userClient(userId)).online.value_or(false);
    }

private slots:
    void init() {
        env = std::make_unique<ClientEnv>();
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void cleanup() {
        server.reset();
        env.reset();
    }

    void firstPongConnectsAndSendsActive() {
        {
            const Account alice = signIn(*server, "alice");
            Store bare;
            seam(bare).serverURLString() = server->httpUrl();
            seam(bare).token() = *alice.api.token;
            bare.connectWS();
            QVERIFY(bare.linkOpen(0));
            QVERIFY(!bare.linkUp(0)); // nothing counts before the first pong
            QTRY_VERIFY_WITH_TIMEOUT(bare.linkUp(0), 10000);
        }
        auto store = launchSignedIn(*server, "alice");
        QCOMPARE(store->link(0)->reconnectDelay(), 1.0);
        const Account bob = signIn(*server, "bob");
        QTRY_VERIFY_WITH_TIMEOUT(serverSeesActive(bob, store->me()->id), 5000);
        store->setAppActive(false);
        QTRY_VERIFY_WITH_TIMEOUT(!serverSeesActive(bob, store->me()->id), 5000);
    }

    void activeWhileDownArrivesWithTheNextFirstPong() {
        auto store = launchSignedIn(*server, "alice");
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 10000);
        store->setAppActive(false);
        server->kill();
        QTRY_VERIFY_WITH_TIMEOUT(!store->linkUp(0), 5000);
        store->setAppActive(true); // dropped now: nobody to tell
        QVERIFY(server->restart());
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 15000);
        const Account bob = signIn(*server, "bob");
        QTRY_VERIFY_WITH_TIMEOUT(serverSeesActive(bob, store->me()->id), 5000);
    }

    void backOffDoublesToFifteenAndAPongResetsIt() {
        auto store = launchSignedIn(*server, "alice", 0.02);
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 10000);
        QList<double> delays;
        QList<qint64> attemptsAt;
        QElapsedTimer clock;
        clock.start();
        int previous = store->link(0)->attempts();
        connect(store.get(), &Store::connectionChanged, this, [&] {
            if (store->link(0)->attempts() == previous) return; // only new sockets are attempts
            previous = store->link(0)->attempts();
            delays << store->link(0)->reconnectDelay();
            attemptsAt << clock.elapsed();
        });
        server->kill();
        QTRY_VERIFY_WITH_TIMEOUT(delays.size() >= 6, 20000);
        // The waits were 1, 2, 4, 8, 15, 15 s (scaled): the delay read at each attempt
        // is the next wait.
        QCOMPARE(delays.mid(0, 6), QList<double>({2, 4, 8, 15, 15, 15}));
        const QList<double> waits{2, 4, 8, 15, 15};
        for (int i = 1; i < 6; ++i)
            QVERIFY2(attemptsAt[i] - attemptsAt[i - 1] >= qint64(waits[i - 1] * 1000 * 0.02 * 0.8),
                     qPrintable(QString("attempt %1 came too early").arg(i)));
        QVERIFY(server->restart());
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 15000);
        QCOMPARE(store->link(0)->reconnectDelay(), 1.0);
    }

    void replacedSocketsEndQuietly() {
        auto store = launchSignedIn(*server, "alice");
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 10000);
        const int first = store->link(0)->attempts();
        store->connectWS(); // the old socket is closed; its callbacks must change nothing
        QCOMPARE(store->link(0)->attempts(), first + 1);
        QTest::qWait(300);
        QVERIFY(!store->link(0)->reconnectScheduled());
        QCOMPARE(store->link(0)->reconnectDelay(), 1.0);
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0), 10000);

        // Without a token nothing happens and the current socket stays.
        const int current = store->link(0)->attempts();
        seam(store).token().reset();
        store->connectWS();
        QCOMPARE(store->link(0)->attempts(), current);
        QVERIFY(store->linkOpen(0));
        store->link(0)->scheduleReconnect(); // a logged-out store schedules nothing
        QVERIFY(!store->link(0)->reconnectScheduled());
    }
};

QTEST_GUILESS_MAIN(TestSocket)
#include "test_socket.moc"
