#include "core/Prefs.h"
#include "federation/Pairing.h"
#include "model/IDCodec.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"
#include "net/QRCode.h"
#include "store/ServerLink.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"
#include "ui/ServersViewModel.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

namespace {
qint64 global(qint64 real, int server) {
    return IDCodec::encode(real, server);
}

int indexOf(const QList<ChatSummary>& chats, qint64 id) {
    for (int i = 0; i < chats.size(); ++i)
        if (chats[i].id == id) return i;
    return -1;
}

bool holds(const QList<Message>& list, qint64 id) {
    return std::any_of(list.begin(), list.end(), [id](const Message& m) { return m.id == id; });
}

ServerProcess::Options withArgs(QStringList args) {
    ServerProcess::Options options;
    options.extraArgs = args << QStringLiteral("--test-hooks");
    return options;
}

// What the server's test hooks say and do, through one of its test users.
struct Hooks {
    ServerClient client;
    Hooks(const ServerProcess& server, const Account& as)
        : client(server.httpUrl(), *as.api.token) {}
    bool holdNextBootstrap() { return client.post("api/test/hold-bootstrap").status == 200; }
    int held() { return client.get("api/test/held").json.value("held").toInt(); }
    bool release() { return client.post("api/test/release").status == 200; }
    // The requests that reached the server without TLS, in arrival order:
    // each its path and the token it carried (empty for none).
    QList<QPair<QString, QString>> plainRequests() {
        QList<QPair<QString, QString>> out;
        const QJsonArray all =
            client.get("api/test/plain-requests").json.value("requests").toArray();
        for (const QJsonValue& r : all)
            out.append(
                {r.toObject().value("path").toString(), r.toObject().value("token").toString()});
        return out;
    }
    bool anyInClear(const QStringList& tokens, qsizetype from = 0) {
        for (const auto& [path, token] : plainRequests().mid(from))
            if (tokens.contains(token) || path == QLatin1String("/api/pair")) return true;
        return false;
    }
};

QString frameOf(const QString& type, const char* key, const QJsonObject& record) {
    const QJsonObject frame{{"type", type}, {QLatin1String(key), record}};
    return QString::fromUtf8(QJsonDocument(frame).toJson(QJsonDocument::Compact));
}
} // namespace

// One primary and two extra servers in one list: a live link on the first
// extra server, polling on the second, which refuses sockets.
class TestFederation : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> primary, linked, plain;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;

    // Both extra servers joined as numbers 1 (socket) and 2 (no socket).
    void joinBoth() {
        QVERIFY(await(alice->addServer("linked", linked->httpUrl())));
        QVERIFY(await(alice->addServer("plain", plain->httpUrl())));
        QCOMPARE(alice->extraServers().size(), 2);
        QCOMPARE(alice->extraServers()[0].serverId, 1);
        QCOMPARE(alice->extraServers()[1].serverId, 2);
        QTRY_VERIFY_WITH_TIMEOUT(keyBoundOn(*linked) && keyBoundOn(*plain), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(alice->linkUp(1), 10000);
        QCOMPARE(ServersViewModel::stateOf(*alice, 1), QStringLiteral("live"));
    }

    // The wait before server's next attempt; 1 s for a link never opened.
    double linkDelay(int server) const {
        const ServerLink* link = alice->link(server);
        return link ? link->reconnectDelay() : 1.0;
    }

private slots:
    // Fresh servers for each test: every test is a new device, and a device
    // key bound by an earlier one would refuse this one's name sign-in.
    void init() {
        primary = std::make_unique<ServerProcess>(withArgs({}));
        linked = std::make_unique<ServerProcess>(withArgs({}));
        plain = std::make_unique<ServerProcess>(withArgs({QStringLiteral("--no-websocket")}));
        for (ServerProcess* s : {primary.get(), linked.get(), plain.get()})
            QVERIFY2(s->start(), qPrintable(s->errorString()));
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*primary, "alice");
        QVERIFY(alice->me());
    }

    void cleanup() {
        alice.reset();
        env.reset();
        primary.reset();
        linked.reset();
        plain.reset();
    }

    void listMergesAllServersByActivity() {
        const Account bobP = signIn(*primary, "bob");
        const Account bobL = signIn(*linked, "bob");
        const Account aliceL = signIn(*linked, "alice");
        const Account bobS = signIn(*plain, "bob");
        const ChatSummary onPrimary = directChat(bobP, signIn(*primary, "alice"));
        await(bobP.api.send(onPrimary.id, "primary"));
        QTest::qWait(5);
        const ChatSummary onLinked = await(bobL.api.createGroup("media", {aliceL.user.id}));
        const Message own = await(aliceL.api.send(onLinked.id, "mine, elsewhere"));
        Api::MediaUpload meta;
        meta.kind = QStringLiteral("image");
        meta.ext = QStringLiteral("jpg");
        const Message photo = await(bobL.api.uploadMedia(onLinked.id, "\xFF\xD8 jpeg", meta));
        QVERIFY(photo.media && !photo.media->url.startsWith("http"));
        QTest::qWait(5);
        const ChatSummary onPlain = directChat(bobS, signIn(*plain, "alice"));
        await(bobS.api.send(onPlain.id, "plain"));

        joinBoth();
        const qint64 linkedId = global(onLinked.id, 1);
        const qint64 plainId = global(onPlain.id, 2);
        QCOMPARE(linkedId, (qint64(1) << 40) + onLinked.id);
        const int p = indexOf(alice->chats(), onPrimary.id);
        const int l = indexOf(alice->chats(), linkedId);
        const int s = indexOf(alice->chats(), plainId);
        QVERIFY(p >= 0 && l >= 0 && s >= 0);
        QVERIFY2(s < l && l < p, qPrintable(QStringLiteral("%1 %2 %3").arg(s).arg(l).arg(p)));
        QCOMPARE(alice->serverMeId().value(1), aliceL.user.id);

        const ChatSummary* merged = alice->chat(linkedId);
        QCOMPARE(merged->lastMessage->id, global(photo.id, 1));
        // Absolute on the server's address as the client reaches it: TLS once pinned.
        const QString media = merged->lastMessage->media->url;
        QVERIFY2(media.startsWith(linked->httpUrl()) || media.startsWith(linked->httpsUrl()),
                 qPrintable(media));
        QCOMPARE(merged->lastMessage->senderId, global(bobL.user.id, 1));
        await(alice->openChat(linkedId));
        const QList<Message>& history = alice->messages().constFind(linkedId).value();
        const auto mine = std::find_if(history.begin(), history.end(),
                                       [&](const Message& m) { return m.id == global(own.id, 1); });
        QVERIFY(mine != history.end());
        QCOMPARE(mine->senderId, alice->me()->id);
        QVERIFY(alice->users().end() ==
                std::find_if(alice->users().begin(), alice->users().end(),
                             [&](const User& u) { return u.id == global(aliceL.user.id, 1); }));
    }

    // The server holds a bootstrap reply back until a live event has been
    // handled: the reply is older than the event, and its merge must not undo it.
    void eventThatOvertakesABootstrapSurvivesItsMerge() {
        alice.reset();
        const Account aliceP = signIn(*primary, "alice");
        const Account bobP = signIn(*primary, "bob");
        const ChatSummary known = await(bobP.api.createGroup("known", {aliceP.user.id}));
        alice = std::make_unique<Store>(StoreOptions{0.05});
        seam(alice).setServerURLString(primary->httpUrl());
        seam(alice).setToken(*aliceP.api.token);
        seam(alice).me() = aliceP.user;
        QSignalSpy merges(alice.get(), &Store::chatsReset);
        alice->connectWS(); // its first pong runs the one resync that fills the list
        QTRY_VERIFY_WITH_TIMEOUT(alice->linkUp(0) && merges.count() > 0, 10000);
        QVERIFY(alice->chat(known.id));

        Hooks hooks(*primary, aliceP);
        QVERIFY(hooks.holdNextBootstrap());
        auto resync = alice->resync();
        QTRY_COMPARE_WITH_TIMEOUT(hooks.held(), 1, 10000);
        const ChatSummary fresh = await(bobP.api.createGroup("fresh", {aliceP.user.id}));
        const Message latest = await(bobP.api.send(known.id, "newer than the bootstrap"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(fresh.id), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(alice->chat(known.id)->lastMessage->id, latest.id, 10000);
        QVERIFY(hooks.release());
        await(std::move(resync));
        QVERIFY(alice->chat(fresh.id));
        QCOMPARE(alice->chat(known.id)->lastMessage->id, latest.id);
        QCOMPARE(alice->chat(known.id)->unread, std::optional<qint64>(1));

        // An extra server's bootstrap, overtaken by an event of that server.
        const Account aliceS = signIn(*plain, "alice");
        const Account bobS = signIn(*plain, "bob");
        QVERIFY(await(alice->addServer("plain", plain->httpUrl())));
        alice->stopExtraPolling();
        QTRY_VERIFY_WITH_TIMEOUT(keyBoundOn(*plain), 10000);
        // The name token is over: alice's other device pairs to hold the bootstrap.
        Hooks extraHooks(*plain, signIn(*plain, "alice"));
        QVERIFY(extraHooks.holdNextBootstrap());
        auto joining = alice->connectServer(alice->extraServers().first());
        QTRY_COMPARE_WITH_TIMEOUT(extraHooks.held(), 1, 10000);
        const ChatSummary group = await(bobS.api.createGroup("while away", {aliceS.user.id}));
        alice->handleEvent(frameOf("chatCreated", "chat", group.toJson()), 1);
        QVERIFY(alice->chat(global(group.id, 1)));
        QVERIFY(extraHooks.release());
        await(std::move(joining));
        QVERIFY(alice->chat(global(group.id, 1)));
    }

    // Plain addresses move onto TLS once their key is pinned: a pairing code
    // with an http address pins it before anything goes out, an http server
    // added by name is pinned at its first answer, and from then on no token
    // travels in clear, also after a relaunch.
    void plainAddressesMoveOntoTlsOnceTheirKeyIsPinned() {
        const Account aliceL = signIn(*linked, "alice");
        const Api::PairCodeResponse made = await(aliceL.api.pairCode());
        const PairingPayload payload{1, linked->httpUrl(), made.fingerprint, made.code};
        Hooks linkedHooks(*linked, aliceL);
        const qsizetype linkedFrom = linkedHooks.plainRequests().size();
        QVERIFY(await(alice->addServerPaired(payload.qrString(), QString(), "paired")));
        QCOMPARE(PinRegistry::shared().pin(PinRegistry::hostPort(QUrl(linked->httpUrl()))),
                 std::optional<QString>(made.fingerprint));
        QTRY_VERIFY_WITH_TIMEOUT(alice->linkUp(1), 10000);
        QStringList linkedTokens{alice->serverTokens().value(1)};

        const Account aliceS = signIn(*plain, "alice");
        const ChatSummary chat = directChat(signIn(*plain, "bob"), aliceS);
        QVERIFY(await(alice->addServer("plain", plain->httpUrl())));
        QStringList plainTokens{alice->serverTokens().value(2)};
        const QUrl plainBase(plain->httpUrl());
        // The first answer is trusted: the first contact went in clear, nothing after it.
        QTRY_VERIFY_WITH_TIMEOUT(PinRegistry::shared().pin(PinRegistry::hostPort(plainBase)) &&
                                     keyBoundOn(*plain),
                                 10000);
        plainTokens << alice->serverTokens().value(2);
        Hooks plainHooks(*plain, aliceS);
        const qsizetype plainFrom = plainHooks.plainRequests().size();
        await(alice->connectServer(alice->extraServers()[1]));
        const qint64 chatId = global(chat.id, 2);
        await(alice->openChat(chatId));
        await(alice->sendMessage(chatId, "over TLS"));
        QCOMPARE(alice->lastError(), std::nullopt);

        alice.reset();
        alice = std::make_unique<Store>(StoreOptions{0.05});
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chatId) && alice->linkUp(1), 10000);
        await(alice->connectServer(alice->extraServers()[1]));
        linkedTokens << alice->serverTokens().value(1);
        plainTokens << alice->serverTokens().value(2);
        QVERIFY(!linkedHooks.anyInClear(linkedTokens, linkedFrom));
        QVERIFY(!plainHooks.anyInClear(plainTokens, plainFrom));
    }

    void socketEventsAreRemappedBeforeTheStore() {
        const Account bobL = signIn(*linked, "bob");
        const Account aliceL = signIn(*linked, "alice");
        const ChatSummary chat = await(bobL.api.createGroup("live", {aliceL.user.id}));
        joinBoth();
        const qint64 chatId = global(chat.id, 1);
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chatId), 5000);
        await(alice->openChat(chatId));
        const Message fromBob = await(bobL.api.send(chat.id, "over the link"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chatId], global(fromBob.id, 1)), 5000);
        QCOMPARE(alice->messages()[chatId].last().senderId, global(bobL.user.id, 1));
        // Her other device pairs now that the key guards the account.
        const Account otherDevice = signIn(*linked, "alice");
        const Message fromMe = await(otherDevice.api.send(chat.id, "my other device"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chatId], global(fromMe.id, 1)), 5000);
        QCOMPARE(alice->messages()[chatId].last().senderId, alice->me()->id);
        // A conversation the client has not seen brings a fresh bootstrap of that server.
        const ChatSummary later = await(bobL.api.createGroup("later", {aliceL.user.id}));
        await(bobL.api.send(later.id, "new here"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(global(later.id, 1)), 5000);
    }

    void socketlessServerIsPolled() {
        const Account bobS = signIn(*plain, "bob");
        const Account aliceS = signIn(*plain, "alice");
        const ChatSummary selected = await(bobS.api.createGroup("polled", {aliceS.user.id}));
        const ChatSummary other = await(bobS.api.createGroup("typing", {aliceS.user.id}));
        joinBoth();
        QTest::qWait(300);
        QVERIFY(!alice->linkUp(2));
        const qint64 chatId = global(selected.id, 2);
        alice->setSelectedChatId(chatId);
        await(bobS.api.send(selected.id, "stays"));
        const Message sent = await(bobS.api.send(selected.id, "seen by polling"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chatId], global(sent.id, 2)), 5000);
        // Deleted on the server: gone at the next round, preview too.
        await(bobS.api.deleteMessage(sent.id));
        QTRY_VERIFY_WITH_TIMEOUT(!holds(alice->messages()[chatId], global(sent.id, 2)), 5000);

        const qint64 otherId = global(other.id, 2);
        await(bobS.api.sendTyping(other.id, "bob-device"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->typing().value(otherId).contains(global(bobS.user.id, 2)),
                                 5000);

        // No event tells of a new conversation: the periodic bootstrap does.
        const ChatSummary fresh = await(bobS.api.createGroup("fresh", {aliceS.user.id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(global(fresh.id, 2)), 8000);

        // A message for a conversation the client lacks brings that server's bootstrap.
        alice->stopExtraPolling();
        const ChatSummary unseen = await(bobS.api.createGroup("unseen", {aliceS.user.id}));
        const Message first = await(bobS.api.send(unseen.id, "first"));
        QTest::qWait(300);
        QVERIFY(!alice->chat(global(unseen.id, 2)));
        const QJsonObject frame{{"type", "message"}, {"message", first.toJson()}};
        alice->handleEvent(QString::fromUtf8(QJsonDocument(frame).toJson()), 2);
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(global(unseen.id, 2)), 5000);
    }

    void burstAfterSendEndsWithTheSelection() {
        alice.reset();
        alice = launchSignedIn(*primary, "alice", 0.5);
        const Account bobS = signIn(*plain, "bob");
        const Account aliceS = signIn(*plain, "alice");
        const ChatSummary chat = await(bobS.api.createGroup("burst", {aliceS.user.id}));
        QVERIFY(await(alice->addServer("plain", plain->httpUrl())));
        alice->stopExtraPolling();
        const qint64 chatId = global(chat.id, 1);
        QVERIFY(alice->chat(chatId));
        alice->setSelectedChatId(chatId);
        await(alice->sendMessage(chatId, "anyone?"));
        const Message answer = await(bobS.api.send(chat.id, "here"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chatId], global(answer.id, 1)), 3000);

        alice->burstRefreshExtra(chatId);
        alice->setSelectedChatId(std::nullopt);
        QTest::qWait(200); // the refresh already under way ends first
        const Message unseen = await(bobS.api.send(chat.id, "after the switch"));
        QTest::qWait(2000);
        QVERIFY(!holds(alice->messages()[chatId], global(unseen.id, 1)));
    }

    void socketsBackOffEachOnItsOwn() {
        QList<double> delays;
        connect(alice.get(), &Store::connectionChanged, this, [&] {
            const double d = linkDelay(2);
            if (delays.isEmpty() || delays.last() != d) delays.push_back(d);
        });
        joinBoth();
        QTRY_VERIFY_WITH_TIMEOUT(delays.contains(15.0), 10000);
        const int from = int(delays.indexOf(2.0));
        QVERIFY(from >= 0);
        QCOMPARE(delays.mid(from, 4), (QList<double>{2.0, 4.0, 8.0, 15.0}));
        QVERIFY(!alice->linkUp(2));
        QCOMPARE(linkDelay(1), 1.0);

        linked->kill();
        QTRY_VERIFY_WITH_TIMEOUT(!alice->linkUp(1), 5000);
        QVERIFY(linkDelay(1) >= 2.0);
        QVERIFY(linked->restart());
        QTRY_VERIFY_WITH_TIMEOUT(alice->linkUp(1), 10000);
        QCOMPARE(linkDelay(1), 1.0);
    }

    void removedServerLeavesNothingAndItsNumberReturns() {
        const Account bobS = signIn(*plain, "bob");
        const Account aliceS = signIn(*plain, "alice");
        const ChatSummary chat = await(bobS.api.createGroup("gone", {aliceS.user.id}));
        joinBoth();
        const qint64 chatId = global(chat.id, 2);
        QVERIFY(alice->chat(chatId));
        // The stored profiles come back at the next launch.
        {
            Store relaunched(StoreOptions{0.05});
            QCOMPARE(relaunched.extraServers(), alice->extraServers());
            QCOMPARE(relaunched.serverTokens(), alice->serverTokens());
        }
        // What the host of server 2 told about itself goes with the number.
        QTRY_COMPARE_WITH_TIMEOUT(alice->serverOS().value(2), QStringLiteral("linux"), 5000);
        alice->setServerPlatform({{0, "macos"}, {2, "linux"}});
        alice->setServerClaudeEmail({{2, "two@example.com"}});
        alice->setServerClaudeUsage({{2, ClaudeUsage{}}});
        seam(alice).extraBotIds().insert(global(77, 2));
        seam(alice).extraBotIds().insert(global(77, 1));
        const ServerProfile gone = alice->extraServers()[1];
        alice->removeServer(gone);
        QVERIFY(!alice->chat(chatId));
        QVERIFY(!alice->route(chatId));
        QVERIFY(!alice->serverTokens().contains(2));
        QVERIFY(!alice->serverOS().contains(2));
        QCOMPARE(alice->serverPlatform(), (QHash<int, QString>{{0, "macos"}}));
        QVERIFY(alice->serverClaudeEmail().isEmpty() && alice->serverClaudeUsage().isEmpty());
        QCOMPARE(alice->extraBotIds(), QSet<qint64>{global(77, 1)});
        {
            Store relaunched(StoreOptions{0.05});
            QVERIFY(!relaunched.serverOS().contains(2) && relaunched.serverClaudeEmail().isEmpty());
        }
        // A reconnect timer that was waiting fires into nothing.
        QTest::qWait(1500);
        QVERIFY(!alice->linkOpen(2) && !alice->link(2));
        QVERIFY(!alice->linkUp(2));
        QVERIFY(!alice->chat(chatId));

        QVERIFY(await(alice->addServer("again", plain->httpUrl())));
        QCOMPARE(alice->extraServers().last().serverId, 2);
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chatId), 5000);
    }

    void pairingCodeMovesToASecondDevice() {
        const Account first = signIn(*primary, "alice");
        const Api::PairCodeResponse made = await(first.api.pairCode());
        QCOMPARE(made.fingerprint, primary->fingerprint());
        const PairingPayload payload{1, primary->httpUrl(), made.fingerprint, made.code};
        const QImage image = pairingQRImage(payload.qrString());
        QVERIFY(!image.isNull());
        QCOMPARE(decodeQR(image), std::optional<QString>(payload.qrString()));
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        const auto scanned = decodeQR(png);
        QVERIFY(scanned);
        QCOMPARE(PairingPayload::parse(*scanned), std::optional<PairingPayload>(payload));

        // A new device: fresh preferences and a key of its own.
        alice.reset();
        env.reset();
        env = std::make_unique<ClientEnv>();
        Store second(StoreOptions{0.05});
        QVERIFY(!second.token());
        Hooks hooks(*primary, first);
        const qsizetype from = hooks.plainRequests().size();
        await(second.pairPrimary(*scanned));
        QCOMPARE(second.lastError(), std::nullopt);
        QVERIFY(second.token());
        QCOMPARE(second.me()->id, first.user.id);
        const QString hostPort = PinRegistry::hostPort(QUrl(primary->httpsUrl()));
        QCOMPARE(PinRegistry::shared().pin(hostPort), std::optional<QString>(made.fingerprint));
        QVERIFY(Prefs::shared()
                    .boolean(Store::keyRegisteredKey(QUrl(primary->httpsUrl())))
                    .value_or(false));
        // The address was plain, the code and the token went over TLS.
        QVERIFY(!hooks.anyInClear({*second.token()}, from));
        // One use only.
        const Api anonymous(QUrl(primary->httpsUrl()), std::nullopt);
        const QString again =
            failureOf(anonymous.pair(made.code, *DeviceKey::publicKeyB64(), clientDeviceName()));
        QVERIFY2(again.contains("not valid"), qPrintable(again));
    }

    void inviteCodeJoinsAnotherServerAsGuest() {
        ServerProcess::Options options;
        options.names = {QStringLiteral("bob")};
        ServerProcess other(options);
        QVERIFY2(other.start(), qPrintable(other.errorString()));
        const Account bob = signIn(other, "bob");
        const ChatSummary group = await(bob.api.createGroup("open door", {}));
        const InviteResponse invite = await(bob.api.rotateInvite(group.id));
        QVERIFY(invite.code);
        const QString shared = *invite.code + "@" + other.httpUrl();
        await(alice->addConversationByCode(shared));
        QCOMPARE(alice->lastError(), std::nullopt);
        QCOMPARE(alice->extraServers().size(), 1);
        const int server = alice->extraServers()[0].serverId;
        QVERIFY(alice->serverTokens().contains(server));
        const qint64 chatId = global(group.id, server);
        QVERIFY(alice->chat(chatId));
        QCOMPARE(alice->shareableInvite(*invite.code, chatId), shared);
        QCOMPARE(alice->inviteLink(chatId), std::optional<QString>(other.httpUrl() + "/join"));
    }

    void discoveredServerWithoutConversationIsNotJoined() {
        ServerProcess other;
        QVERIFY2(other.start(), qPrintable(other.errorString()));
        await(alice->connectDiscoveredServers({other.httpUrl(), primary->httpUrl()}));
        QVERIFY(alice->extraServers().isEmpty());
        QVERIFY(alice->serverTokens().isEmpty());
        QVERIFY(Prefs::shared()
                    .readJson<QList<ServerProfile>>("extraServers")
                    .value_or(QList<ServerProfile>{})
                    .isEmpty());

        const Account bob = signIn(other, "bob");
        const Account there = signIn(other, "alice");
        directChat(bob, there);
        await(alice->connectDiscoveredServers({other.httpUrl()}));
        QCOMPARE(alice->extraServers().size(), 1);
        QVERIFY(alice->serverTokens().contains(1));
    }
};

QTEST_GUILESS_MAIN(TestFederation)
#include "test_federation.moc"
