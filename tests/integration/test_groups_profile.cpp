#include "conversations/Geocoder.h"
#include "conversations/ImageEncoding.h"
#include "core/Notifier.h"
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"
#include "ui/PinnedImageLoader.h"

#include <QBuffer>
#include <QImage>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QUrlQuery>

namespace {
// A Nominatim-shaped search service on loopback: answers every request with
// `reply` and keeps the queries it was asked.
class FakeGeocodingService : public QObject {
public:
    FakeGeocodingService() {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                    const QByteArray request = socket->readAll();
                    const QByteArray target = request.split(' ').value(1);
                    queries << QUrlQuery(QUrl(QString::fromUtf8(target)).query())
                                   .queryItemValue("q", QUrl::FullyDecoded);
                    socket->write(
                        "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                        QByteArray::number(reply.size()) + "\r\nConnection: close\r\n\r\n" + reply);
                    socket->disconnectFromHost();
                });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QUrl url() const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()));
    }
    QByteArray reply = "[]";
    QStringList queries;

private:
    QTcpServer m_server;
};

QByteArray photo() {
    QImage image(600, 300, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return *makeAvatarJPEG(png);
}

// A picture as the views load it: through the QML engine's network access.
std::pair<int, QByteArray> loadAsViewsDo(const QUrl& url) {
    PinnedNetworkFactory factory;
    std::unique_ptr<QNetworkAccessManager> nam(factory.create(nullptr));
    std::unique_ptr<QNetworkReply> reply(nam->get(QNetworkRequest(url)));
    QSignalSpy finished(reply.get(), &QNetworkReply::finished);
    if (!reply->isFinished() && !finished.wait(15000)) return {0, {}};
    return {reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll()};
}
} // namespace

// Conversations, groups, roles and the person's own profile, against the
// real server.
class TestGroupsProfile : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::optional<Account> bob;
    std::optional<Account> carol;

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
        carol = signIn(*server, "carol");
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        alice->setNotifier(std::make_shared<RecordingNotifier>());
        bob = signIn(*server, "bob");
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void groupsMembersAndRoles() {
        const auto group = await(alice->createGroup("Crew", {bob->user.id}));
        QVERIFY(group);
        QCOMPARE(alice->chat(group->id)->members.size(), 2);
        await(alice->renameGroup(group->id, "Crew 2"));
        QCOMPARE(alice->chat(group->id)->title, "Crew 2");
        await(alice->addGroupMembers(group->id, {carol->user.id}));
        QCOMPARE(alice->chat(group->id)->members.size(), 3);

        // Roles come with every resync (or with the newer load a live event started).
        await(alice->resync());
        QTRY_COMPARE_WITH_TIMEOUT(alice->groupRole(group->id, alice->me()->id), GroupRole::owner,
                                  5000);
        QCOMPARE(alice->groupRole(group->id, carol->user.id), GroupRole::user);
        QVERIFY(alice->canManageGroup(group->id));
        await(alice->setGroupRole(group->id, carol->user.id, GroupRole::admin));
        QCOMPARE(alice->groupRole(group->id, carol->user.id), GroupRole::admin);
        seam(alice).groupRoles().clear();
        // The change's own live event starts a load too; whichever is newer lands.
        await(alice->loadGroupRoles());
        QTRY_COMPARE_WITH_TIMEOUT(alice->groupRole(group->id, carol->user.id), GroupRole::admin,
                                  5000);

        await(alice->removeChatMember(group->id, carol->user));
        QCOMPARE(alice->chat(group->id)->members.size(), 2);
        // Bob is no owner: his attempt to remove alice is refused.
        QVERIFY(failureOf(bob->api.removeChatMember(group->id, alice->me()->id))
                    .contains("owner or admins"));

        await(alice->setTavikAgent(group->id, true));
        QVERIFY(alice->chat(group->id)->tavikAgent);

        await(alice->deleteChat(group->id));
        QVERIFY(!alice->chat(group->id));
        await(alice->resync());
        QVERIFY(!alice->chat(group->id)); // gone on the server too
    }

    void leavingAGroup() {
        const ChatSummary theirs = await(bob->api.createGroup("Bob's", {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(theirs.id), 5000);
        alice->setSelectedChatId(theirs.id);
        await(alice->removeChatMember(theirs.id, *alice->me()));
        QVERIFY(!alice->chat(theirs.id));
        QVERIFY(!alice->selectedChatId());
    }

    void joiningByCode() {
        const ChatSummary open = await(bob->api.createGroup("Open house", {}));
        const QString code = *await(bob->api.rotateInvite(open.id)).code;
        const Api aliceApi(alice->api()->base, alice->token());
        const ChatSummary joined = await(aliceApi.joinByCode(code));
        QCOMPARE(joined.id, open.id);
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(open.id), 5000); // "chatUpdated"
        QVERIFY(failureOf(aliceApi.joinByCode("nope")).contains("not valid"));
    }

    void directAndSavedConversations() {
        const auto direct = await(alice->startDirect(bob->user));
        QVERIFY(direct);
        QCOMPARE(await(alice->startDirect(bob->user))->id, direct->id); // the same one again
        await(alice->openSavedMessages());
        QVERIFY(alice->savedChatId());
        QCOMPARE(alice->selectedChatId(), alice->savedChatId());
        QVERIFY(alice->isSavedMessages(*alice->chat(*alice->savedChatId())));
        const qint64 saved = *alice->savedChatId();
        seam(alice).savedChatId().reset();
        await(alice->openSavedMessages());
        QCOMPARE(alice->savedChatId(), saved); // found, not made twice

        // No agent on this server.
        await(alice->ensureAgentChat());
        QCOMPARE(alice->lastError(), "AI agent unavailable — check the server");
    }

    void profileFields() {
        await(alice->updateProfileInfo("Rust", "Ten years"));
        await(alice->updateContact("alice@example.org", "+1 555 0100"));
        QCOMPARE(alice->me()->competence, "Rust");
        QCOMPARE(alice->me()->phone, "+1 555 0100");
        QCOMPARE(Prefs::shared().readJson<User>("me")->email, "alice@example.org");
        await(alice->updateUsername("bob"));
        QCOMPARE(alice->lastError(), "That name is taken — choose another");
        QCOMPARE(alice->me()->username, "alice");
    }

    void addressesAreGeocoded() {
        FakeGeocodingService service;
        alice->setGeocoder(std::make_shared<NominatimGeocoder>(service.url()));
        service.reply = R"([{"lat":"52.5200","lon":"13.4050","display_name":"Berlin"}])";
        QVERIFY(await(alice->updateAddress("Unter den Linden 1, Berlin")));
        QCOMPARE(service.queries, QStringList{"Unter den Linden 1, Berlin"});
        QCOMPARE(alice->me()->lat, 52.52);
        QCOMPARE(alice->me()->lon, 13.405);
        QVERIFY(!alice->toast());

        service.reply = "[]";
        QVERIFY(await(alice->updateAddress("Nowhere Lane 0")));
        QCOMPARE(alice->me()->address, "Nowhere Lane 0");
        QCOMPARE(alice->toast(), "Address saved, but it couldn't be located on the map");

        // Clearing asks no service and sends no coordinates.
        QVERIFY(await(alice->updateAddress("")));
        QCOMPARE(service.queries.size(), 2);
        QVERIFY(!alice->me()->address);

        // A service that cannot be reached: saved without a place.
        alice->setGeocoder(std::make_shared<NominatimGeocoder>(QUrl(kClosedServer)));
        QVERIFY(await(alice->updateAddress("Somewhere 5")));
        QCOMPARE(alice->me()->address, "Somewhere 5");
    }

    void pictures() {
        const QByteArray jpeg = photo();
        await(alice->uploadAvatar(jpeg));
        QVERIFY(alice->me()->avatarAt);
        const auto mine = alice->avatarURL(alice->me()->id);
        QVERIFY(mine);
        // Pictures are for those signed in; the views send the token along.
        ServerClient anyone(server->httpUrl());
        QCOMPARE(anyone.get(mine->path().mid(1)).status, 401);
        QCOMPARE(loadAsViewsDo(*mine), std::make_pair(200, jpeg));
        ServerClient member(server->httpUrl(), bob->api.token.value_or(QString()));
        QCOMPARE(member.get(QString("api/users/%1/avatar").arg(bob->user.id)).status, 404);

        const auto group = await(alice->createGroup("Pictured", {bob->user.id}));
        await(alice->uploadGroupAvatar(group->id, jpeg));
        QVERIFY(alice->chat(group->id)->avatarAt);
        const auto url = alice->chatAvatarURL(*alice->chat(group->id));
        QVERIFY(url);
        QCOMPARE(anyone.get(url->path().mid(1)).status, 401);
        QCOMPARE(loadAsViewsDo(*url), std::make_pair(200, jpeg));
        QCOMPARE(member.get(url->path().mid(1)).body, jpeg);

        await(alice->uploadAvatar("not a jpeg"));
        QCOMPARE(alice->lastError(), "the picture must be a JPEG");
    }
};

QTEST_GUILESS_MAIN(TestGroupsProfile)
#include "test_groups_profile.moc"
