// The usage screen and the Claude account views against the seeded demo on
// the real server: accounts with their windows and pace, the account held
// beside the main sign-in, moving a conversation, and adding an account.
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "ui/ClaudeSignInModel.h"
#include "ui/UsageViewModel.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const QString kMain = QStringLiteral("owner@velmarin.test");
const QString kTeam = QStringLiteral("team@velmarin.test");

QVariantMap accountOf(const UsageViewModel& usage, const QString& email) {
    for (const QVariant& a : usage.accounts())
        if (a.toMap().value("email").toString() == email) return a.toMap();
    return {};
}

QVariantMap cardOf(const QVariantMap& account, const QString& shortName) {
    for (const QVariant& c : account.value("cards").toList())
        if (c.toMap().value("short").toString() == shortName) return c.toMap();
    return {};
}

qint64 chatTitled(const Store& store, const QString& title) {
    for (const ChatSummary& chat : store.chats())
        if (chat.title == title) return chat.id;
    return 0;
}

} // namespace

class TestUsageViews : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> m_server;
    std::unique_ptr<ClientEnv> m_env;
    std::unique_ptr<Store> m_store;

private slots:
    void initTestCase() {
        m_server = std::make_unique<ServerProcess>(
            ServerProcess::Options{{QStringLiteral("bob")},
                                   QStringLiteral("owner"),
                                   {QStringLiteral("--agent-host"), QStringLiteral("--seed-demo"),
                                    QStringLiteral("--agent-pace-ms"), QStringLiteral("20")}});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_env = std::make_unique<ClientEnv>();
        m_store = launchSignedIn(*m_server, QStringLiteral("owner"));
        await(m_store->refreshClaudeUsage());
        QVERIFY(m_store->claudeUsage().has_value());
    }

    void cleanupTestCase() {
        m_store.reset();
        m_env.reset();
    }

    // The main sign-in runs ahead of the time passed; the held account does not.
    void accountsShowWindowsAndPace_data() {
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("shortName");
        QTest::addColumn<int>("util");
        QTest::addColumn<bool>("ahead");
        QTest::newRow("main 5h") << kMain << "5h" << 64 << true;
        QTest::newRow("main 7d") << kMain << "7d" << 52 << true;
        QTest::newRow("held 5h") << kTeam << "5h" << 18 << false;
        QTest::newRow("held 7d") << kTeam << "7d" << 23 << false;
    }
    void accountsShowWindowsAndPace() {
        QFETCH(QString, email);
        QFETCH(QString, shortName);
        QFETCH(int, util);
        QFETCH(bool, ahead);
        UsageViewModel usage(m_store.get());
        QVERIFY(!usage.empty());
        const QVariantMap card = cardOf(accountOf(usage, email), shortName);
        QVERIFY2(!card.isEmpty(), qPrintable(email + " " + shortName));
        QCOMPARE(qRound(card.value("util").toDouble()), util);
        QCOMPARE(card.value("overPace").toBool(), ahead);
        QCOMPARE(card.value("pill").toString(), ahead ? "Ahead of pace" : "On track");
        const double elapsed = card.value("expected").toDouble();
        QVERIFY(elapsed > 0 && elapsed < 100);
        QVERIFY(ahead ? elapsed < util : elapsed > util);
        QVERIFY(!card.value("countdown").toString().isEmpty());
        QVERIFY(!card.value("resetClock").toString().isEmpty());
    }

    void paceFollowsTheClock() {
        UsageViewModel usage(m_store.get());
        const QVariantList now = usage.pies();
        QCOMPARE(now.size(), 2);
        QVERIFY(now[0].toMap().value("overPace").toBool());
        // Near the reset most of the window has passed: on track again.
        usage.setNow(QDateTime::currentDateTimeUtc().addSecs(2 * 3600));
        const QVariantMap late = usage.pies()[0].toMap();
        QVERIFY(!late.value("overPace").toBool());
        QVERIFY(late.value("expected").toDouble() > 90);
        // Once the reset has passed the whole window counts as elapsed.
        usage.setNow(QDateTime::currentDateTimeUtc().addSecs(135 * 60 + 30));
        QCOMPARE(usage.pies()[0].toMap().value("expected").toDouble(), 100.0);
        const QVariantMap card = cardOf(accountOf(usage, kMain), "5h");
        QCOMPARE(card.value("countdown").toString(), "0m");
    }

    void heldAccountAndItsMachine() {
        UsageViewModel usage(m_store.get());
        const QVariantMap main = accountOf(usage, kMain);
        const QVariantMap team = accountOf(usage, kTeam);
        QVERIFY(!main.value("held").toBool());
        QVERIFY(team.value("held").toBool());
        QCOMPARE(team.value("mainEmail").toString(), kMain);
        const QVariantList clients = main.value("clients").toList();
        QCOMPARE(clients.size(), 1);
        QCOMPARE(team.value("holder").toString(), clients[0].toMap().value("name").toString());
        QVERIFY(clients[0].toMap().value("answering").toBool());
        QVERIFY(usage.knownAccounts().contains(kTeam));
        // The infra session runs on the held account, the others on the main one.
        QStringList teamChats;
        for (const QVariant& c : team.value("chats").toList())
            teamChats << c.toMap().value("title").toString();
        QCOMPARE(teamChats, QStringList{"infra"});
        // Conversations with people run on no account, though on the same server.
        QStringList mainChats;
        for (const QVariant& c : main.value("chats").toList())
            mainChats << c.toMap().value("title").toString();
        mainChats.sort();
        QCOMPARE(mainChats, (QStringList{"mobile-app", "velmarin-web"}));
    }

    void movingAConversation() {
        UsageViewModel usage(m_store.get());
        const qint64 web = chatTitled(*m_store, QStringLiteral("velmarin-web"));
        QVERIFY(web != 0);
        QCOMPARE(m_store->chatAccountEmail(web).value_or(QString()), kMain);
        // Same account in other letters: nothing to do.
        QVERIFY(!await(usage.move(web, kMain.toUpper())).has_value());
        QVERIFY(!await(usage.move(web, kTeam)).has_value());
        await(m_store->refreshClaudeUsage());
        QCOMPARE(m_store->chatAccountEmail(web).value_or(QString()), kTeam);
        const auto failure = await(usage.move(web, QStringLiteral("nobody@velmarin.test")));
        QVERIFY(failure.has_value());
        QVERIFY(!usage.moving());
    }

    void addingAnAccount() {
        ClaudeSignInModel signIn(m_store.get());
        signIn.startAddingAccount();
        QVERIFY(await(signIn.begin()));
        QVERIFY(!signIn.loginUrl().isEmpty());
        // A wrong code fails with the words the sheet shows.
        QVERIFY(!await(signIn.complete(QStringLiteral("WRONG"))));
        QCOMPARE(signIn.error(), "Sign-in failed. Check the code and try again.");

        ServerClient page(m_server->httpUrl());
        const QUrl url(signIn.loginUrl());
        const HttpResult html = page.get(url.path().mid(1), QUrlQuery(url.query()));
        QCOMPARE(html.status, 200);
        const auto code = QRegularExpression(QStringLiteral("<code id=\"code\">(\\w+)</code>"))
                              .match(QString::fromUtf8(html.body));
        QVERIFY(code.hasMatch());
        QVERIFY(await(signIn.complete(code.captured(1))));
        QVERIFY(signIn.error().isEmpty());
        QVERIFY(!signIn.addedEmail().isEmpty());
        await(m_store->refreshClaudeUsage());
        UsageViewModel usage(m_store.get());
        QVERIFY(accountOf(usage, signIn.addedEmail()).value("held").toBool());
    }

    void mainSignInAndLogout() {
        ClaudeSignInModel signIn(m_store.get());
        await(signIn.refresh());
        QVERIFY(signIn.loggedIn());
        QCOMPARE(signIn.email(), kMain);
        QCOMPARE(signIn.plan(), "Max");
        QVERIFY(await(signIn.signOut()));
        QVERIFY(!signIn.loggedIn());
        QVERIFY(await(signIn.begin()));
        ServerClient page(m_server->httpUrl());
        const QUrl url(signIn.loginUrl());
        const HttpResult html = page.get(url.path().mid(1), QUrlQuery(url.query()));
        const auto code = QRegularExpression(QStringLiteral("<code id=\"code\">(\\w+)</code>"))
                              .match(QString::fromUtf8(html.body));
        QVERIFY(code.hasMatch());
        QVERIFY(await(signIn.complete(code.captured(1))));
        await(signIn.refresh());
        QVERIFY(signIn.loggedIn());
    }
};

QTEST_MAIN(TestUsageViews)
#include "test_usage_views.moc"
