#include "store/ServerLink.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QWebSocket>

namespace {
// A message sent over a plain blocking connection, so that nothing else in
// this process runs meanwhile: when it returns, the server has written the
// event to every link of the conversation, and no link has read it yet.
bool postBlocking(const ServerProcess& server, const Account& from, qint64 chatId,
                  const QString& text) {
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.httpPort());
    if (!socket.waitForConnected(10000)) return false;
    const QByteArray body = QJsonDocument(QJsonObject{{"text", text}}).toJson();
    socket.write("POST /api/chats/" + QByteArray::number(chatId) + "/messages HTTP/1.1\r\n" +
                 "Host: 127.0.0.1\r\nAuthorization: Bearer " + from.api.token->toUtf8() +
                 "\r\nContent-Type: application/json\r\nContent-Length: " +
                 QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
    QByteArray reply;
    while (!reply.contains("\r\n\r\n") || !reply.trimmed().endsWith('}')) {
        if (!socket.waitForReadyRead(10000)) return false;
        reply += socket.readAll();
    }
    return reply.startsWith("HTTP/1.1 2");
}

int copiesOf(const Store& store, qint64 chatId, const QString& text) {
    const QList<Message> timeline = store.messages().value(chatId);
    return int(std::count_if(timeline.cbegin(), timeline.cend(),
                             [&](const Message& m) { return m.text == text; }));
}
} // namespace

// The live link against the real server: handshake by first pong, the active
// flag, back-off through refusals, and sockets that were replaced, with what
// they still carried.
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
            seam(bare).setServerURLString(server->httpUrl());
            seam(bare).setToken(*alice.api.token);
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
        seam(store).setToken(std::nullopt);
        store->connectWS();
        QCOMPARE(store->link(0)->attempts(), current);
        QVERIFY(store->linkOpen(0));
        store->link(0)->scheduleReconnect(); // a logged-out store schedules nothing
        QVERIFY(!store->link(0)->reconnectScheduled());
    }

    // A message the server wrote to a socket just before it was replaced is
    // dropped with that socket; the store fetches it again, once.
    void whatAReplacedSocketCarriedIsFetchedAgain() {
        auto store = launchSignedIn(*server, "alice");
        const Account bob = signIn(*server, "bob");
        const ChatSummary chat = await(bob.api.createDirect(store->me()->id));
        QTRY_VERIFY_WITH_TIMEOUT(store->chat(chat.id), 10000);
        store->setSelectedChatId(chat.id);
        await(store->openChat(chat.id));
        QTRY_VERIFY_WITH_TIMEOUT(!store->resyncRunning(), 10000);
        QVERIFY(postBlocking(*server, bob, chat.id, "on time"));
        QTRY_COMPARE_WITH_TIMEOUT(copiesOf(*store, chat.id, "on time"), 1, 10000);

        // The replacement hangs in its opening handshake, so no first pong
        // resyncs: only the report of the retired socket can bring the message.
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        QSignalSpy stale(store->link(0), &ServerLink::staleFrame);
        QVERIFY(postBlocking(*server, bob, chat.id, "during the handover"));
        store->link(0)->open(QUrl(QStringLiteral("ws://127.0.0.1:%1/ws").arg(silent.serverPort())));
        QTRY_COMPARE_WITH_TIMEOUT(copiesOf(*store, chat.id, "during the handover"), 1, 10000);
        QVERIFY(!store->linkUp(0));
        QCOMPARE(stale.count(), 1);

        // Back onto the server: the hanging socket had carried nothing. A
        // message sent as the new socket comes up arrives once, however it comes.
        store->connectWS();
        QVERIFY(postBlocking(*server, bob, chat.id, "as it comes up"));
        QTRY_VERIFY_WITH_TIMEOUT(store->linkUp(0) && !store->resyncRunning(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(copiesOf(*store, chat.id, "as it comes up"), 1, 10000);
        QCOMPARE(stale.count(), 1);
        for (const QString text : {"on time", "during the handover", "as it comes up"})
            QCOMPARE(copiesOf(*store, chat.id, text), 1);
    }
};

QTEST_GUILESS_MAIN(TestSocket)
#include "test_socket.moc"
