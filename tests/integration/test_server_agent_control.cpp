// The simulated agent host's control channel: replies found by id and kind,
// files in its sandbox (chunked writes, reads, downloads), preferences,
// sessions, accounts, and who may ask.
#include "agent/Markers.h"
#include "model/Json.h"
#include "support/AgentTestKit.h"
#include "support/ServerProcess.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The app's cut of a text into pieces of at most `maxBytes` UTF-8 bytes,
// never inside a character.
QStringList chunkUtf8(const QString& text, qsizetype maxBytes) {
    QStringList pieces;
    QString piece;
    qsizetype bytes = 0;
    for (qsizetype i = 0; i < text.size();) {
        const qsizetype width = text[i].isHighSurrogate() ? 2 : 1;
        const QString ch = text.mid(i, width);
        const qsizetype size = ch.toUtf8().size();
        if (bytes + size > maxBytes && !piece.isEmpty()) {
            pieces << piece;
            piece.clear();
            bytes = 0;
        }
        piece += ch;
        bytes += size;
        i += width;
    }
    if (!piece.isEmpty()) pieces << piece;
    return pieces;
}

} // namespace

class TestServerAgentControl : public QObject {
    Q_OBJECT

    std::optional<QJsonObject> ask(const QString& op, const QString& path = {},
                                   QJsonObject extra = {}) {
        return agentkit::request(m_owner, m_self, op, path, extra);
    }

    // Reads a whole text the way the app does: from offset 0 until eof.
    std::optional<QString> readWhole(const QString& op, QJsonObject extra) {
        QString text;
        qint64 offset = 0;
        for (int round = 0; round < 50; ++round) {
            extra.insert(QStringLiteral("offset"), offset);
            const auto reply = ask(op, {}, extra);
            if (!reply || reply->contains(QStringLiteral("err"))) return std::nullopt;
            text += reply->value(QStringLiteral("text")).toString();
            const qint64 next = reply->value(QStringLiteral("next")).toInteger();
            if (reply->value(QStringLiteral("eof")).toBool() || next <= offset) return text;
            offset = next;
        }
        return std::nullopt;
    }

private slots:
    void initTestCase() {
        m_server = std::make_unique<ServerProcess>(ServerProcess::Options{
            {QStringLiteral("bob")},
            QStringLiteral("owner"),
            {QStringLiteral("--agent-host"), QStringLiteral("--agent-pace-ms"),
             QStringLiteral("20"), QStringLiteral("--agent-sandbox"), m_sandbox.path()}});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_owner.setBase(m_server->httpUrl());
        QVERIFY(!m_owner.login(QStringLiteral("owner")).isEmpty());
        m_self = agentkit::selfChat(m_owner);
        QVERIFY(QDir(m_sandbox.path()).mkpath(QStringLiteral("proj/src")));
        const auto created = ask(QStringLiteral("new"), QStringLiteral("/proj"));
        QVERIFY(created);
        m_session = created->value(QStringLiteral("chatId")).toInteger();
        QVERIFY(m_session > 0);
    }

    void repliesAnswerEachOp_data() {
        QTest::addColumn<QString>("op");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("extra");
        QTest::addColumn<QByteArray>("expected"); // keys the reply must hold with these values
        QTest::newRow("unknown op")
            << "bogus"
            << "" << QByteArray("{}") << QByteArray(R"({"ok":false,"err":"unknown op"})");
        QTest::newRow("prefs") << "getprefs"
                               << "" << QByteArray("{}")
                               << QByteArray(R"({"ok":true,"perm":"ask","effort":"medium",)"
                                             R"("model":"","chrome":false,"workdir":"/proj"})");
        QTest::newRow("unknown effort")
            << "seteffort"
            << "" << QByteArray(R"({"effort":"ultra"})") << QByteArray(R"({"ok":false})");
        QTest::newRow("not a session") << "getprefs"
                                       << "" << QByteArray(R"({"chatId":"self"})")
                                       << QByteArray(R"({"ok":false,"err":"no such session"})");
        QTest::newRow("listing")
            << "lsdir"
            << "/proj" << QByteArray("{}")
            << QByteArray(R"({"path":"/proj","parent":"/","truncated":false,)"
                          R"("blocked":false,"entries":[{"n":"src","d":true,"s":0}]})");
        QTest::newRow("relative listing")
            << "lsdir"
            << "src" << QByteArray("{}") << QByteArray(R"({"path":"/proj/src","entries":[]})");
        QTest::newRow("folders") << "ls"
                                 << "~" << QByteArray("{}")
                                 << QByteArray(R"({"path":"/","dirs":[{"n":"proj","p":"/proj",)"
                                               R"("d":[{"n":"src","p":"/proj/src"}]}]})");
        QTest::newRow("climbing out")
            << "readfile"
            << "/../../etc/passwd" << QByteArray("{}") << QByteArray(R"({"err":"not a file"})");
        QTest::newRow("new CLAUDE.md")
            << "readclaudemd"
            << "" << QByteArray(R"({"offset":0})") << QByteArray(R"({"err":"not a file"})");
        QTest::newRow("bad env name") << "writeenvfile"
                                      << "" << QByteArray(R"({"name":".env/x","content":"A=1"})")
                                      << QByteArray(R"({"ok":false})");
        QTest::newRow("bad folder name")
            << "mkdir"
            << "/" << QByteArray(R"({"name":".."})") << QByteArray(R"({"ok":false})");
        QTest::newRow("stop while idle")
            << "stop"
            << "" << QByteArray("{}") << QByteArray(R"({"ok":true,"stopped":false})");
    }

    void repliesAnswerEachOp() {
        QFETCH(QString, op);
        QFETCH(QString, path);
        QFETCH(QByteArray, extra);
        QFETCH(QByteArray, expected);
        QJsonObject fields = QJsonDocument::fromJson(extra).object();
        if (fields.value(QStringLiteral("chatId")) == QLatin1String("self"))
            fields.insert(QStringLiteral("chatId"), m_self);
        else if (op != QLatin1String("ls"))
            fields.insert(QStringLiteral("chatId"), m_session);
        const auto reply = ask(op, path, fields);
        QVERIFY(reply);
        QCOMPARE(reply->value(QStringLiteral("kind")).toString(), QStringLiteral("r"));
        const QJsonObject want = QJsonDocument::fromJson(expected).object();
        for (auto it = want.begin(); it != want.end(); ++it)
            QVERIFY2(reply->value(it.key()) == it.value(),
                     qPrintable(it.key() + u' ' + QJsonDocument(*reply).toJson()));
    }

    void modelsIncludeTheKnownOnes() {
        const auto reply = ask(QStringLiteral("models"), {}, {{"chatId", m_session}});
        QVERIFY(reply && reply->value(QStringLiteral("ok")).toBool());
        QStringList ids;
        for (const QJsonValue& m : reply->value(QStringLiteral("models")).toArray())
            ids << m.toObject().value(QStringLiteral("id")).toString();
        for (const char* id : {"claude-opus-4-8", "claude-sonnet-4-6", "claude-haiku-4-5-20251001",
                               "claude-fable-5", "claude-sonnet-5"})
            QVERIFY2(ids.contains(QLatin1String(id)), id);
    }

    void prefsAreKeptAndReported() {
        const QJsonObject chat{{"chatId", m_session}};
        const QList<std::pair<QString, QJsonObject>> changes{
            {"setperm", {{"perm", "full"}}},
            {"seteffort", {{"effort", "high"}}},
            {"setmodel", {{"model", "claude-opus-4-8"}}},
            {"setchrome", {{"chrome", true}}}};
        for (auto [op, fields] : changes) {
            fields.insert(QStringLiteral("chatId"), m_session);
            QVERIFY2(ask(op, {}, fields)->value(QStringLiteral("ok")).toBool(), qPrintable(op));
        }
        const auto prefs = ask(QStringLiteral("getprefs"), {}, chat);
        QCOMPARE(prefs->value(QStringLiteral("perm")).toString(), QStringLiteral("dangerous"));
        QCOMPARE(prefs->value(QStringLiteral("effort")).toString(), QStringLiteral("high"));
        QCOMPARE(prefs->value(QStringLiteral("model")).toString(),
                 QStringLiteral("claude-opus-4-8"));
        QVERIFY(prefs->value(QStringLiteral("chrome")).toBool());
        QVERIFY(!prefs->value(QStringLiteral("chromeUsed")).toBool());

        const qint64 asked = agentkit::send(m_owner, m_session, QStringLiteral("check the page"));
        std::optional<Message> reply;
        QVERIFY(EventSocket::waitUntil([&] {
            for (const QJsonValue& v : agentkit::messages(m_owner, m_session))
                if (const Message m = Message::fromJson(v.toObject()); m.ccAnswersId() == asked)
                    reply = m;
            return reply.has_value();
        }));
        QCOMPARE(reply->ccModel().value_or(QString()), QStringLiteral("claude-opus-4-8"));
        QCOMPARE(reply->ccEffort().value_or(QString()), QStringLiteral("high"));
        QVERIFY(ask(QStringLiteral("getprefs"), {}, chat)
                    ->value(QStringLiteral("chromeUsed"))
                    .toBool());
    }

    void clearStartsTheContextAfresh() {
        const auto cleared = ask(QStringLiteral("clear"), {},
                                 {{"chatId", m_session}, {"name", "owner"}, {"seed", "[digest]"}});
        QVERIFY(cleared && cleared->value(QStringLiteral("ok")).toBool());
        const qint64 asked = agentkit::send(m_owner, m_session, QStringLiteral("go on"));
        std::optional<Message> reply;
        bool noted = false;
        QVERIFY(EventSocket::waitUntil([&] {
            for (const QJsonValue& v : agentkit::messages(m_owner, m_session)) {
                const Message m = Message::fromJson(v.toObject());
                noted =
                    noted || (m.isSystemNote() &&
                              m.systemNoteText() == QStringLiteral("owner reset the context "
                                                                   "(kept the recent messages)"));
                if (m.ccAnswersId() == asked) reply = m;
            }
            return reply.has_value();
        }));
        QVERIFY(noted);
        QVERIFY(reply->text.startsWith(QStringLiteral("I read the summary")));
        QCOMPARE(reply->ccContextTokens()->warm, 0);
    }

    void chunkedWriteReadsBackWhole() {
        // A three-byte character straddles the 28000-byte cut, and the host's
        // own read pieces fall inside four-byte ones.
        QString content = QString(27999, u'a') + QStringLiteral("€");
        while (content.toUtf8().size() < 60000)
            content += QStringLiteral("é😀 line\n");
        const QStringList pieces = chunkUtf8(content, 28000);
        QCOMPARE(pieces.size(), 3);
        QCOMPARE(pieces[1].front(), u'€');
        for (qsizetype i = 0; i < pieces.size(); ++i) {
            const auto reply =
                ask(QStringLiteral("writeclaudemd"), {},
                    {{"chatId", m_session}, {"content", pieces[i]}, {"append", i > 0}});
            QVERIFY(reply && reply->value(QStringLiteral("ok")).toBool());
        }
        QCOMPARE(
            readWhole(QStringLiteral("readclaudemd"), {{"chatId", m_session}}).value_or(QString()),
            content);
        QFile onDisk(m_sandbox.filePath(QStringLiteral("proj/CLAUDE.md")));
        QVERIFY(onDisk.open(QIODevice::ReadOnly));
        QCOMPARE(onDisk.readAll(), content.toUtf8());

        const QJsonObject env{{"chatId", m_session},
                              {"name", ".env.test"},
                              {"content", "KEY=välue\n"},
                              {"append", false}};
        QVERIFY(ask(QStringLiteral("writeenvfile"), {}, env)->value(QStringLiteral("ok")).toBool());
        QCOMPARE(ask(QStringLiteral("listenvfiles"), {}, {{"chatId", m_session}})
                     ->value(QStringLiteral("files"))
                     .toArray(),
                 QJsonArray{".env.test"});
        QCOMPARE(
            readWhole(QStringLiteral("readenvfile"), {{"chatId", m_session}, {"name", ".env.test"}})
                .value_or(QString()),
            QStringLiteral("KEY=välue\n"));
    }

    void getfileLinkDownloadsTheBytes() {
        QByteArray bytes;
        for (int i = 0; i < 3 * 256; ++i)
            bytes += char(i % 256);
        QFile file(m_sandbox.filePath(QStringLiteral("proj/src/blob.bin")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
        file.close();
        const auto reply =
            ask(QStringLiteral("getfile"), QStringLiteral("src/blob.bin"), {{"chatId", m_session}});
        QVERIFY(reply);
        const QString url = reply->value(QStringLiteral("url")).toString();
        QVERIFY2(url.startsWith(QStringLiteral("/api/claude/file?t=")), qPrintable(url));
        // The app joins the link to its base by plain concatenation, and sends no token.
        ServerClient anyone(m_server->httpUrl());
        const QUrl full(m_server->httpUrl() + url);
        const HttpResult got = anyone.get(full.path().mid(1), QUrlQuery(full));
        QCOMPARE(got.status, 200);
        QCOMPARE(got.body, bytes);
        QCOMPARE(anyone.get(QStringLiteral("api/claude/file"), QUrlQuery{{"t", "nope"}}).status,
                 404);
        QCOMPARE(ask(QStringLiteral("readfile"), QStringLiteral("/proj/src/blob.bin"))
                     ->value(QStringLiteral("err"))
                     .toString(),
                 QStringLiteral("binary"));
    }

    void newSessionBelongsToItsFolder() {
        const auto made = ask(QStringLiteral("mkdir"), QStringLiteral("/"), {{"name", "fresh"}});
        QCOMPARE(made->value(QStringLiteral("path")).toString(), QStringLiteral("/fresh"));
        const auto created =
            ask(QStringLiteral("new"), QStringLiteral("/fresh"), {{"perm", "dangerous"}});
        const qint64 chatId = created->value(QStringLiteral("chatId")).toInteger();
        QVERIFY(chatId > 0 && chatId != m_session);
        QCOMPARE(ask(QStringLiteral("new"), QStringLiteral("/fresh"), {{"perm", "dangerous"}})
                     ->value(QStringLiteral("chatId"))
                     .toInteger(),
                 chatId);
        const auto boot =
            json::decode<BootstrapResponse>(m_owner.get(QStringLiteral("api/bootstrap")).body);
        const auto chat = std::find_if(boot.chats.begin(), boot.chats.end(),
                                       [&](const ChatSummary& c) { return c.id == chatId; });
        QVERIFY(chat != boot.chats.end());
        QCOMPARE(chat->title.value_or(QString()), QStringLiteral("fresh"));
        QVERIFY(boot.botIds && boot.botIds->size() == 1);
        QVERIFY(std::any_of(chat->members.begin(), chat->members.end(),
                            [&](const User& u) { return u.id == boot.botIds->front(); }));
        QCOMPARE(chat->lastMessage->ccModel().value_or(QString()),
                 QStringLiteral("claude-fable-5"));
        QCOMPARE(ask(QStringLiteral("getprefs"), {}, {{"chatId", chatId}})
                     ->value(QStringLiteral("perm"))
                     .toString(),
                 QStringLiteral("dangerous"));
        // The host's conversation with itself never counts as unread.
        const auto self = std::find_if(boot.chats.begin(), boot.chats.end(),
                                       [&](const ChatSummary& c) { return c.id == m_self; });
        QCOMPARE(self->unread.value_or(-1), 0);
    }

    void hostStatusDecodesStrictly() {
        const HttpResult status = m_owner.get(QStringLiteral("api/claude/host"));
        const auto host = json::tryDecode<ClaudeHost>(status.body);
        QVERIFY2(host, status.body.constData());
        QVERIFY(host->online);
        QCOMPARE(host->platform.value_or(QString()), QStringLiteral("linux"));
        QVERIFY(host->usage && host->usage->fiveHour && host->usage->sevenDay);
        QVERIFY(host->usage->fiveHour->resetDate().has_value());
        QVERIFY(host->usage->sevenDay->utilization.has_value());
        const auto boot =
            json::decode<BootstrapResponse>(m_owner.get(QStringLiteral("api/bootstrap")).body);
        QVERIFY(boot.claudeHost->mac == host->mac);
        QVERIFY(!boot.agentId);
        QCOMPARE(m_owner.post(QStringLiteral("api/claude/host"), {{"mac", "studio"}}).status, 200);
    }

    void accountsSignInMoveAndTravel() {
        const auto started = ask(QStringLiteral("acctlogin"));
        const QUrl page(started->value(QStringLiteral("url")).toString());
        const QString loginId = started->value(QStringLiteral("loginId")).toString();
        ServerClient browser(page.scheme() + QStringLiteral("://") + page.authority());
        QUrlQuery query(page);
        query.addQueryItem(QStringLiteral("email"), QStringLiteral("second@example.com"));
        const HttpResult html = browser.get(page.path().mid(1), query);
        const auto code = QRegularExpression(QStringLiteral("<code id=\"code\">(\\w+)</code>"))
                              .match(QString::fromUtf8(html.body))
                              .captured(1);
        QVERIFY2(!code.isEmpty(), html.body.constData());
        QVERIFY(!ask(QStringLiteral("acctcode"), {}, {{"loginId", loginId}, {"code", "WRONG"}})
                     ->value(QStringLiteral("ok"))
                     .toBool());
        const auto added =
            ask(QStringLiteral("acctcode"), {}, {{"loginId", loginId}, {"code", code}});
        QCOMPARE(added->value(QStringLiteral("email")).toString(),
                 QStringLiteral("second@example.com"));
        const QJsonArray accounts =
            ask(QStringLiteral("acctlist"))->value(QStringLiteral("accounts")).toArray();
        QCOMPARE(accounts.size(), 2);
        QVERIFY(accounts[0].toObject().value(QStringLiteral("default")).toBool());

        QVERIFY(ask(QStringLiteral("setaccount"), {},
                    {{"chatId", m_session}, {"email", "SECOND@example.com"}})
                    ->value(QStringLiteral("ok"))
                    .toBool());
        const auto host =
            json::decode<ClaudeHost>(m_owner.get(QStringLiteral("api/claude/host")).body);
        QCOMPARE(host.chatAccounts->value(QString::number(m_session)),
                 QStringLiteral("second@example.com"));
        QVERIFY(!ask(QStringLiteral("setaccount"), {}, {{"chatId", m_session}, {"email", "x@y.z"}})
                     ->value(QStringLiteral("ok"))
                     .toBool());

        const QString credentials =
            ask(QStringLiteral("acctexport"), {}, {{"email", "second@example.com"}})
                ->value(QStringLiteral("credentials"))
                .toString();
        QVERIFY(!credentials.isEmpty());
        QVERIFY(!ask(QStringLiteral("acctimport"), {},
                     {{"email", "other@example.com"}, {"credentials", credentials}})
                     ->value(QStringLiteral("ok"))
                     .toBool());
        QVERIFY(ask(QStringLiteral("acctimport"), {},
                    {{"email", "second@example.com"}, {"credentials", credentials}})
                    ->value(QStringLiteral("ok"))
                    .toBool());
    }

    void onlyTheOwnerIsServed() {
        ServerClient bob(m_server->httpUrl());
        QVERIFY(!bob.login(QStringLiteral("bob")).isEmpty());
        const auto reply = agentkit::request(bob, agentkit::selfChat(bob), QStringLiteral("ls"),
                                             QStringLiteral("/"));
        QVERIFY(reply);
        QCOMPARE(reply->value(QStringLiteral("ok")), QJsonValue(false));
        QVERIFY(!reply->contains(QStringLiteral("dirs")));
    }

private:
    QTemporaryDir m_sandbox;
    std::unique_ptr<ServerProcess> m_server;
    ServerClient m_owner{QString()};
    qint64 m_self = 0;
    qint64 m_session = 0;
};

QTEST_GUILESS_MAIN(TestServerAgentControl)
#include "test_server_agent_control.moc"
