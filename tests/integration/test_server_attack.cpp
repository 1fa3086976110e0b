// The server attacked from outside over HTTP, TLS and WebSocket, as an
// intruder on the same network (or a web page in the owner's browser) would:
// sign-in that a name alone cannot take, requests bounded before they are
// read, connections that cannot be held open, a sandbox that stays shut,
// secrets kept as hashes in owner-only files, and roles that hold.
#include "support/AgentTestKit.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/TestKey.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QWebSocket>
#include <sys/stat.h>

namespace {

constexpr int kTimeoutMs = 1000; // the server's request timeout in this test

// One connection spoken to byte by byte, plain or over TLS.
class RawConnection {
public:
    RawConnection(quint16 port, bool tls) {
        if (tls) {
            auto* ssl = new QSslSocket;
            m_socket.reset(ssl);
            ssl->setPeerVerifyMode(QSslSocket::VerifyNone);
            ssl->connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
            m_ready = ssl->waitForEncrypted(15000);
        } else {
            m_socket = std::make_unique<QTcpSocket>();
            m_socket->connectToHost(QStringLiteral("127.0.0.1"), port);
            m_ready = m_socket->waitForConnected(15000);
        }
    }

    bool ready() const { return m_ready; }

    void send(const QByteArray& bytes) {
        m_socket->write(bytes);
        m_socket->waitForBytesWritten(5000);
    }

    // The status and body of the reply that arrives within `ms`; 0 when none does.
    std::pair<int, QByteArray> reply(int ms = 15000) {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < ms) {
            m_buffer += m_socket->readAll();
            const qsizetype end = m_buffer.indexOf("\r\n\r\n");
            if (end >= 0) {
                const QByteArray head = m_buffer.left(end).toLower();
                const qsizetype at = head.indexOf("content-length:");
                const qsizetype length =
                    at < 0 ? 0
                           : head.mid(at + 15, head.indexOf('\r', at) - at - 15).trimmed().toInt();
                if (m_buffer.size() >= end + 4 + length)
                    return {m_buffer.mid(9, 3).toInt(), m_buffer.mid(end + 4, length)};
            }
            if (m_socket->state() == QAbstractSocket::UnconnectedState) break;
            m_socket->waitForReadyRead(50);
        }
        return {0, {}};
    }

    // Whether the server closes the connection within `ms`, while (with `drip`)
    // one byte goes out every 200 ms.
    bool closedWithin(int ms, bool drip = false) {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < ms) {
            if (drip) m_socket->write("G");
            m_socket->waitForBytesWritten(50);
            m_socket->waitForReadyRead(200);
            m_socket->readAll();
            if (m_socket->state() == QAbstractSocket::UnconnectedState) return true;
        }
        return false;
    }

private:
    std::unique_ptr<QTcpSocket> m_socket;
    QByteArray m_buffer;
    bool m_ready = false;
};

QByteArray request(const QByteArray& method, const QByteArray& path, const QByteArray& headers,
                   const QByteArray& body = {}) {
    return method + ' ' + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers +
           "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

mode_t modeOf(const QString& path) {
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 0777 : 0;
}

QByteArray filesOf(const QString& dataDir) {
    QByteArray all;
    for (const char* name : {"velmarin.sqlite", "velmarin.sqlite-wal"}) {
        QFile file(QDir(dataDir).filePath(QLatin1String(name)));
        if (file.open(QIODevice::ReadOnly)) all += file.readAll();
    }
    return all;
}

qint64 idOf(const HttpResult& r) {
    return r.json.value(QStringLiteral("id")).toInteger();
}

} // namespace

class TestServerAttack : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(m_sandbox.isValid() && m_outside.isValid());
        ServerProcess::Options opts;
        opts.names = {QStringLiteral("alice"), QStringLiteral("bob"), QStringLiteral("carol"),
                      QStringLiteral("mallory")};
        opts.loopbackOwner = true;
        opts.extraArgs = {QStringLiteral("--bots"),
                          QStringLiteral("ci"),
                          QStringLiteral("--agent-host"),
                          QStringLiteral("--agent-pace-ms"),
                          QStringLiteral("20"),
                          QStringLiteral("--agent-sandbox"),
                          m_sandbox.path(),
                          QStringLiteral("--request-timeout-ms"),
                          QString::number(kTimeoutMs)};
        m_server = std::make_unique<ServerProcess>(opts);
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        for (ServerClient* c : {&m_alice, &m_bob, &m_mallory})
            c->setBase(m_server->httpsUrl());
        QVERIFY(!m_alice.login(QStringLiteral("alice")).isEmpty());
        QVERIFY(!m_bob.login(QStringLiteral("bob")).isEmpty());
        QVERIFY(!m_mallory.login(QStringLiteral("mallory")).isEmpty());
        m_direct = idOf(m_alice.post(QStringLiteral("api/chats"),
                                     {{"kind", "direct"}, {"userId", agentkit::myId(m_bob)}}));
        m_group = idOf(m_alice.post(QStringLiteral("api/chats"),
                                    {{"kind", "group"},
                                     {"title", "crew"},
                                     {"memberIds", QJsonArray{agentkit::myId(m_bob)}}}));
        QVERIFY(m_direct > 0 && m_group > 0);
        m_message = agentkit::send(m_alice, m_direct, QStringLiteral("hello bob"));
        m_groupMessage = agentkit::send(m_alice, m_group, QStringLiteral("hello crew"));
        QVERIFY(m_message > 0 && m_groupMessage > 0);
    }

    // A device key makes the name alone worthless, also for tokens given out before.
    void aBoundKeyEndsNameSignIn() {
        ServerClient carol(m_server->httpsUrl());
        const QString nameToken = carol.login(QStringLiteral("carol"));
        QVERIFY(!nameToken.isEmpty());
        TestKey key;
        const HttpResult bound =
            carol.post(QStringLiteral("api/key/register"), {{"pubkey", key.publicKey()}});
        QCOMPARE(bound.status, 200);
        const QString keyToken = bound.json.value(QStringLiteral("token")).toString();

        const HttpResult again = ServerClient(m_server->httpsUrl())
                                     .post(QStringLiteral("api/login"), {{"username", "carol"}});
        QCOMPARE(again.status, 403);
        QVERIFY(
            again.json.value(QStringLiteral("error")).toString().contains(QStringLiteral("pair")));
        QCOMPARE(ServerClient(m_server->httpsUrl(), nameToken).get("api/bootstrap").status, 401);
        QCOMPARE(ServerClient(m_server->httpsUrl(), keyToken).get("api/bootstrap").status, 200);

        // The key itself still signs in.
        ServerClient device(m_server->httpsUrl());
        const QString nonce =
            device.post(QStringLiteral("api/key/challenge"), {{"pubkey", key.publicKey()}})
                .json.value(QStringLiteral("nonce"))
                .toString();
        QCOMPARE(device
                     .post(QStringLiteral("api/key/login"),
                           {{"pubkey", key.publicKey()}, {"signature", key.sign(nonce)}})
                     .status,
                 200);
    }

    // Names that sign in by themselves cannot be taken by a rename, and the
    // owner stays the owner under any name.
    void renamesTakeNoSignInName_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("the owner's") << "owner";
        QTest::newRow("the owner's, other case") << "OWNER";
        QTest::newRow("an allowed name not yet used") << "carol";
        QTest::newRow("a bot's") << "ci";
        QTest::newRow("the agent's") << "Claude Code";
        QTest::newRow("in use") << "alice";
    }

    void renamesTakeNoSignInName() {
        QFETCH(QString, name);
        QCOMPARE(m_mallory.patch(QStringLiteral("api/me"), {{"username", name}}).status, 409);
    }

    void theOwnerIsKnownByAccountNotName() {
        ServerClient owner(m_server->httpsUrl());
        QVERIFY(!owner.login(QStringLiteral("owner")).isEmpty());
        const qint64 ownerId = agentkit::myId(owner);
        QCOMPARE(owner.patch(QStringLiteral("api/me"), {{"username", "boss"}}).status, 200);
        const qint64 self = agentkit::selfChat(owner);
        QCOMPARE(
            owner.post(QStringLiteral("api/builds/%1").arg(self), {{"state", "building"}}).status,
            200);
        // The owner's name still leads to the owner's account, whatever it is called now.
        ServerClient again(m_server->httpsUrl());
        QVERIFY(!again.login(QStringLiteral("owner")).isEmpty());
        QCOMPARE(agentkit::myId(again), ownerId);
    }

    void aGuestCannotBecomeAnotherGuest() {
        const QString code = m_alice.post(QStringLiteral("api/chats/%1/invite").arg(m_group))
                                 .json.value("code")
                                 .toString();
        QVERIFY(!code.isEmpty());
        ServerClient guest(m_server->httpsUrl());
        const HttpResult first =
            guest.post(QStringLiteral("api/login/guest"), {{"name", "Zed"}, {"code", code}});
        QCOMPARE(first.status, 200);
        const HttpResult impostor =
            ServerClient(m_server->httpsUrl())
                .post(QStringLiteral("api/login/guest"), {{"name", "zed"}, {"code", code}});
        QCOMPARE(impostor.status, 409);
        QVERIFY(!impostor.json.contains(QStringLiteral("token")));

        // What a guest may not do or see.
        guest.setToken(first.json.value(QStringLiteral("token")).toString());
        QCOMPARE(guest
                     .post(QStringLiteral("api/chats"),
                           {{"kind", "group"}, {"title", "g"}, {"memberIds", QJsonArray{}}})
                     .status,
                 403);
        QCOMPARE(guest.post(QStringLiteral("api/pair/code")).status, 403);
        QCOMPARE(guest.get(QStringLiteral("api/claude/host")).status, 403);
        const HttpResult boot = guest.get(QStringLiteral("api/bootstrap"));
        QCOMPARE(boot.status, 200);
        QVERIFY(!boot.json.contains(QStringLiteral("claudeHost")));
    }

    // Oversized heads and bodies are refused before they are read, on both transports.
    void oversizedRequestsAreRefusedAtOnce_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<int>("status");
        const QByteArray gig = "Content-Length: 1073741824\r\n";
        for (const bool tls : {false, true}) {
            const char* t = tls ? "TLS: " : "plain: ";
            QTest::addRow("%s1 GB message body", t)
                << tls
                << "POST /api/chats/1/messages HTTP/1.1\r\nHost: 127.0.0.1\r\n" + gig + "\r\n"
                << 413;
            QTest::addRow("%s1 GB upload", t)
                << tls << "POST /api/chats/1/media?kind=image&ext=jpg HTTP/1.1\r\n" + gig + "\r\n"
                << 413;
            QTest::addRow("%s10 MB upload without a token", t)
                << tls
                << QByteArray("POST /api/chats/1/media?kind=image&ext=jpg HTTP/1.1\r\n"
                              "Content-Length: 10485760\r\n\r\n")
                << 401;
            QTest::addRow("%s20 KB head", t)
                << tls
                << "GET /api/bootstrap HTTP/1.1\r\nX-Fill: " + QByteArray(20000, 'a') + "\r\n\r\n"
                << 431;
        }
    }

    void oversizedRequestsAreRefusedAtOnce() {
        QFETCH(bool, tls);
        QFETCH(QByteArray, head);
        QFETCH(int, status);
        RawConnection conn(m_server->port(), tls);
        QVERIFY(conn.ready());
        conn.send(head);
        // No body follows: the answer must not wait for one.
        QCOMPARE(conn.reply(10000).first, status);
    }

    void longFieldsAndFramesAreRefused() {
        const QString longText(70000, u'x');
        QCOMPARE(
            m_alice
                .post(QStringLiteral("api/chats/%1/messages").arg(m_direct), {{"text", longText}})
                .status,
            400);
        QCOMPARE(m_alice.patch(QStringLiteral("api/me"), {{"address", QString(600, u'a')}}).status,
                 400);
        QCOMPARE(
            m_alice
                .patch(QStringLiteral("api/chats/%1").arg(m_group), {{"title", QString(200, u't')}})
                .status,
            400);
        QCOMPARE(m_alice.patch(QStringLiteral("api/me"), {{"address", "Main St 1"}}).status, 200);

        QWebSocket socket;
        QSignalSpy closed(&socket, &QWebSocket::disconnected);
        QSignalSpy opened(&socket, &QWebSocket::connected);
        socket.open(QUrl(QStringLiteral("ws://127.0.0.1:%1/ws?token=%2")
                             .arg(m_server->port())
                             .arg(m_bob.token())));
        QVERIFY(opened.wait(15000));
        socket.sendTextMessage(QString(200000, u'{'));
        QVERIFY(closed.wait(15000));
    }

    void aDeletedMessageLeavesNothing() {
        const QString marker =
            QStringLiteral("forget-me-%1").arg(QDateTime::currentMSecsSinceEpoch());
        const qint64 id = agentkit::send(m_alice, m_direct, marker);
        QVERIFY(filesOf(m_server->dataDir()).contains(marker.toUtf8()));
        QCOMPARE(m_alice.del(QStringLiteral("api/messages/%1").arg(id)).status, 200);
        QVERIFY(!filesOf(m_server->dataDir()).contains(marker.toUtf8()));
    }

    void idleAndDrippingConnectionsAreClosed_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<bool>("drip");
        QTest::newRow("plain, silent") << false << false;
        QTest::newRow("plain, one byte at a time") << false << true;
        QTest::newRow("TLS done, then silent") << true << false;
        QTest::newRow("TLS done, one byte at a time") << true << true;
    }

    void idleAndDrippingConnectionsAreClosed() {
        QFETCH(bool, tls);
        QFETCH(bool, drip);
        RawConnection conn(m_server->port(), tls);
        QVERIFY(conn.ready());
        QVERIFY(conn.closedWithin(kTimeoutMs + 8000, drip));
    }

    void sandboxWritesFollowNoLink() {
        ServerClient owner(m_server->httpsUrl());
        QVERIFY(!owner.login(QStringLiteral("owner")).isEmpty());
        const qint64 self = agentkit::selfChat(owner);
        QVERIFY(QDir(m_sandbox.path()).mkpath(QStringLiteral("proj")));
        const auto session =
            agentkit::request(owner, self, QStringLiteral("new"), QStringLiteral("/proj"));
        QVERIFY(session);
        const qint64 chat = session->value(QStringLiteral("chatId")).toInteger();
        const QString escapedMd = m_outside.filePath(QStringLiteral("CLAUDE.md"));
        const QString escapedEnv = m_outside.filePath(QStringLiteral("env"));
        QVERIFY(QFile::link(escapedMd, m_sandbox.filePath(QStringLiteral("proj/CLAUDE.md"))));
        QVERIFY(QFile::link(escapedEnv, m_sandbox.filePath(QStringLiteral("proj/.env.local"))));

        const auto md = agentkit::request(owner, self, QStringLiteral("writeclaudemd"), {},
                                          {{"chatId", chat}, {"content", "escaped"}});
        QVERIFY(md && !md->value(QStringLiteral("ok")).toBool());
        const auto env =
            agentkit::request(owner, self, QStringLiteral("writeenvfile"), {},
                              {{"chatId", chat}, {"name", ".env.local"}, {"content", "A=1"}});
        QVERIFY(env && !env->value(QStringLiteral("ok")).toBool());
        QVERIFY(!QFile::exists(escapedMd));
        QVERIFY(!QFile::exists(escapedEnv));
    }

    // The owner's empty-name login: a program on this machine, never a web page.
    void loopbackOwnerLoginNeedsALocalJsonRequest_data() {
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<int>("status");
        const QByteArray json = "Content-Type: application/json\r\n";
        QTest::newRow("rebound host name") << "X-Host: evil.example\r\n" + json << 403;
        QTest::newRow("plain text body") << QByteArray("Content-Type: text/plain\r\n") << 403;
        QTest::newRow("from another site's page")
            << "Origin: http://evil.example\r\n" + json << 403;
        QTest::newRow("the local program") << json << 200;
    }

    void loopbackOwnerLoginNeedsALocalJsonRequest() {
        QFETCH(QByteArray, headers);
        QFETCH(int, status);
        QByteArray raw = request("POST", "/api/login", headers, R"({"username":""})");
        // Rebinding keeps the attacker's name in the Host header.
        if (headers.startsWith("X-Host: ")) raw.replace("Host: 127.0.0.1\r\nX-Host: ", "Host: ");
        RawConnection conn(m_server->port(), false);
        QVERIFY(conn.ready());
        conn.send(raw);
        QCOMPARE(conn.reply().first, status);
    }

    void botsReportBuildsOnlyWhereTheyTakePart() {
        ServerClient bot(m_server->httpsUrl());
        QVERIFY(!bot.login(QStringLiteral("ci")).isEmpty());
        QCOMPARE(
            bot.post(QStringLiteral("api/builds/%1").arg(m_direct), {{"state", "building"}}).status,
            403);
    }

    void groupRolesHold() {
        const QString group = QStringLiteral("api/chats/%1").arg(m_group);
        QCOMPARE(m_bob.patch(group, {{"title", "mine now"}}).status, 403);
        QCOMPARE(m_bob.patch(group, {{"tavikAgent", true}}).status, 403);
        QCOMPARE(m_bob.post(QStringLiteral("api/messages/%1/pin").arg(m_groupMessage)).status, 403);
        QCOMPARE(m_alice.patch(group, {{"title", "crew 2"}}).status, 200);
        QCOMPARE(m_alice.post(QStringLiteral("api/messages/%1/pin").arg(m_groupMessage)).status,
                 200);
    }

    // A group's picture is for its members, a person's for anyone signed in.
    void picturesNeedAToken() {
        const QByteArray jpeg = QByteArray("\xFF\xD8\xFF\xE0") + QByteArray(64, 'p');
        const auto upload = [&](const QByteArray& path) {
            RawConnection conn(m_server->port(), true);
            conn.send(request("POST", path,
                              "Authorization: Bearer " + m_alice.token().toUtf8() +
                                  "\r\nContent-Type: image/jpeg\r\n",
                              jpeg));
            return conn.reply().first;
        };
        QCOMPARE(upload("/api/chats/" + QByteArray::number(m_group) + "/avatar"), 200);
        QCOMPARE(upload("/api/me/avatar"), 200);
        const QString group = QStringLiteral("api/chats/%1/avatar").arg(m_group);
        const QString alice = QStringLiteral("api/users/%1/avatar").arg(agentkit::myId(m_alice));
        ServerClient anonymous(m_server->httpsUrl());
        ServerClient forged(m_server->httpsUrl(), QString(43, QLatin1Char('x')));
        for (ServerClient* nobody : {&anonymous, &forged}) {
            QCOMPARE(nobody->get(group).status, 401);
            QCOMPARE(nobody->get(alice).status, 401);
        }
        const int outsider = m_mallory.get(group).status;
        QVERIFY2(outsider == 403 || outsider == 404, qPrintable(QString::number(outsider)));
        QCOMPARE(m_bob.get(group).body, jpeg);
        QCOMPARE(m_mallory.get(alice).body, jpeg);
    }

    // Someone in neither conversation reaches nothing of them.
    void outsidersAreRefused_data() {
        QTest::addColumn<QByteArray>("verb");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        const QString d = QString::number(m_direct);
        const QString g = QString::number(m_group);
        const QString m = QString::number(m_message);
        const QString bob = QString::number(agentkit::myId(m_bob));
        const auto row = [](const char* name, const QByteArray& verb, const QString& path,
                            const QByteArray& body = "{}") {
            QTest::newRow(name) << verb << path << body;
        };
        row("read page", "GET", "api/chats/" + d + "/messages");
        row("send", "POST", "api/chats/" + d + "/messages", R"({"text":"hi"})");
        row("rename", "PATCH", "api/chats/" + d, R"({"title":"x"})");
        row("delete chat", "DELETE", "api/chats/" + d);
        row("mark read", "POST", "api/chats/" + d + "/read",
            ("{\"messageId\":" + m + "}").toUtf8());
        row("typing", "POST", "api/chats/" + d + "/typing");
        row("who types", "GET", "api/chats/" + d + "/typing");
        row("edit", "PATCH", "api/messages/" + m, R"({"text":"x"})");
        row("delete message", "DELETE", "api/messages/" + m);
        row("pin", "POST", "api/messages/" + m + "/pin");
        row("unpin", "POST", "api/messages/" + m + "/unpin");
        row("forward out", "POST", "api/chats/" + d + "/forward",
            ("{\"messageId\":" + m + "}").toUtf8());
        row("transcript", "POST", "api/messages/" + m + "/transcript", R"({"transcript":"x"})");
        row("album", "POST", "api/chats/" + d + "/album",
            R"({"items":[{"file":"x","kind":"image"}]})");
        row("media", "POST", "api/chats/" + d + "/media?kind=image&ext=jpg", "\xFF\xD8\xFF");
        row("group picture", "POST", "api/chats/" + g + "/avatar", "\xFF\xD8\xFF");
        row("invite code", "GET", "api/chats/" + g + "/invite");
        row("new invite", "POST", "api/chats/" + g + "/invite");
        row("revoke invite", "DELETE", "api/chats/" + g + "/invite");
        row("add self", "POST", "api/chats/" + g + "/members",
            ("{\"user_ids\":[" + bob + "]}").toUtf8());
        row("remove member", "DELETE", "api/chats/" + g + "/members/" + bob);
        row("set role", "POST", "api/groups/" + g + "/role",
            ("{\"userId\":" + bob + ",\"role\":\"Admin\"}").toUtf8());
    }

    void outsidersAreRefused() {
        QFETCH(QByteArray, verb);
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        RawConnection conn(m_server->port(), true);
        QVERIFY(conn.ready());
        conn.send(request(verb, path.toUtf8(),
                          "Authorization: Bearer " + m_mallory.token().toUtf8() +
                              "\r\nContent-Type: application/json\r\n",
                          verb == "GET" || verb == "DELETE" ? QByteArray() : body));
        const int status = conn.reply().first;
        QVERIFY2(status == 403 || status == 404, qPrintable(QString::number(status)));
    }

    // Tokens are kept as hashes: nothing in the database file signs in.
    void storedTokensDoNotSignIn() {
        const QByteArray stored = filesOf(m_server->dataDir());
        QVERIFY(!stored.contains(m_alice.token().toUtf8()));
        static const QRegularExpression tokenLike(QStringLiteral("[A-Za-z0-9_-]{43,64}"));
        int tried = 0;
        for (const auto& match : tokenLike.globalMatch(QString::fromLatin1(stored))) {
            if (++tried > 40) break;
            QCOMPARE(
                ServerClient(m_server->httpsUrl(), match.captured(0)).get("api/bootstrap").status,
                401);
        }
        QVERIFY(tried > 0);
        // A signed-out token is gone for good.
        ServerClient once(m_server->httpsUrl());
        QVERIFY(!once.login(QStringLiteral("alice")).isEmpty());
        QCOMPARE(once.post(QStringLiteral("api/logout")).status, 200);
        QCOMPARE(once.get(QStringLiteral("api/bootstrap")).status, 401);
    }

    void theDataFolderIsTheServersAlone() {
        const QString dir = m_server->dataDir();
        QCOMPARE(modeOf(dir), mode_t(0700));
        QStringList seen;
        QDirIterator it(dir, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            const QFileInfo info(path);
            if (info.isSymLink()) continue;
            QCOMPARE(modeOf(path), info.isDir() ? mode_t(0700) : mode_t(0600));
            seen << info.fileName();
        }
        QVERIFY(seen.contains(QStringLiteral("velmarin.sqlite")));
        QVERIFY(seen.contains(QStringLiteral("agent-host.json")));
    }

private:
    QTemporaryDir m_sandbox;
    QTemporaryDir m_outside;
    std::unique_ptr<ServerProcess> m_server;
    ServerClient m_alice{QString()};
    ServerClient m_bob{QString()};
    ServerClient m_mallory{QString()};
    qint64 m_direct = 0;
    qint64 m_group = 0;
    qint64 m_message = 0;
    qint64 m_groupMessage = 0;
};

QTEST_GUILESS_MAIN(TestServerAttack)
#include "test_server_attack.moc"
