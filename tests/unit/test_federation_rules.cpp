#include "core/Prefs.h"
#include "federation/Pairing.h"
#include "model/IDCodec.h"
#include "net/Pinning.h"
#include "store/ServerLink.h"
#include "store/Store.h"
#include "support/ClientEnv.h"
#include "support/StoreSeam.h"

#include <QTest>
#include <QUuid>

namespace {
ServerProfile profile(int number, QString url = QStringLiteral("http://127.0.0.1:1")) {
    return ServerProfile{QUuid::createUuid(), number, QStringLiteral("s%1").arg(number), url,
                         QString(),           {}};
}

Message message(qint64 id, qint64 chatId, qint64 sender, qint64 at) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = sender;
    m.text = QStringLiteral("m%1").arg(id);
    m.createdAt = at;
    return m;
}

ChatSummary chat(qint64 id, std::optional<Message> last, qint64 createdAt = 1) {
    ChatSummary c;
    c.id = id;
    c.kind = QStringLiteral("direct");
    c.lastMessage = std::move(last);
    c.createdAt = createdAt;
    return c;
}

BootstrapResponse reply(qint64 meId, QList<ChatSummary> chats, QList<User> users = {}) {
    BootstrapResponse r;
    r.me.id = meId;
    r.me.username = QStringLiteral("alice");
    r.users = std::move(users);
    r.chats = std::move(chats);
    return r;
}
} // namespace

// What the client decides about extra servers without any network.
class TestFederationRules : public QObject {
    Q_OBJECT

    std::unique_ptr<ClientEnv> prefs;
    std::unique_ptr<Store> store;

private slots:
    void init() {
        prefs = std::make_unique<ClientEnv>();
        store = std::make_unique<Store>(StoreOptions{0.01});
        seam(store).me() = User{};
        seam(store).me()->id = 7;
        seam(store).me()->username = QStringLiteral("alice");
    }
    void cleanup() {
        store.reset();
        prefs.reset();
    }

    void payloadParse_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("parses");
        QTest::addColumn<int>("version");
        QTest::newRow("full") << R"({"v":1,"url":"https://a.example","fp":"F","code":"C"})" << true
                              << 1;
        QTest::newRow("padded") << "  \n{\"v\":1,\"url\":\"u\",\"fp\":\"F\",\"code\":\"C\"}\n"
                                << true << 1;
        QTest::newRow("unknown version") << R"({"v":9,"url":"u","fp":"F","code":"C"})" << true << 9;
        QTest::newRow("no fp") << R"({"v":1,"url":"u","code":"C"})" << false << 0;
        QTest::newRow("no v") << R"({"url":"u","fp":"F","code":"C"})" << false << 0;
        QTest::newRow("fp not text") << R"({"v":1,"url":"u","fp":3,"code":"C"})" << false << 0;
        QTest::newRow("bare code") << "K7WQ2M" << false << 0;
        QTest::newRow("broken json") << R"({"v":1,"url":)" << false << 0;
        QTest::newRow("array") << "[1,2]" << false << 0;
        QTest::newRow("empty") << "" << false << 0;
    }
    void payloadParse() {
        QFETCH(QString, text);
        QFETCH(bool, parses);
        QFETCH(int, version);
        const auto payload = PairingPayload::parse(text);
        QCOMPARE(bool(payload), parses);
        if (payload) QCOMPARE(payload->v, version);
    }

    void payloadRoundTripsThroughText() {
        const PairingPayload p{1, QStringLiteral("https://h:1"), QStringLiteral("ab/c+="),
                               QStringLiteral("Q\"2")};
        QCOMPARE(PairingPayload::parse(p.qrString()), std::optional<PairingPayload>(p));
        QVERIFY(!p.qrString().contains(QLatin1Char('\n')));
    }

    void serverNumbers_data() {
        QTest::addColumn<QList<int>>("held");
        QTest::addColumn<int>("next");
        QTest::newRow("first") << QList<int>{} << 1;
        QTest::newRow("after one") << QList<int>{1} << 2;
        QTest::newRow("gap kept") << QList<int>{1, 3} << 4;
        QTest::newRow("unordered") << QList<int>{5, 2} << 6;
    }
    void serverNumbers() {
        QFETCH(QList<int>, held);
        QFETCH(int, next);
        QList<ServerProfile> profiles;
        for (int n : held)
            profiles.push_back(profile(n));
        store->setExtraServers(profiles);
        QCOMPARE(store->nextServerId(), next);
    }

    void storedProfilesAndTokensReload() {
        store->setExtraServers({profile(1), profile(4, QStringLiteral("https://b.example:9"))});
        store->setServerTokens({{1, QStringLiteral("t1")}, {4, QStringLiteral("t4")}});
        Prefs::shared().writeJson(QStringLiteral("junk"), 1);
        Store again(StoreOptions{0.01});
        QCOMPARE(again.extraServers(), store->extraServers());
        QCOMPARE(again.serverTokens(), store->serverTokens());
    }

    // A relaunch keeps the pin of a plain address too: that pin is what moves
    // its later requests onto TLS.
    void plainProfileKeepsItsPin() {
        PinRegistry::shared().setPin(QStringLiteral("F"), QStringLiteral("127.0.0.1:1"));
        PinRegistry::shared().setPin(QStringLiteral("G"), QStringLiteral("b.example:9"));
        store->setExtraServers({profile(1), profile(2, QStringLiteral("https://b.example:9"))});
        Store again(StoreOptions{0.01});
        QCOMPARE(PinRegistry::shared().pin(QStringLiteral("127.0.0.1:1")),
                 std::optional<QString>(QStringLiteral("F")));
        QCOMPARE(PinRegistry::shared().pin(QStringLiteral("b.example:9")),
                 std::optional<QString>(QStringLiteral("G")));
    }

    void mergeFoldsThePersonAndKeepsNewerPreviews() {
        store->setExtraServers({profile(2)});
        const qint64 t = 1'700'000'000'000;
        const qint64 g1 = IDCodec::encode(1, 2);
        const qint64 g2 = IDCodec::encode(2, 2);
        User other;
        other.id = 40;
        User self;
        self.id = 30;
        QVERIFY(store->mergeExtraBootstrap(
            2, reply(30, {chat(1, message(10, 1, 30, t)), chat(2, message(20, 2, 40, t + 5))},
                     {self, other})));
        QCOMPARE(store->serverMeId().value(2), 30);
        QCOMPARE(store->chat(g1)->lastMessage->senderId, 7);
        QCOMPARE(store->chat(g2)->lastMessage->senderId, IDCodec::encode(40, 2));
        QCOMPARE(store->users().size(), 1);
        QCOMPARE(store->users()[0].id, IDCodec::encode(40, 2));
        QCOMPARE(store->chats()[0].id, g2);

        // A late answer with an older preview does not roll it back; a newer one wins.
        QVERIFY(store->mergeExtraBootstrap(2, reply(30, {chat(1, message(11, 1, 40, t + 9)),
                                                         chat(2, message(19, 2, 40, t + 1))})));
        QCOMPARE(store->chat(g2)->lastMessage->id, IDCodec::encode(20, 2));
        QCOMPARE(store->chat(g1)->lastMessage->id, IDCodec::encode(11, 2));
        QCOMPARE(store->chats()[0].id, g1);
        QCOMPARE(store->users().size(), 1);

        // An empty answer never wipes a server.
        QVERIFY(!store->mergeExtraBootstrap(2, reply(30, {})));
        QCOMPARE(store->chats().size(), 2);
        // A full answer replaces the server's whole set.
        QVERIFY(store->mergeExtraBootstrap(2, reply(30, {chat(3, std::nullopt)})));
        QCOMPARE(store->chats().size(), 1);
        QCOMPARE(store->chats()[0].id, IDCodec::encode(3, 2));
    }

    void removedServerTakesItsConversations() {
        store->setExtraServers({profile(1), profile(2)});
        // A token is kept only for a server that has a profile.
        store->setServerTokens({{1, QStringLiteral("a")}, {2, QStringLiteral("b")}, {3, "c"}});
        QCOMPARE(store->serverTokens().keys().size(), 2);
        QCOMPARE(store->apiFor(2)->token, std::optional<QString>(QStringLiteral("b")));
        QVERIFY(!store->apiFor(3));
        store->startExtraPolling();
        QVERIFY(store->link(1)->isPolling() && store->link(2)->isPolling());
        QVERIFY(store->mergeExtraBootstrap(1, reply(30, {chat(1, std::nullopt)})));
        QVERIFY(store->mergeExtraBootstrap(2, reply(31, {chat(1, std::nullopt)})));
        seam(store).messages()[IDCodec::encode(1, 2)] = {
            message(IDCodec::encode(5, 2), IDCodec::encode(1, 2), 7, 1)};
        store->removeServer(store->extraServers()[1]);
        QCOMPARE(store->chats().size(), 1);
        QCOMPARE(store->chats()[0].id, IDCodec::encode(1, 1));
        QVERIFY(!store->messages().contains(IDCodec::encode(1, 2)));
        QCOMPARE(store->serverTokens().keys(), QList<int>{1});
        QVERIFY(!store->apiFor(2) && !store->link(2));
        QVERIFY(store->link(1)->isPolling());
        QVERIFY(!store->serverMeId().contains(2));
        QCOMPARE(store->nextServerId(), 2);
        // The number comes back without the old server's token.
        store->setExtraServers(store->extraServers() + QList<ServerProfile>{profile(2)});
        QVERIFY(store->apiFor(2) && !store->apiFor(2)->token);
        store->removeServer(store->extraServers()[0]);
        store->removeServer(store->extraServers()[0]);
        QVERIFY(!store->extraPolling());
    }

    void bareCodeNeedsAPrimary() {
        await(store->pairPrimary(QStringLiteral("K7WQ2M")));
        QCOMPARE(store->lastError(),
                 std::optional<QString>(QStringLiteral("Invalid pairing code")));
    }

    void invitesNameTheirServer() {
        store->setExtraServers({profile(3, QStringLiteral("https://x.example:8443/"))});
        seam(store).setServerURLString(QStringLiteral("https://main.example"));
        QCOMPARE(store->shareableInvite(QStringLiteral("C"), IDCodec::encode(1, 3)),
                 QStringLiteral("C@https://x.example:8443"));
        QCOMPARE(store->shareableInvite(QStringLiteral("C"), 5),
                 QStringLiteral("C@https://main.example"));
        QCOMPARE(store->shareableInvite(QStringLiteral("C"), IDCodec::encode(1, 9)),
                 QStringLiteral("C"));
        QCOMPARE(store->inviteLink(IDCodec::encode(1, 3)),
                 std::optional<QString>(QStringLiteral("https://x.example:8443/join")));
        QCOMPARE(store->inviteLink(IDCodec::encode(1, 9)), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(TestFederationRules)
#include "test_federation_rules.moc"
