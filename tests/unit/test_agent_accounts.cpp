#include "core/Localisation.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QTest>

using namespace fixtures;

namespace {
ClaudeNamedAccount named(const QString& email) {
    return ClaudeNamedAccount{email, std::nullopt};
}

ClaudeUsage usageOf(const QString& email) {
    ClaudeUsage u;
    u.email = email;
    return u;
}
} // namespace

// Accounts and machines, sign-in replies, and moving a conversation.
class TestAgentAccounts : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void initTestCase() { Loc::setCurrent(AppLanguage::en); }
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void switchOnThePrimaryServer_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("hostReply"); // JSON, or empty for silence
        QTest::addColumn<QString>("result");    // "nil" on success
        QTest::addColumn<QString>("sentEmail"); // "-" when nothing was sent
        QTest::newRow("same account in another case") << " MAIN@x.example\t"
                                                      << R"({"ok":true})"
                                                      << "nil"
                                                      << "-";
        QTest::newRow("no target") << "  "
                                   << R"({"ok":true})"
                                   << "Pick a specific account for this conversation"
                                   << "-";
        QTest::newRow("held on the Mac") << "held@x.example"
                                         << R"({"ok":true})"
                                         << "nil"
                                         << "held@x.example";
        QTest::newRow("refused without a reason") << "held@x.example"
                                                  << R"({"ok":false})"
                                                  << "Could not switch the account"
                                                  << "held@x.example";
        QTest::newRow("refused with a reason") << "held@x.example"
                                               << R"({"ok":false,"err":"busy"})"
                                               << "busy"
                                               << "held@x.example";
        QTest::newRow("no reply") << "held@x.example"
                                  << ""
                                  << "No response from the Mac"
                                  << "held@x.example";
        QTest::newRow("known only on a server without sessions")
            << "far@x.example"
            << R"({"ok":true})"
            << "This account isn't available on the Mac yet — add it first"
            << "-";
    }

    void switchOnThePrimaryServer() {
        QFETCH(QString, target);
        QFETCH(QString, hostReply);
        QFETCH(QString, result);
        QFETCH(QString, sentEmail);
        HostEcho echo;
        const QJsonObject reply = QJsonDocument::fromJson(hostReply.toUtf8()).object();
        echo.host = [&](const QJsonObject&) -> std::optional<QJsonObject> {
            if (hostReply.isEmpty()) return std::nullopt;
            return reply;
        };
        auto store = storeOn(echo);
        store->setClaudeUsage(usageOf("main@x.example"));
        seam(store).macNamedAccounts() = {named("held@x.example")};
        store->setServerClaudeEmail({{0, "main@x.example"}, {3, "far@x.example"}});
        const auto outcome = QCoro::waitFor(store->switchChatAccount(sessionId, target));
        QCOMPARE(outcome.value_or("nil"), result);
        const auto sent = requestsFor(echo, "setaccount");
        QCOMPARE(sent.isEmpty() ? QString("-") : sent.first().value("email").toString(), sentEmail);
        if (!sent.isEmpty()) QCOMPARE(sent.first().value("chatId").toInteger(), sessionId);
    }

    void mainAccountOfTheServerIsSetByEmptyEmail() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        seam(store).macChatAccounts() = {{sessionId, "held@x.example"}};
        store->setServerClaudeEmail({{0, "main@x.example"}});
        QVERIFY(!QCoro::waitFor(store->switchChatAccount(sessionId, QString("main@x.example"))));
        QCOMPARE(requestsFor(echo, "setaccount").first().value("email").toString(), "");
    }

    void signInReplies() {
        HostEcho echo;
        QJsonObject reply;
        echo.host = [&](const QJsonObject&) -> std::optional<QJsonObject> {
            if (reply.isEmpty()) return std::nullopt;
            return reply;
        };
        auto store = storeOn(echo);
        const auto silent = QCoro::waitFor(store->ccAuthLoginSubmit("L1", "code", sessionId));
        QVERIFY(!silent.ok);
        QCOMPARE(silent.err, "No response from the Mac");
        reply = {{"ok", true}, {"email", "a@x.example"}};
        const auto done = QCoro::waitFor(store->ccAccountLoginSubmit("L2", "code"));
        QVERIFY(done.ok);
        QCOMPARE(done.email, "a@x.example");
        QCOMPARE(requestsFor(echo, "acctcode").first().value("loginId").toString(), "L2");
        reply = {{"accounts",
                  QJsonArray{QJsonObject{{"email", "a@x.example"}, {"default", true}},
                             QJsonObject{{"email", ""}}, QJsonObject{{"email", "b@x.example"}}}}};
        const auto list = QCoro::waitFor(store->ccAccountList());
        QCOMPARE(list.size(), 2);
        QVERIFY(list[0].isDefault);
        QVERIFY(!list[1].isDefault);
        reply = {{"ok", true}, {"credentials", ""}};
        QVERIFY(!QCoro::waitFor(store->ccAccountExport("a@x.example", std::nullopt)));
        reply = {{"ok", true}, {"credentials", "opaque"}};
        QCOMPARE(QCoro::waitFor(store->ccAccountExport("a@x.example", sessionId)), "opaque");
        reply = {{"loggedIn", true}, {"plan", "max"}};
        const auto status = QCoro::waitFor(store->ccAuthStatus(sessionId));
        QVERIFY(status && status->loggedIn && status->email.isEmpty());
        QCOMPARE(status->plan, "max");
    }

    void accountOfAConversation() {
        auto store = offlineStore();
        QVERIFY(!store->chatAccountEmail(sessionId));
        store->setServerClaudeEmail({{0, "main@x.example"}, {2, "linux@x.example"}});
        QCOMPARE(store->chatAccountEmail(sessionId), "main@x.example");
        store->setClaudeUsage(usageOf("usage@x.example"));
        QCOMPARE(store->chatAccountEmail(sessionId), "usage@x.example");
        seam(store).macChatAccounts() = {{sessionId, "held@x.example"}};
        QCOMPARE(store->chatAccountEmail(sessionId), "held@x.example");
        const qint64 onTwo = IDCodec::encode(5, 2);
        QCOMPARE(store->chatAccountEmail(onTwo), "linux@x.example");
        seam(store).serverChatAccounts()[2] = {{onTwo, "moved@x.example"}};
        QCOMPARE(store->chatAccountEmail(onTwo), "moved@x.example");
        QVERIFY(!store->chatClientAnswering(onTwo));
        seam(store).serverAnswering()[2] = true;
        QVERIFY(store->chatClientAnswering(onTwo));
    }

    void picturesOfMachinesAndAccounts() {
        auto store = offlineStore();
        QVERIFY(store->claudeClients().isEmpty());
        QVERIFY(!store->hasMacRunner());
        seam(store).claudeHostOnline() = true;
        store->setServerPlatform({{0, "linux"}});
        store->setServerClaudeEmail({{0, "Main@x.example"}, {4, "main@x.example"}});
        seam(store).macNamedAccounts() = {named("held@x.example"), named("MAIN@x.example")};
        const QList<ClaudeClient> clients = store->claudeClients();
        QCOMPARE(clients.size(), 1);
        QCOMPARE(clients[0].name, "Server");
        QCOMPARE(clients[0].subtitle, "Linux server");
        QCOMPARE(clients[0].email, "Main@x.example");
        QVERIFY(!store->hasMacRunner());
        const QList<ClaudeAccount> accounts = store->claudeAccounts();
        QCOMPARE(accounts.size(), 2);
        QCOMPARE(accounts[0].email, "Main@x.example");
        QCOMPARE(accounts[1].email, "held@x.example");
        QCOMPARE(accounts[1].clients.first().serverId, 0);
        store->setClaudeUsage(usageOf("usage@x.example"));
        QCOMPARE(store->knownAccountEmails(),
                 (QStringList{"Main@x.example", "held@x.example", "usage@x.example"}));
        store->setServerPlatform({});
        QCOMPARE(store->primaryClientSubtitle(), "Local Mac");
        QVERIFY(store->hasMacRunner());
        QCOMPARE(store->allSessionChats().size(), 1);
        QCOMPARE(store->chatsOnAccount("USAGE@x.example").size(), 1);
        QVERIFY(store->chatsOnServers({3}).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAgentAccounts)
#include "test_agent_accounts.moc"
