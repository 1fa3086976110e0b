#include "core/Prefs.h"
#include "model/Config.h"
#include "model/IDCodec.h"
#include "net/Pinning.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QTest>
#include <QWebSocket>

// Signing in and out, and the merge rules of a resync, against the real server.
class TestSession : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    // The well-known servers in probe order of a name login: Mac, default, public.
    void wellKnown(const QString& mac, const QString& def, const QString& pub) {
        Config::overrideWellKnownServers(pub, def, mac);
    }

    // A store that has a session but no link, so only the test moves it.
    std::unique_ptr<Store> quietStore(const Account& account) {
        auto store = std::make_unique<Store>(StoreOptions{0.05});
        seam(store).setServerURLString(server->httpUrl());
        seam(store).setToken(*account.api.token);
        seam(store).me() = account.user;
        return store;
    }

private slots:
    // A fresh server for each test: every test is a new device, and a device
    // key bound by an earlier one would refuse this one's name sign-in.
    void init() {
        ServerProcess::Options options;
        options.loopbackOwner = true; // the private network's sign-in is under test
        server = std::make_unique<ServerProcess>(options);
        QVERIFY2(server->start(), qPrintable(server->errorString()));
        env = std::make_unique<ClientEnv>();
    }

    void cleanup() {
        env.reset();
        server.reset();
    }

    void nameLoginProbesTheWellKnownServersInOrder() {
        wellKnown(kClosedServer, server->httpUrl(), server->plainUrl());
        Store store({0.05});
        QVERIFY(!store.api());
        await(store.login("alice"));
        QVERIFY2(store.token(), qPrintable(store.lastError().value_or("")));
        QCOMPARE(store.serverURLString(), server->httpUrl()); // the first that answered
        QCOMPARE(Prefs::shared().string("primaryBaseURL"), server->httpUrl());
        QCOMPARE(store.me()->username, "alice");
        QVERIFY(store.didBootstrap());
        QVERIFY(Prefs::shared().readJson<User>("me"));
    }

    void nameLoginFailures() {
        Store store({0.05});
        await(store.login("alice", QString("   ")));
        QCOMPARE(store.lastError(), "Invalid server URL");
        await(store.login("nobody")); // no address and no well-known server answers
        QCOMPARE(store.lastError(),
                 "This name isn't authorized on any reachable server — use an invite code.");
        await(store.login("mallory", server->httpUrl())); // the server's own words
        QVERIFY(store.lastError() && !store.lastError()->isEmpty());
        QVERIFY(!store.token());
    }

    void privateNetworkLoginAndItsGuards() {
        wellKnown(kClosedServer, kClosedServer, server->httpUrl());
        Store store({0.05});
        seam(store).suppressAutoLogin() = true;
        QVERIFY(!await(store.tailnetAutoLogin())); // after a logout: not at once
        seam(store).suppressAutoLogin() = false;
        QVERIFY(await(store.tailnetAutoLogin()));
        QCOMPARE(store.me()->username, "owner");
        QVERIFY(!await(store.tailnetAutoLogin())); // already signed in
    }

    void guestLoginByInvite() {
        const Account bob = signIn(*server, "bob");
        const ChatSummary group = await(bob.api.createGroup("Open house", {}));
        const QString code = *await(bob.api.rotateInvite(group.id)).code;

        Store bare({0.05});
        await(bare.loginGuest("Zed", code)); // a bare code needs a primary server
        QCOMPARE(bare.lastError(), "Invalid server URL");

        Store guest({0.05});
        await(guest.loginGuest("Zed", code + "@" + server->httpUrl()));
        QVERIFY2(guest.token(), qPrintable(guest.lastError().value_or("")));
        QVERIFY(guest.me()->isGuest.value_or(false));
        QCOMPARE(Prefs::shared().string("guestServerURL"), server->httpUrl());
        QVERIFY(guest.chat(group.id));
        // The stored guest address wins at the next launch.
        Prefs::shared().setValue("primaryBaseURL", kClosedServer);
        QCOMPARE(Store().serverURLString(), server->httpUrl());
    }

    void failedBootstrapKeepsEverything() {
        const Account alice = signIn(*server, "alice");
        auto store = quietStore(alice);
        await(store->resync());
        const auto chats = store->chats();
        const auto me = store->me();
        seam(store).setServerURLString(kClosedServer);
        await(store->resync());
        QVERIFY(store->lastError()->startsWith("Can’t connect to"));
        QCOMPARE(store->chats(), chats);
        QCOMPARE(store->me(), me);
        seam(store).setServerURLString(server->httpUrl());
        await(store->resync());
        QVERIFY(!store->lastError()); // a good resync clears it
    }

    void resyncMergeKeepsPendingAndExtraServers() {
        const Account alice = signIn(*server, "alice");
        const Account bob = signIn(*server, "bob");
        const ChatSummary chat = await(bob.api.createGroup("Merge", {alice.user.id}));
        const Message old = await(bob.api.send(chat.id, "before"));
        auto store = quietStore(alice);
        await(store->resync());
        await(store->openChat(chat.id));
        store->setSelectedChatId(chat.id);
        Message pending = old;
        pending.id = seam(store).nextTempId()--;
        pending.isPending = true;
        seam(store).messages()[chat.id].push_back(pending);

        // A conversation of an extra server, with activity between two of ours.
        ChatSummary extra = chat;
        extra.id = IDCodec::encode(77, 3);
        extra.lastMessage = old;
        extra.lastMessage->chatId = extra.id;
        extra.lastMessage->createdAt = old.createdAt + 1;
        seam(store).chats().push_back(extra);
        seam(store).messages()[extra.id] = {*extra.lastMessage};
        const ChatSummary other = await(bob.api.createGroup("Unopened", {alice.user.id}));
        await(bob.api.send(other.id, "newer"));
        seam(store).messages()[other.id] = {};

        const Message newer1 = await(bob.api.send(chat.id, "after 1"));
        const Message newer2 = await(bob.api.send(chat.id, "after 2"));
        await(store->resync());
        const QList<Message> timeline = store->messages()[chat.id];
        QCOMPARE(timeline.size(), 4);
        QCOMPARE(timeline[0].id, old.id);
        QVERIFY(timeline[1].isPending); // kept, with the newer ones appended behind it
        QCOMPARE(timeline[2].id, newer1.id);
        QCOMPARE(timeline[3].id, newer2.id);
        QVERIFY(store->chat(extra.id));
        QVERIFY(store->messages().contains(extra.id));
        // Other timelines of this server are dropped (a prefetch may already have refilled one).
        QVERIFY(!store->messages().contains(other.id) || store->messages()[other.id].size() == 1);
        for (int i = 1; i < store->chats().size(); ++i)
            QVERIFY(store->chats()[i - 1].activityAt() >= store->chats()[i].activityAt());
    }

    void logoutClearsExactlyItsList() {
        wellKnown(kClosedServer, kClosedServer, kClosedServer);
        auto store = launchSignedIn(*server, "alice");
        Prefs& prefs = Prefs::shared();
        const QStringList kept{"design",       "accent",         "appLanguage",
                               "notifPrefs",   "mutedChats",     "ccPermissions",
                               "userActivity", "serverPlatform", "deviceUUID"};
        const QStringList cleared{"token",
                                  "me",
                                  "guestServerURL",
                                  "claudeUsageCache",
                                  "serverClaudeEmail",
                                  "serverClaudeUsage",
                                  "extraServers",
                                  "serverTokens",
                                  "ccWorkdirs",
                                  "primaryBaseURL"};
        for (const QString& key : kept + cleared)
            if (!prefs.contains(key)) prefs.setValue(key, "x");
        Store::deviceId();
        const auto pins = PinRegistry::shared().allPins();
        QVERIFY(!pins.isEmpty());
        store->setChatDraft(1, "draft");
        seam(store).userActivity()[1] = 5;
        store->setClaudeHostName(QStringLiteral("studio"));
        store->setSelectedChatId(7);
        store->openChatSettings(7);

        store->logout();
        // The host's name is stored empty, and the settings sheet goes with the selection.
        QCOMPARE(prefs.string("claudeHostName"), std::optional<QString>(QString()));
        QCOMPARE(store->claudeHostName(), std::nullopt);
        QCOMPARE(store->selectedChatId(), std::nullopt);
        QCOMPARE(store->chatSettingsChatId(), std::nullopt);
        for (const QString& key : cleared)
            QVERIFY2(!prefs.contains(key), qPrintable(key));
        for (const QString& key : kept)
            QVERIFY2(prefs.contains(key), qPrintable(key));
        QVERIFY(prefs.boolean(Store::keyRegisteredKey(QUrl(server->httpUrl()))).value_or(false));
        QCOMPARE(PinRegistry::shared().allPins(), pins);
        QVERIFY(!store->token() && !store->me() && !store->linkOpen(0) && !store->linkUp(0));
        QVERIFY(store->chats().isEmpty() && store->users().isEmpty() &&
                store->messages().isEmpty());
        QCOMPARE(store->serverURLString(), QString());
        QVERIFY(!store->api());
        QCOMPARE(store->chatDrafts().value(1), "draft");
        QCOMPARE(store->userActivity().value(1), 5);
        QVERIFY(store->suppressAutoLogin());
        QVERIFY(!await(store->tailnetAutoLogin()));

        // The next name login probes the well-known servers again.
        wellKnown(kClosedServer, server->httpUrl(), kClosedServer);
        await(store->login("bob"));
        QCOMPARE(store->serverURLString(), server->httpUrl());
        QCOMPARE(store->me()->username, "bob");
    }

    void enginesFromTheServerList() {
        Store store;
        store.applyAvailableEngines(QList<QString>{});
        QCOMPARE(store.availableServerEngines(),
                 QList<TranscriptionEngine>{TranscriptionEngine::whisper});
        store.setTranscriptionEngine(TranscriptionEngine::whisper);
        store.applyAvailableEngines(std::nullopt); // an old server: whisper
        QCOMPARE(store.transcriptionEngine(), TranscriptionEngine::whisper);
        store.applyAvailableEngines(QList<QString>{"apple", "unknown"});
        QCOMPARE(store.availableServerEngines(),
                 QList<TranscriptionEngine>{TranscriptionEngine::whisper});
    }
};

QTEST_GUILESS_MAIN(TestSession)
#include "test_session.moc"
