// The server's WebSocket link: who gets which event, presence, and the
// frames a client sends.
#include "model/Models.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>
#include <QWebSocket>
#include <functional>

namespace {

using Match = std::function<bool(const QJsonObject&)>;

// One event socket of a test user, keeping every frame it receives.
class WsClient : public QObject {
public:
    WsClient(const QString& base, const QString& token, const QString& device,
             const QString& path = QStringLiteral("ws")) {
        QString url = base + u'/' + path;
        url.replace(0, 4, QStringLiteral("ws")); // http -> ws, https -> wss
        QUrl target(url);
        target.setQuery(QUrlQuery{{QStringLiteral("token"), token},
                                  {QStringLiteral("device"), device},
                                  {QStringLiteral("app"), QStringLiteral("1.0 (1)")}});
        connect(&socket, &QWebSocket::sslErrors, this, [this] { socket.ignoreSslErrors(); });
        connect(&socket, &QWebSocket::textMessageReceived, this, [this](const QString& text) {
            frames.push_back(QJsonDocument::fromJson(text.toUtf8()).object());
            if (!json::tryDecode<WsEvent>(text.toUtf8())) undecodable.push_back(text);
        });
        socket.open(target);
    }

    bool waitConnected() {
        return QTest::qWaitFor([this] { return socket.state() == QAbstractSocket::ConnectedState; },
                               10000);
    }

    // The first frame of `type` that `match` accepts, waiting up to 10 s for it.
    QJsonObject waitFor(const QString& type, const Match& match = {}) {
        QJsonObject found;
        const bool seen = QTest::qWaitFor(
            [&] {
                found = find(type, match);
                return !found.isEmpty();
            },
            10000);
        return seen ? found : QJsonObject();
    }

    QJsonObject find(const QString& type, const Match& match = {}) const {
        for (const QJsonObject& f : frames)
            if (f.value(QStringLiteral("type")).toString() == type && (!match || match(f)))
                return f;
        return {};
    }

    void send(const QJsonObject& frame) {
        socket.sendTextMessage(QString::fromUtf8(QJsonDocument(frame).toJson()));
    }

    QWebSocket socket;
    QList<QJsonObject> frames;
    QStringList undecodable;
};

Match field(const char* key, qint64 value) {
    return [key, value](const QJsonObject& f) {
        return f.value(QLatin1String(key)).toInteger() == value;
    };
}

Match messageText(const QString& text) {
    return [text](const QJsonObject& f) {
        return f.value(QStringLiteral("message"))
                   .toObject()
                   .value(QStringLiteral("text"))
                   .toString() == text;
    };
}

qint64 idOf(const QJsonObject& obj) {
    return obj.value(QStringLiteral("id")).toInteger();
}

} // namespace

class TestServerEvents : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        for (ServerClient* c : {&m_alice, &m_bob, &m_carol})
            c->setBase(m_server.httpUrl());
        QVERIFY(!m_alice.login(QStringLiteral("alice")).isEmpty());
        QVERIFY(!m_bob.login(QStringLiteral("bob")).isEmpty());
        QVERIFY(!m_carol.login(QStringLiteral("carol")).isEmpty());
        m_bobId = idOf(m_bob.get(QStringLiteral("api/bootstrap")).json.value("me").toObject());
        m_carolId = idOf(m_carol.get(QStringLiteral("api/bootstrap")).json.value("me").toObject());
        m_direct = idOf(
            m_alice.post(QStringLiteral("api/chats"), {{"kind", "direct"}, {"userId", m_bobId}})
                .json);
        QVERIFY(m_direct > 0);
    }

    void presenceFollowsSockets() {
        const qint64 aliceId = idOf(m_alice.get("api/bootstrap").json.value("me").toObject());
        WsClient alice(m_server.httpUrl(), m_alice.token(), QStringLiteral("a"));
        QVERIFY(alice.waitConnected());
        const QJsonArray first = alice.waitFor("presenceSnapshot").value("onlineIds").toArray();
        QVERIFY(first.contains(aliceId));
        QVERIFY(!first.contains(m_bobId));
        {
            WsClient bob(m_server.httpsUrl(), m_bob.token(), QStringLiteral("b"));
            QVERIFY(bob.waitConnected());
            const QJsonArray ids = bob.waitFor("presenceSnapshot").value("onlineIds").toArray();
            QVERIFY(ids.contains(aliceId) && ids.contains(m_bobId));
            const QJsonObject online = alice.waitFor("presence", field("userId", m_bobId));
            QCOMPARE(online.value("online").toBool(), true);
        }
        const QJsonObject offline = alice.waitFor("presence", [this](const QJsonObject& f) {
            return f.value("userId").toInteger() == m_bobId && !f.value("online").toBool();
        });
        QVERIFY(offline.value("lastSeen").toInteger() > 0);
        QVERIFY(alice.undecodable.isEmpty());
    }

    void messagesReachMembersOnly() {
        WsClient alice(m_server.httpsUrl(), m_alice.token(), QStringLiteral("a"));
        WsClient bob(m_server.httpUrl(), m_bob.token(), QStringLiteral("b"));
        WsClient carol(m_server.plainUrl(), m_carol.token(), QStringLiteral("c"));
        QVERIFY(alice.waitConnected() && bob.waitConnected() && carol.waitConnected());
        const HttpResult sent = m_bob.post(QStringLiteral("api/chats/%1/messages").arg(m_direct),
                                           {{"text", "for alice"}});
        QCOMPARE(sent.status, 200);
        const QJsonObject got = alice.waitFor("message", messageText("for alice"));
        QCOMPARE(idOf(got.value("message").toObject()), idOf(sent.json));
        QVERIFY(!bob.waitFor("message", messageText("for alice")).isEmpty());
        // Carol is in no conversation with them: her next event must be her own.
        const qint64 group = idOf(
            m_alice
                .post(QStringLiteral("api/chats"),
                      {{"kind", "group"}, {"title", "trio"}, {"memberIds", QJsonArray{m_carolId}}})
                .json);
        m_alice.post(QStringLiteral("api/chats/%1/messages").arg(group), {{"text", "for carol"}});
        QVERIFY(!carol.waitFor("message", messageText("for carol")).isEmpty());
        QVERIFY(carol.find("message", messageText("for alice")).isEmpty());
        QVERIFY(alice.undecodable.isEmpty() && carol.undecodable.isEmpty());
    }

    void typingAndReadFrames() {
        WsClient a1(m_server.httpUrl(), m_alice.token(), QStringLiteral("a1"));
        WsClient a2(m_server.httpUrl(), m_alice.token(), QStringLiteral("a2"));
        WsClient bob(m_server.httpsUrl(), m_bob.token(), QStringLiteral("b"));
        QVERIFY(a1.waitConnected() && a2.waitConnected() && bob.waitConnected());
        a1.socket.sendTextMessage(QStringLiteral("not a frame"));
        a1.send({{"type", "typing"}, {"chatId", m_direct}});
        const QJsonObject typing = bob.waitFor("typing", field("chatId", m_direct));
        QCOMPARE(typing.value("device").toString(), QStringLiteral("a1"));
        QCOMPARE(typing.value("user").toObject().value("username").toString(),
                 QStringLiteral("alice"));
        QVERIFY(!a2.waitFor("typing").isEmpty()); // the same user on another device
        QCOMPARE(m_bob
                     .get(QStringLiteral("api/chats/%1/typing").arg(m_direct),
                          QUrlQuery{{"device", "b"}})
                     .json.value("typing")
                     .toArray()
                     .size(),
                 1);
        QCOMPARE(m_alice
                     .get(QStringLiteral("api/chats/%1/typing").arg(m_direct),
                          QUrlQuery{{"device", "a1"}})
                     .json.value("typing")
                     .toArray()
                     .size(),
                 0);

        const qint64 msg = idOf(
            m_bob.post(QStringLiteral("api/chats/%1/messages").arg(m_direct), {{"text", "read me"}})
                .json);
        QVERIFY(!a1.waitFor("message", messageText("read me")).isEmpty());
        QVERIFY2(a1.find("typing").isEmpty(), "a typing frame came back to its own socket");

        a1.send({{"type", "read"}, {"chatId", m_direct}, {"messageId", msg}});
        const QJsonObject read = bob.waitFor("read", field("messageId", msg));
        QCOMPARE(read.value("chatId").toInteger(), m_direct);
        QVERIFY(read.value("at").toInteger() > 0);
        const auto boot = json::decode<BootstrapResponse>(m_alice.get("api/bootstrap").body);
        for (const ChatSummary& c : boot.chats)
            if (c.id == m_direct) QCOMPARE(c.unread.value_or(-1), 0);
        QVERIFY(a1.undecodable.isEmpty() && bob.undecodable.isEmpty());
    }

    void conversationEvents() {
        WsClient alice(m_server.httpUrl(), m_alice.token(), QStringLiteral("a"));
        WsClient bob(m_server.httpUrl(), m_bob.token(), QStringLiteral("b"));
        QVERIFY(alice.waitConnected() && bob.waitConnected());
        const HttpResult group = m_alice.post(
            QStringLiteral("api/chats"),
            {{"kind", "group"}, {"title", "crew"}, {"memberIds", QJsonArray{m_bobId}}});
        const qint64 chatId = idOf(group.json);
        QCOMPARE(idOf(bob.waitFor("chatCreated").value("chat").toObject()), chatId);

        const QString code = m_alice.post(QStringLiteral("api/chats/%1/invite").arg(chatId))
                                 .json.value("code")
                                 .toString();
        ServerClient guest(m_server.httpUrl());
        const HttpResult joined =
            guest.post(QStringLiteral("api/login/guest"), {{"name", "Gwen"}, {"code", code}});
        QCOMPARE(joined.status, 200);
        QCOMPARE(joined.json.value("chatId").toInteger(), chatId);
        QVERIFY(joined.json.value("user").toObject().value("isGuest").toBool());
        QCOMPARE(alice.waitFor("userJoined").value("user").toObject().value("username").toString(),
                 QStringLiteral("Gwen"));
        const QJsonObject updated = bob.waitFor("chatUpdated", [chatId](const QJsonObject& f) {
            return idOf(f.value("chat").toObject()) == chatId;
        });
        QCOMPARE(updated.value("chat").toObject().value("members").toArray().size(), 3);

        const qint64 msg = idOf(
            m_alice.post(QStringLiteral("api/chats/%1/messages").arg(chatId), {{"text", "draft"}})
                .json);
        QCOMPARE(
            m_alice.patch(QStringLiteral("api/messages/%1").arg(msg), {{"text", "final"}}).status,
            200);
        const QJsonObject edited = bob.waitFor("messageEdited").value("message").toObject();
        QCOMPARE(edited.value("text").toString(), QStringLiteral("final"));
        QVERIFY(edited.value("editedAt").toInteger() > 0);
        QCOMPARE(m_alice.del(QStringLiteral("api/messages/%1").arg(msg)).status, 200);
        QCOMPARE(bob.waitFor("messageDeleted").value("messageId").toInteger(), msg);
        QCOMPARE(m_alice.del(QStringLiteral("api/chats/%1").arg(chatId)).status, 200);
        QCOMPARE(bob.waitFor("chatRemoved").value("chatId").toInteger(), chatId);
        QVERIFY(alice.undecodable.isEmpty() && bob.undecodable.isEmpty());
    }

    void buildStatusComesFromTheHostSide() {
        WsClient alice(m_server.httpUrl(), m_alice.token(), QStringLiteral("a"));
        QVERIFY(alice.waitConnected());
        const QString path = QStringLiteral("api/builds/%1").arg(m_direct);
        QCOMPARE(m_alice.post(path, {{"state", "building"}}).status, 403);
        ServerClient owner(m_server.httpUrl());
        QVERIFY(!owner.login(QStringLiteral("owner")).isEmpty());
        QCOMPARE(
            owner.post(path, {{"state", "building"}, {"percent", 30}, {"label", "compile"}}).status,
            200);
        const QJsonObject event = alice.waitFor("buildStatus");
        QCOMPARE(event.value("chatId").toInteger(), m_direct);
        QCOMPARE(event.value("percent").toInt(), 30);
        QCOMPARE(event.value("label").toString(), QStringLiteral("compile"));
        const QString key = QString::number(m_direct);
        QCOMPARE(m_alice.get("api/builds")
                     .json.value("builds")
                     .toObject()
                     .value(key)
                     .toObject()
                     .value("state")
                     .toString(),
                 QStringLiteral("building"));
        QCOMPARE(owner.post(path, {{"state", "done"}}).status, 200);
        QVERIFY(!alice
                     .waitFor("buildStatus",
                              [](const QJsonObject& f) { return f.value("state") == "done"; })
                     .isEmpty());
        QVERIFY(!m_alice.get("api/builds").json.value("builds").toObject().contains(key));
    }

    void refusedSockets_data() {
        QTest::addColumn<bool>("withSockets");
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("path");
        QTest::newRow("bad token") << true << "nope"
                                   << "ws";
        QTest::newRow("other path") << true << ""
                                    << "api/ws";
        QTest::newRow("sockets switched off") << false << ""
                                              << "ws";
    }

    void refusedSockets() {
        QFETCH(bool, withSockets);
        QFETCH(QString, token);
        QFETCH(QString, path);
        ServerProcess::Options opts;
        if (!withSockets) opts.extraArgs = QStringList{QStringLiteral("--no-websocket")};
        ServerProcess server(opts);
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        ServerClient alice(server.httpUrl());
        const QString valid = alice.login(QStringLiteral("alice"));
        WsClient socket(server.httpUrl(), token.isEmpty() ? valid : token, QStringLiteral("a"),
                        path);
        QSignalSpy closed(&socket.socket, &QWebSocket::disconnected);
        QVERIFY(closed.wait(10000));
        QVERIFY(socket.frames.isEmpty());
        // The server is still fine afterwards.
        QCOMPARE(alice.get(QStringLiteral("api/bootstrap")).status, 200);
    }

private:
    ServerProcess m_server;
    ServerClient m_alice{QString()};
    ServerClient m_bob{QString()};
    ServerClient m_carol{QString()};
    qint64 m_bobId = 0;
    qint64 m_carolId = 0;
    qint64 m_direct = 0;
};

QTEST_GUILESS_MAIN(TestServerEvents)
#include "test_server_events.moc"
