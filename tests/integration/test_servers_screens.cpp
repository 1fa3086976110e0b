#include "core/Prefs.h"
#include "federation/Pairing.h"
#include "model/IDCodec.h"
#include "net/QRCode.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"
#include "ui/ChatActionsModel.h"
#include "ui/ChatListModel.h"
#include "ui/InviteViewModel.h"
#include "ui/NewChatViewModel.h"
#include "ui/ServersViewModel.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {
ServerProcess::Options socketless() {
    ServerProcess::Options options;
    options.extraArgs = {QStringLiteral("--no-websocket")};
    return options;
}

QString role(const QAbstractItemModel& model, int row, const QByteArray& name) {
    const int r = model.roleNames().key(name, -1);
    return model.data(model.index(row, 0), r).toString();
}

QStringList names(const QAbstractItemModel& model) {
    QStringList out;
    for (int row = 0; row < model.rowCount(); ++row)
        out << role(model, row, "name");
    return out;
}

// A server no test has touched yet, for a case that needs this account unknown there.
std::unique_ptr<ServerProcess> freshServer() {
    auto server = std::make_unique<ServerProcess>();
    return server->start() ? std::move(server) : nullptr;
}

bool hasMember(const ChatSummary& chat, qint64 userId) {
    return std::any_of(chat.members.begin(), chat.members.end(),
                       [userId](const User& u) { return u.id == userId; });
}
} // namespace

// The servers screen, the invite sheet, the new chat and group sheets and the
// row actions, each driven through its view model against running servers.
class TestServersScreens : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> primary, linked, plain;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;

    // Alice's other device keeps her account on `server`: signed in by name
    // before this client adds the server, it pairs again once this client's
    // key guards the account there.
    bool addServerBesideOtherDevice(const QString& label, const ServerProcess& server) {
        signIn(server, "alice");
        if (!await(alice->addServer(label, server.httpUrl()))) return false;
        return QTest::qWaitFor([&] { return keyBoundOn(server); }, 10000);
    }

private slots:
    void initTestCase() {
        primary = std::make_unique<ServerProcess>();
        QVERIFY2(primary->start(), qPrintable(primary->errorString()));
    }

    // The extra servers are new for each test: each test's client is a new
    // device, and a key an earlier one bound there would refuse its name.
    void init() {
        linked = std::make_unique<ServerProcess>();
        plain = std::make_unique<ServerProcess>(socketless());
        for (ServerProcess* s : {linked.get(), plain.get()})
            QVERIFY2(s->start(), qPrintable(s->errorString()));
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*primary, "alice");
        QVERIFY(alice->me());
    }

    void cleanup() {
        alice.reset();
        env.reset();
        linked.reset();
        plain.reset();
    }

    // Two servers side by side: one with a live link, one that only answers
    // polls; removing one takes its conversations with it.
    void serverListShowsStateAndRemoves() {
        const Account bobL = signIn(*linked, "bob");
        const Account aliceL = signIn(*linked, "alice");
        const ChatSummary onLinked = await(bobL.api.createGroup("linked group", {aliceL.user.id}));
        ServersViewModel servers(alice.get());
        QSignalSpy added(&servers, &ServersViewModel::added);
        QCOMPARE(servers.primaryUrl(), alice->api()->base.toString());

        servers.add(linked->httpUrl(), "");
        QTRY_COMPARE_WITH_TIMEOUT(added.count(), 1, 10000);
        servers.add(plain->httpUrl(), "Plain one");
        QTRY_COMPARE_WITH_TIMEOUT(added.count(), 2, 10000);
        QCOMPARE(servers.rowCount(), 2);
        QCOMPARE(names(servers), (QStringList{"127.0.0.1", "Plain one"}));
        QCOMPARE(role(servers, 1, "url"), plain->httpUrl());
        QTRY_COMPARE_WITH_TIMEOUT(role(servers, 0, "status"), QStringLiteral("live"), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(role(servers, 1, "status"), QStringLiteral("polling"), 10000);
        QCOMPARE(role(servers, 0, "chatCount"), QStringLiteral("1"));
        QVERIFY(servers.errorText().isEmpty());

        servers.remove(1);
        QCOMPARE(servers.rowCount(), 1);
        QCOMPARE(names(servers), QStringList{"Plain one"});
        QVERIFY(!alice->chat(IDCodec::encode(onLinked.id, 1)));
        QVERIFY(!alice->serverTokens().contains(1));
        // The numbers go on from the highest left.
        servers.add(linked->httpUrl(), "again");
        QTRY_COMPARE_WITH_TIMEOUT(added.count(), 3, 10000);
        QCOMPARE(alice->extraServers().last().serverId, 3);
    }

    void serverStateFollowsTheServer() {
        Store& store = *alice;
        QCOMPARE(ServersViewModel::stateOf(store, 7), QStringLiteral("connecting"));
        seam(store).serverAnswering().insert(7, false);
        QCOMPARE(ServersViewModel::stateOf(store, 7), QStringLiteral("down"));
        seam(store).serverAnswering().insert(7, true);
        QCOMPARE(ServersViewModel::stateOf(store, 7), QStringLiteral("polling"));
    }

    void invitesAreToldFromAddresses_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<bool>("invite");
        QTest::newRow("code at address") << "k3Fq9@http://10.0.0.2:8080" << true;
        QTest::newRow("code at host") << " k3Fq9@chat.example.org " << true;
        QTest::newRow("address") << "http://10.0.0.2:8080" << false;
        QTest::newRow("address with user") << "http://me@host" << false;
        QTest::newRow("nothing after @") << "k3Fq9@" << false;
        QTest::newRow("nothing before @") << "@host" << false;
    }
    void invitesAreToldFromAddresses() {
        QFETCH(QString, input);
        QFETCH(bool, invite);
        QCOMPARE(ServersViewModel::isInvite(input), invite);
    }

    // An invite to a conversation on another server joins that server.
    void inviteCodeAddsItsServer() {
        const auto other = freshServer();
        QVERIFY(other);
        const Account bobL = signIn(*other, "bob");
        const ChatSummary group = await(bobL.api.createGroup("guests welcome", {}));
        const InviteResponse invite = await(bobL.api.rotateInvite(group.id));
        QVERIFY(invite.code);
        ServersViewModel servers(alice.get());
        QSignalSpy added(&servers, &ServersViewModel::added);
        servers.add(*invite.code + "@" + other->httpUrl(), "");
        QTRY_VERIFY_WITH_TIMEOUT(!servers.busy(), 10000);
        QVERIFY2(servers.errorText().isEmpty(), qPrintable(servers.errorText()));
        QCOMPARE(added.count(), 1);
        QCOMPARE(servers.rowCount(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(IDCodec::encode(group.id, 1)), 5000);
    }

    void failedAdditionsSayWhy_data() {
        QTest::addColumn<QString>("input");
        QTest::addColumn<bool>("pairing");
        QTest::newRow("invite to a closed server") << "abc@http://127.0.0.1:1" << false;
        QTest::newRow("unknown invite code") << "nosuchcode@" + primary->httpUrl() << false;
        QTest::newRow("pairing code nobody gave") << "999999" << true;
    }
    void failedAdditionsSayWhy() {
        QFETCH(QString, input);
        QFETCH(bool, pairing);
        ServersViewModel servers(alice.get());
        QSignalSpy added(&servers, &ServersViewModel::added);
        if (pairing)
            servers.pair(input, linked->httpUrl(), "");
        else
            servers.add(input, "");
        QVERIFY(servers.busy());
        QTRY_VERIFY_WITH_TIMEOUT(!servers.busy(), 10000);
        QVERIFY(!servers.errorText().isEmpty());
        QCOMPARE(added.count(), 0);
        QCOMPARE(servers.rowCount(), 0);
    }

    // This device's code, read from its QR by another device, pairs that
    // device with this account as one of its servers.
    void pairingCodePairsAnotherDevice() {
        const qint64 aliceId = alice->me()->id;
        const Account bob = signIn(*primary, "bob");
        const ChatSummary shared = directChat(bob, signIn(*primary, "alice"));
        ServersViewModel mine(alice.get());
        mine.requestPairingCode();
        QCOMPARE(mine.pairingState(), QStringLiteral("loading"));
        QTRY_COMPARE_WITH_TIMEOUT(mine.pairingState(), QStringLiteral("ready"), 5000);
        const auto payload = PairingPayload::parse(mine.pairingText());
        QVERIFY(payload);
        QCOMPARE(payload->code, mine.pairingCode());
        QCOMPARE(payload->url, alice->api()->base.toString());
        QVERIFY(mine.pairingImage().startsWith("data:image/png;base64,"));
        const QImage qr = QImage::fromData(
            QByteArray::fromBase64(mine.pairingImage().section(',', 1).toLatin1()));
        QCOMPARE(decodeQR(qr), std::optional<QString>(mine.pairingText()));
        const QString text = mine.pairingText();

        // The other device: another account, on another server, with its own key.
        alice.reset();
        env = std::make_unique<ClientEnv>();
        auto carol = launchSignedIn(*linked, "carol");
        ServersViewModel theirs(carol.get());
        QSignalSpy added(&theirs, &ServersViewModel::added);
        theirs.pair(text, "", "home");
        QTRY_COMPARE_WITH_TIMEOUT(added.count(), 1, 10000);
        QCOMPARE(names(theirs), QStringList{"home"});
        QCOMPARE(carol->serverMeId().value(1), aliceId);
        QTRY_VERIFY_WITH_TIMEOUT(carol->chat(IDCodec::encode(shared.id, 1)), 5000);
        // A code is good once.
        theirs.pair(text, "", "twice");
        QTRY_VERIFY_WITH_TIMEOUT(!theirs.busy(), 10000);
        QVERIFY(!theirs.errorText().isEmpty());
        QCOMPARE(theirs.rowCount(), 1);
    }

    void pairingCodeWithoutServerFails() {
        alice->setLastError(std::nullopt);
        ServersViewModel servers(alice.get());
        primary->kill();
        servers.requestPairingCode();
        QTRY_COMPARE_WITH_TIMEOUT(servers.pairingState(), QStringLiteral("failed"), 10000);
        QVERIFY(servers.pairingImage().isEmpty());
        QVERIFY(primary->restart());
    }

    // The code is made, replaced and withdrawn; the text handed out names
    // the conversation's own server, and the saved QR reads back as that text.
    void inviteSheetOnEachServer_data() {
        QTest::addColumn<bool>("extra");
        QTest::newRow("primary") << false;
        QTest::newRow("extra server") << true;
    }
    void inviteSheetOnEachServer() {
        QFETCH(bool, extra);
        ServerProcess& host = extra ? *linked : *primary;
        qint64 chatId = 0;
        if (extra) {
            QVERIFY(addServerBesideOtherDevice("linked", host));
            const Account aliceL = signIn(host, "alice");
            const ChatSummary group = await(aliceL.api.createGroup("g", {}));
            chatId = IDCodec::encode(group.id, 1);
            await(alice->connectServer(alice->extraServers().first()));
        } else {
            const auto group = await(alice->createGroup("g", {}));
            QVERIFY(group);
            chatId = group->id;
        }
        QVERIFY(alice->chat(chatId));
        InviteViewModel invite(alice.get());
        invite.open(chatId);
        QTRY_VERIFY_WITH_TIMEOUT(!invite.busy(), 5000);
        // The primary server is spoken to over TLS once its key is pinned.
        const QString base = extra ? host.httpUrl() : host.httpsUrl();
        QCOMPARE(invite.link(), base + "/join");
        invite.rotate();
        QTRY_VERIFY_WITH_TIMEOUT(!invite.busy(), 5000);
        QVERIFY2(!invite.code().isEmpty(), qPrintable(invite.errorText()));
        const QString first = invite.code();
        QCOMPARE(invite.shareText(), first + "@" + base);
        QVERIFY(invite.errorText().isEmpty());

        QTemporaryDir dir;
        const QUrl file = QUrl::fromLocalFile(dir.filePath("invite-qr.png"));
        QVERIFY(invite.saveQR(file));
        QFile saved(file.toLocalFile());
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(decodeQR(saved.readAll()), std::optional<QString>(invite.shareText()));

        // Someone else joins with the handed-out code.
        const Account carol = signIn(host, "carol");
        const ChatSummary joined = await(carol.api.joinByCode(first));
        QCOMPARE(IDCodec::encode(joined.id, extra ? 1 : 0), chatId);

        invite.rotate();
        QTRY_VERIFY_WITH_TIMEOUT(!invite.busy() && invite.code() != first, 5000);
        QVERIFY(!invite.code().isEmpty());
        invite.revoke();
        QTRY_VERIFY_WITH_TIMEOUT(!invite.busy(), 5000);
        QVERIFY(invite.code().isEmpty());
        QVERIFY(invite.shareText().isEmpty());
        QVERIFY(invite.qrImage().isEmpty());
        QVERIFY(!invite.saveQR(file));
        // Opened again, the sheet reads that there is no code.
        invite.open(chatId);
        QTRY_VERIFY_WITH_TIMEOUT(!invite.busy(), 5000);
        QVERIFY(invite.code().isEmpty());
    }

    // People by name, found by a part of it; one starts a direct
    // conversation, several and a title make a group.
    void newChatAndNewGroup() {
        signIn(*primary, "bob");
        signIn(*primary, "carol");
        await(alice->resync());
        NewChatViewModel sheet(alice.get());
        QSignalSpy done(&sheet, &NewChatViewModel::done);
        sheet.reset(false);
        const QStringList people = names(sheet);
        QVERIFY2(people.contains("bob") && people.contains("carol"), qPrintable(people.join(',')));
        QVERIFY(!people.contains("alice"));
        sheet.setSearch("  CAR ");
        QCOMPARE(names(sheet), QStringList{"carol"});
        const qint64 carolId = sheet.userIdAt(0);
        sheet.startChat(carolId);
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 5000);
        const qint64 direct = done.last().at(0).toLongLong();
        QCOMPARE(alice->selectedChatId(), std::optional<qint64>(direct));
        QVERIFY(alice->chat(direct) && !alice->chat(direct)->isGroup());
        QVERIFY(hasMember(*alice->chat(direct), carolId));

        sheet.reset(true);
        QVERIFY(sheet.search().isEmpty());
        QVERIFY(!sheet.canCreateGroup());
        sheet.setSearch("bob");
        const qint64 bobId = sheet.userIdAt(0);
        sheet.toggle(bobId);
        sheet.setSearch("");
        sheet.toggle(carolId);
        QCOMPARE(sheet.pickedCount(), 2);
        sheet.setTitle("   ");
        QVERIFY(!sheet.canCreateGroup());
        sheet.setTitle(" Trip ");
        QVERIFY(sheet.canCreateGroup());
        sheet.createGroup();
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 2, 5000);
        const ChatSummary* group = alice->chat(done.last().at(0).toLongLong());
        QVERIFY(group && group->isGroup());
        QCOMPARE(group->title, std::optional<QString>("Trip"));
        QVERIFY(hasMember(*group, bobId) && hasMember(*group, carolId));
        // Picking again unpicks.
        sheet.reset(true);
        sheet.toggle(bobId);
        sheet.toggle(bobId);
        QCOMPARE(sheet.pickedCount(), 0);
    }

    // A group is made on the primary server: people of other servers are
    // offered for direct conversations only.
    void groupOffersOnlyPrimaryPeople() {
        QVERIFY(addServerBesideOtherDevice("linked", *linked));
        const Account bobL = signIn(*linked, "bob");
        const Account aliceL = signIn(*linked, "alice");
        await(bobL.api.createGroup("there", {aliceL.user.id}));
        await(alice->connectServer(alice->extraServers().first()));
        NewChatViewModel sheet(alice.get());
        sheet.reset(false);
        QCOMPARE(names(sheet).count("bob"), 2);
        sheet.reset(true);
        QCOMPARE(names(sheet).count("bob"), 1);
        for (int row = 0; row < sheet.rowCount(); ++row)
            QCOMPARE(IDCodec::serverId(sheet.userIdAt(row)), 0);
    }

    // Mute and unmute are kept; deleting the last conversation of an extra
    // server removes the server from the list.
    void rowActions() {
        const Account bob = signIn(*primary, "bob");
        const ChatSummary direct = directChat(bob, signIn(*primary, "alice"));
        await(alice->resync());
        QVERIFY(alice->chat(direct.id));
        ChatActionsModel actions(alice.get());
        QSignalSpy muted(&actions, &ChatActionsModel::mutedChanged);
        ChatListModel list(alice.get());
        actions.setMuted(direct.id, true);
        QVERIFY(actions.isMuted(direct.id));
        QCOMPARE(muted.count(), 1);
        const int row = list.rowOf(direct.id);
        QVERIFY(list.data(list.index(row), ChatListModel::MutedRole).toBool());
        QVERIFY(
            Prefs::shared().value("mutedChats").toString().contains(QString::number(direct.id)));
        actions.setMuted(direct.id, false);
        QVERIFY(!actions.isMuted(direct.id));
        actions.setMuted(424242, true);
        QVERIFY(!actions.isMuted(424242));

        QSignalSpy settings(&actions, &ChatActionsModel::settingsRequested);
        actions.openSettings(direct.id);
        QCOMPARE(alice->selectedChatId(), std::optional<qint64>(direct.id));
        QCOMPARE(settings.count(), 1);

        // A group someone else owns stays, and the refusal shows as a notice.
        const ChatSummary theirs = await(bob.api.createGroup("bob's", {alice->me()->id}));
        await(alice->resync());
        QVERIFY(alice->chat(theirs.id));
        actions.deleteChat(theirs.id);
        QTRY_VERIFY_WITH_TIMEOUT(alice->toast().has_value(), 5000);
        QVERIFY(alice->chat(theirs.id));

        // Only a group takes people in by code.
        QVERIFY(!actions.canInvite(direct.id));
        QVERIFY(actions.canInvite(theirs.id));
        actions.deleteChat(direct.id);
        QTRY_VERIFY_WITH_TIMEOUT(!alice->chat(direct.id), 5000);
        QCOMPARE(alice->selectedChatId(), std::nullopt);

        ServersViewModel servers(alice.get());
        const auto other = freshServer();
        QVERIFY(other);
        QVERIFY(addServerBesideOtherDevice("other", *other));
        const Account bobL = signIn(*other, "bob");
        const Account aliceL = signIn(*other, "alice");
        const ChatSummary a = await(aliceL.api.createGroup("one", {bobL.user.id}));
        const ChatSummary b = await(aliceL.api.createGroup("two", {bobL.user.id}));
        await(alice->connectServer(alice->extraServers().first()));
        QCOMPARE(servers.rowCount(), 1);
        actions.deleteChat(IDCodec::encode(a.id, 1));
        QTRY_VERIFY_WITH_TIMEOUT(!alice->chat(IDCodec::encode(a.id, 1)), 5000);
        QCOMPARE(servers.rowCount(), 1);
        actions.deleteChat(IDCodec::encode(b.id, 1));
        QTRY_COMPARE_WITH_TIMEOUT(servers.rowCount(), 0, 5000);
        QVERIFY(alice->extraServers().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestServersScreens)
#include "test_servers_screens.moc"
