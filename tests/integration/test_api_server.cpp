#include "net/Api.h"
#include "net/Pinning.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {
// A peer that answers every request with the same raw HTTP bytes (or never).
class CannedPeer : public QObject {
public:
    explicit CannedPeer(QByteArray reply) : m_reply(std::move(reply)) {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = m_server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                requests.append(socket->readAll());
                if (m_reply.isEmpty()) return; // silent peer
                socket->write(m_reply);
                socket->disconnectFromHost();
            });
        });
    }
    QList<QByteArray> requests;
    QUrl url() const { return QUrl(QString("http://127.0.0.1:%1").arg(m_server.serverPort())); }

private:
    QTcpServer m_server;
    QByteArray m_reply;
};

QByteArray httpReply(int status, const QByteArray& type, const QByteArray& body) {
    return "HTTP/1.1 " + QByteArray::number(status) + " X\r\nContent-Type: " + type +
           "\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n\r\n" + body;
}
} // namespace

// The REST client against the real server, and against peers that misbehave.
class TestApiServer : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    Api anonymous() const { return Api(QUrl(server->httpUrl()), std::nullopt); }

    Api signedIn(const QString& name) const {
        const LoginResponse login = await(anonymous().login(name));
        return Api(QUrl(server->httpUrl()), login.token);
    }

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() { env = std::make_unique<ClientEnv>(); }
    void cleanup() { env.reset(); }

    void signInAndIdentity() {
        const LoginResponse login = await(anonymous().login("alice"));
        QVERIFY(!login.token.isEmpty());
        QCOMPARE(login.user.username, "alice");
        QVERIFY(failureOf(anonymous().login("mallory")) != "no error");
        const auto identity = await(anonymous().serverIdentity());
        QCOMPARE(identity.fingerprint, server->fingerprint());
        QVERIFY(!identity.pubkey.isEmpty());
    }

    void conversationsAndPages() {
        const Api alice = signedIn("alice");
        const Api bob = signedIn("bob");
        const BootstrapResponse bobBoot = await(bob.bootstrap());
        const ChatSummary direct = await(alice.createDirect(bobBoot.me.id));
        QCOMPARE(direct.kind, "direct");
        QCOMPARE(direct.members.size(), 2);
        QCOMPARE(await(alice.createDirect(bobBoot.me.id)).id, direct.id); // reused

        QList<qint64> sent;
        for (int i = 0; i < 60; ++i)
            sent << await(alice.send(direct.id, QString("m%1").arg(i))).id;
        const Message reply = await(bob.send(direct.id, "answer", sent.first()));
        QCOMPARE(reply.replyTo->id, sent.first());

        const QList<Message> newest = await(alice.messages(direct.id, std::nullopt));
        QCOMPARE(newest.size(), 50);
        QCOMPARE(newest.last().id, reply.id); // oldest first
        const QList<Message> older = await(alice.messages(direct.id, newest.first().id));
        QCOMPARE(older.size(), 11);
        QCOMPARE(older.first().id, sent.first());
        QVERIFY(older.last().id < newest.first().id);
        QVERIFY(await(bob.markRead(direct.id, reply.id)));

        const ChatSummary group = await(alice.createGroup("Team", {bobBoot.me.id}));
        QVERIFY(group.isGroup());
        const BootstrapResponse aliceBoot = await(alice.bootstrap());
        QVERIFY(std::any_of(aliceBoot.chats.begin(), aliceBoot.chats.end(),
                            [&](const ChatSummary& c) { return c.id == group.id; }));
    }

    void serverErrorsAndDecodingErrors() {
        const Api alice = signedIn("alice");
        // A 404 with a JSON error throws exactly that text.
        QCOMPARE(failureOf(alice.call<BootstrapResponse>("GET", "api/no-such-route")), "not found");

        CannedPeer gateway(httpReply(502, "text/html", "<html><body>Bad gateway</body></html>"));
        QCOMPARE(failureOf(Api(gateway.url(), QString("t")).bootstrap()), "HTTP 502");

        CannedPeer wrongBody(httpReply(200, "application/json", R"({"me":{"id":1}})"));
        try {
            await(Api(wrongBody.url(), QString("t")).bootstrap());
            QFAIL("a bad body must not decode");
        } catch (const ApiError&) {
            QFAIL("a bad 200 body is a decoding error, not an ApiError");
        } catch (const DecodeError&) {
        }
        // markRead never throws: an empty object counts as success, a failure as false.
        CannedPeer emptyOk(httpReply(200, "application/json", "{}"));
        QVERIFY(await(Api(emptyOk.url(), QString("t")).markRead(1, 2)));
        QVERIFY(!await(Api(QUrl(kClosedServer), QString("t")).markRead(1, 2)));
    }

    void friendlyTransportTexts() {
        QCOMPARE(failureOf(Api(QUrl(kClosedServer), std::nullopt).bootstrap()),
                 "Can’t connect to “127.0.0.1”. The server may be down, or you’re off its network "
                 "(Tailscale).");
        // Raw uploads pass the transport error through as it stands.
        try {
            await(Api(QUrl(kClosedServer), std::nullopt).uploadBlob(1, "b", "image", "jpg"));
            QFAIL("a closed port cannot take an upload");
        } catch (const UrlError& e) {
            QCOMPARE(e.code(), UrlError::Code::CannotConnectToHost);
        }
        CannedPeer silent{QByteArray()};
        Api::setRequestTimeoutForTesting(300);
        const QString text = failureOf(Api(silent.url(), std::nullopt).bootstrap());
        Api::setRequestTimeoutForTesting(Api::requestTimeoutMs);
        QCOMPARE(text, "“127.0.0.1” took too long to respond. Check your connection (Tailscale) "
                       "and try again.");

        // Beyond the mapped codes: plain words too, not the network layer's.
        PinRegistry::shared().setPin("c29tZW9uZSBlbHNl",
                                     PinRegistry::hostPort(QUrl(server->httpsUrl())));
        QCOMPARE(failureOf(Api(QUrl(server->httpsUrl()), std::nullopt).serverIdentity()),
                 "A secure connection to the server could not be made: it did not prove its "
                 "identity.");
        try {
            await(Api(QUrl(server->httpsUrl()), std::nullopt).uploadBlob(1, "b", "image", "jpg"));
            QFAIL("a refused key cannot take an upload");
        } catch (const UrlError& e) {
            QCOMPARE(e.code(), UrlError::Code::SecureConnectionFailed);
            QCOMPARE(e.description(), "A secure connection to the server could not be made: it "
                                      "did not prove its identity.");
        }
        PinRegistry::shared().removePin(PinRegistry::hostPort(QUrl(server->httpsUrl())));
    }

    void queryItemsAndBodiesOnlyWhenGiven() {
        CannedPeer peer(httpReply(200, "application/json", R"({"messages":[]})"));
        const Api api(peer.url(), QString("tok"));
        await(api.messages(4, std::nullopt));
        QVERIFY(peer.requests.last().startsWith("GET /api/chats/4/messages?limit=50 HTTP"));
        await(api.messages(4, 99));
        QVERIFY(peer.requests.last().startsWith("GET /api/chats/4/messages?limit=50&before=99 "));
        QVERIFY(peer.requests.last().contains("Authorization: Bearer tok"));

        CannedPeer texts(httpReply(200, "application/json", R"({"file":"f1","text":"hello"})"));
        const Api upload(texts.url(), QString("tok"));
        QCOMPARE(await(upload.uploadBlob(4, "bytes", "image", "jpg")), "f1");
        QVERIFY(texts.requests.last().startsWith("POST /api/chats/4/blob?kind=image&ext=jpg "));
        QVERIFY(texts.requests.last().contains("application/octet-stream"));
        QCOMPARE(await(upload.transcribe("audio", "m4a", QString())), "hello");
        QVERIFY(texts.requests.last().startsWith("POST /api/transcribe?ext=m4a "));

        CannedPeer messagePeer(httpReply(
            200, "application/json",
            R"({"id":1,"chatId":4,"senderId":1,"senderName":"a","text":"","createdAt":1})"));
        const Api media(messagePeer.url(), QString("tok"));
        await(media.uploadMedia(4, "x",
                                {"image", "jpg", "", 640, std::nullopt, true, {}, QString()}));
        QVERIFY(messagePeer.requests.last().startsWith(
            "POST /api/chats/4/media?kind=image&ext=jpg&w=640&client_transcribe=true "));
        await(media.sendAlbum(4, "", {{"image", "f1", 10, 20, QString()}}));
        const QByteArray album = messagePeer.requests.last();
        QVERIFY(album.contains(R"("items":[{"file":"f1","h":20,"kind":"image","w":10}])"));
        QVERIFY(!album.contains("caption"));

        // A blob reply without a file is an error of its own.
        CannedPeer noFile(httpReply(200, "application/json", "{}"));
        QCOMPARE(failureOf(Api(noFile.url(), QString("t")).uploadBlob(1, "b", "image", "jpg")),
                 "no file in blob response");
    }

    void controlFrameNeedsMoreThanAPlaceholder() {
        CannedPeer placeholder(httpReply(200, "image/jpeg", QByteArray(100, 'x')));
        QVERIFY(!await(Api(placeholder.url(), QString("t")).controlFrame()));
        CannedPeer frame(httpReply(200, "image/jpeg", QByteArray(101, 'x')));
        QCOMPARE(await(Api(frame.url(), QString("t")).controlFrame())->size(), 101);
    }
};

QTEST_GUILESS_MAIN(TestApiServer)
#include "test_api_server.moc"
