#include "core/Localisation.h"
#include "core/Prefs.h"
#include "model/Config.h"
#include "net/Api.h"
#include "store/Store.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"
#include "ui/LoginViewModel.h"

#include <QSignalSpy>
#include <QTest>

// The login screen's view model against the real server: name login, the fall
// to the invite step, the code@server rule, and the invite logins.
class TestLoginViewModel : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    // The well-known servers: only the private-network one is the test server.
    void serverIsWellKnown() {
        Config::overrideWellKnownServers(kClosedServer, server->httpUrl(), kClosedServer);
    }

    // An invite code of a fresh group of bob's, in its sharable form.
    QString groupInvite(const QString& title) {
        const Api anonymous(QUrl(server->httpUrl()), std::nullopt);
        const LoginResponse bob = await(anonymous.login("bob"));
        const Api api(QUrl(server->httpUrl()), bob.token);
        const ChatSummary group = await(api.createGroup(title, {}));
        const InviteResponse invite =
            await(api.rotateInvite(group.id)); // a group starts without one
        return invite.code.value_or(QString()) + "@" + server->httpUrl();
    }

    static bool hasChatTitled(const Store& store, const QString& title) {
        for (const ChatSummary& c : store.chats())
            if (c.title == title) return true;
        return false;
    }

    static void waitIdle(const LoginViewModel& vm) {
        QTRY_VERIFY_WITH_TIMEOUT(!vm.busy() && !vm.autoProbing(), 15000);
    }

private slots:
    void initTestCase() {
        ServerProcess::Options options;
        options.loopbackOwner = true; // the private network's sign-in is under test
        server = std::make_unique<ServerProcess>(options);
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        Loc::setCurrent(AppLanguage::en);
    }

    void cleanup() {
        env.reset();
        Config::resetWellKnownServers();
        Loc::setCurrent(AppLanguage::en);
    }

    void configuredNameSignsIn() {
        serverIsWellKnown();
        Store store;
        LoginViewModel vm(&store);
        QSignalSpy busy(&vm, &LoginViewModel::busyChanged);
        vm.setName("  alice ");
        vm.submitName();
        QVERIFY(vm.busy());
        waitIdle(vm);
        QCOMPARE(busy.size(), 2);
        QVERIFY(store.token());
        QCOMPARE(store.me()->username, "alice");
        QCOMPARE(vm.name(), "alice");
        QCOMPARE(vm.step(), "name");
        QCOMPARE(store.serverURLString(), server->httpUrl());
    }

    void emptyNameDoesNothing() {
        serverIsWellKnown();
        Store store;
        LoginViewModel vm(&store);
        vm.setName("   ");
        vm.submitName();
        QVERIFY(!vm.busy());
        QCOMPARE(vm.step(), "name");
    }

    void unknownNameOffersTheInviteStep() {
        serverIsWellKnown();
        Store store;
        LoginViewModel vm(&store);
        vm.setName("mallory");
        vm.submitName();
        waitIdle(vm);
        QVERIFY(!store.token());
        QCOMPARE(vm.step(), "code");
        // The failure shown up to then is not kept.
        QCOMPARE(vm.errorText(), QString());
        QVERIFY(!store.lastError());
        vm.back();
        QCOMPARE(vm.step(), "name");
    }

    void codeWithoutServerIsRefusedOnTheScreen_data() {
        QTest::addColumn<QString>("language");
        QTest::newRow("en") << "en";
        QTest::newRow("de") << "de";
    }
    void codeWithoutServerIsRefusedOnTheScreen() {
        QFETCH(QString, language);
        Prefs::shared().setValue("appLanguage", language); // the store reads it at launch
        serverIsWellKnown();
        Store store;
        LoginViewModel vm(&store);
        vm.setName("mallory");
        vm.submitName();
        waitIdle(vm);
        QCOMPARE(vm.step(), "code");
        vm.setInviteCode("  k3Fq9  ");
        vm.joinInvite();
        QVERIFY(!vm.busy()); // goes no further
        const QString expected = L(
            "This code doesn't name its server. Ask for the full invite (code@server) or its QR.");
        QCOMPARE(vm.errorText(), expected);
        if (language == "de") QVERIFY(expected.startsWith("Dieser Code"));
        // Editing the code takes the notice away.
        vm.setInviteCode("k3Fq9@");
        QCOMPARE(vm.errorText(), QString());
    }

    void guestJoinsWithCodeAtServer() {
        // No well-known server knows anyone: the invite alone names the server.
        Config::overrideWellKnownServers(kClosedServer, kClosedServer, kClosedServer);
        const QString invite = groupInvite("Guests welcome");
        Store store;
        LoginViewModel vm(&store);
        vm.setName("Zoe");
        vm.submitName();
        waitIdle(vm);
        QCOMPARE(vm.step(), "code");
        vm.setInviteCode(invite);
        vm.joinInvite();
        QVERIFY(vm.busy());
        waitIdle(vm);
        QVERIFY2(store.token(), qPrintable(vm.errorText()));
        QCOMPARE(store.me()->username, "Zoe");
        QVERIFY(store.me()->isGuest.value_or(false));
        QCOMPARE(store.serverURLString(), server->httpUrl());
        QVERIFY(hasChatTitled(store, "Guests welcome"));
    }

    void knownNameJoinsWithTheInvite() {
        Config::overrideWellKnownServers(kClosedServer, kClosedServer, kClosedServer);
        const QString invite = groupInvite("Named join");
        Store store;
        LoginViewModel vm(&store);
        vm.setName("carol");
        vm.setInviteCode(invite);
        vm.joinInvite();
        waitIdle(vm);
        QVERIFY2(store.token(), qPrintable(vm.errorText()));
        QCOMPARE(store.me()->username, "carol");
        QVERIFY(!store.me()->isGuest.value_or(false));
        QVERIFY(hasChatTitled(store, "Named join"));
    }

    void wrongCodeShowsTheServersReason() {
        Config::overrideWellKnownServers(kClosedServer, kClosedServer, kClosedServer);
        Store store;
        LoginViewModel vm(&store);
        vm.setName("Zoe");
        vm.setInviteCode("nope@" + server->httpUrl());
        vm.joinInvite();
        waitIdle(vm);
        QVERIFY(!store.token());
        QVERIFY(!vm.errorText().isEmpty());
    }

    void privateNetworkSignsInOnAppear() {
        serverIsWellKnown();
        Store store;
        LoginViewModel vm(&store);
        vm.appear();
        QVERIFY(vm.autoProbing());
        waitIdle(vm);
        QVERIFY(store.token());
        QCOMPARE(store.me()->username, server->options().owner);
    }

    void noAutoLoginAfterLogout() {
        serverIsWellKnown();
        Store store;
        seam(store).suppressAutoLogin() = true;
        LoginViewModel vm(&store);
        vm.appear();
        QVERIFY(!vm.autoProbing());
        QTest::qWait(300);
        QVERIFY(!store.token());
    }

    void storedGuestAddressGivesTheHint() {
        Prefs::shared().setValue("guestServerURL", "https://guest.example:8391");
        Store store;
        LoginViewModel vm(&store);
        QCOMPARE(vm.localHint(), "guest.example");
    }
};

QTEST_MAIN(TestLoginViewModel)
#include "test_login_view_model.moc"
