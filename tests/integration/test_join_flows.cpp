#include "federation/Pairing.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "ui/AppModel.h"
#include "ui/LoginViewModel.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTest>

namespace {
QString titleOf(const Store& store, qint64 chatId) {
    const ChatSummary* chat = store.chat(chatId);
    if (!chat) return {};
    return chat->displayTitle(store.me() ? std::optional<qint64>(store.me()->id) : std::nullopt);
}

// A fresh group of `owner`'s with an invite, in its sharable form.
QString groupInvite(const Account& owner, const QString& title, const ServerProcess& server) {
    const ChatSummary group = await(owner.api.createGroup(title, {}));
    const InviteResponse invite = await(owner.api.rotateInvite(group.id));
    return invite.code.value_or(QString()) + "@" + server.httpUrl();
}
} // namespace

// The ways into a conversation as the window offers them: an invite link
// handed to the running app, a code typed into "Join another conversation",
// the empty list's prompt, and a pairing QR on the login screen.
class TestJoinFlows : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> primary, other;
    std::unique_ptr<ClientEnv> env;

private slots:
    void initTestCase() {
        primary = std::make_unique<ServerProcess>();
        other = std::make_unique<ServerProcess>();
        for (ServerProcess* s : {primary.get(), other.get()})
            QVERIFY2(s->start(), qPrintable(s->errorString()));
    }

    void init() { env = std::make_unique<ClientEnv>(); }
    void cleanup() { env.reset(); }

    // The link arrives as the desktop hands it to the app: through the app's
    // own router, which follows it onto the other server and opens what is there.
    void inviteLinkEndsInTheJoinedConversation() {
        const Account bob = signIn(*other, "bob");
        const Account aliceThere = signIn(*other, "alice");
        directChat(bob, aliceThere);
        auto alice = launchSignedIn(*primary, "alice");
        QVERIFY(alice->me());
        AppModel model(alice.get());
        QVERIFY(model.openLink("velmarin://join?server=" + other->httpUrl()));
        QTRY_VERIFY_WITH_TIMEOUT(model.selectedChatId() != 0, 15000);
        QVERIFY(IDCodec::serverId(model.selectedChatId()) > 0);
        QCOMPARE(titleOf(*alice, model.selectedChatId()), QStringLiteral("bob"));
        QCOMPARE(model.section(), QStringLiteral("Conversation"));
        QCOMPARE(alice->lastError(), std::nullopt);
        // Its history loads as for any conversation one opens.
        QTRY_VERIFY_WITH_TIMEOUT(alice->messages().contains(model.selectedChatId()), 10000);

        // A link to the server the app is already on changes nothing.
        const int servers = alice->extraServers().size();
        QVERIFY(model.openLink("velmarin://join?server=" + primary->httpUrl()));
        QTest::qWait(200);
        QCOMPARE(alice->extraServers().size(), servers);
    }

    void codeJoinsAndOpensTheConversation() {
        const Account bob = signIn(*primary, "bob");
        const QString invite = groupInvite(bob, "Harbour crew", *primary);
        auto carol = launchSignedIn(*primary, "carol");
        AppModel model(carol.get());
        JoinViewModel& join = *model.join();

        // Carol knows nobody yet: the list offers a way in until "Not now".
        QVERIFY(carol->chats().isEmpty());
        QVERIFY(join.showPrompt());
        QSignalSpy prompt(&join, &JoinViewModel::showPromptChanged);
        join.dismissPrompt();
        QVERIFY(!join.showPrompt());
        QCOMPARE(prompt.size(), 1);

        join.setCode("wrongcode@" + primary->httpUrl());
        join.join();
        QVERIFY(join.busy());
        QTRY_VERIFY_WITH_TIMEOUT(!join.busy(), 15000);
        QVERIFY(!join.errorText().isEmpty());
        QCOMPARE(model.selectedChatId(), qint64(0));
        // Typing again takes the failure away.
        join.setCode("  " + invite + "  ");
        QCOMPARE(join.errorText(), QString());

        QSignalSpy joined(&join, &JoinViewModel::joined);
        join.join();
        QTRY_VERIFY_WITH_TIMEOUT(!join.busy(), 15000);
        QVERIFY2(join.errorText().isEmpty(), qPrintable(join.errorText()));
        QCOMPARE(joined.size(), 1);
        QCOMPARE(titleOf(*carol, model.selectedChatId()), QStringLiteral("Harbour crew"));
        QCOMPARE(join.code(), QString());
        QVERIFY(!join.showPrompt());
    }

    // What Store.inviteLink hands out opens in a browser as a page whose
    // button leads back into the app.
    void invitePageOpensTheApp() {
        QNetworkAccessManager net;
        std::unique_ptr<QNetworkReply> reply(
            net.get(QNetworkRequest(QUrl(other->httpUrl() + "/join"))));
        QSignalSpy done(reply.get(), &QNetworkReply::finished);
        QVERIFY(done.wait(15000));
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        QVERIFY(
            reply->header(QNetworkRequest::ContentTypeHeader).toString().startsWith("text/html"));
        const QString page = QString::fromUtf8(reply->readAll());
        QVERIFY(page.contains("\"velmarin://join?server=\" + encodeURIComponent(server)"));
        QVERIFY(page.contains("location.origin"));
        QVERIFY(page.contains("Open in Velmarin"));
    }

    // The login screen takes another device's pairing QR in the invite field.
    void pairingQROnTheLoginScreenPairsThisDevice() {
        const Account first = signIn(*primary, "alice");
        const Api::PairCodeResponse made = await(first.api.pairCode());
        const PairingPayload payload{1, primary->httpsUrl(), made.fingerprint, made.code};
        {
            Store second(StoreOptions{0.05});
            LoginViewModel vm(&second);
            vm.setInviteCode(payload.qrString());
            vm.joinInvite(); // no name asked for
            QVERIFY(vm.busy());
            QTRY_VERIFY_WITH_TIMEOUT(!vm.busy(), 15000);
            QVERIFY2(second.token(), qPrintable(vm.errorText()));
            QCOMPARE(second.me()->id, first.user.id);
        }

        // On a third device the same code is spent: the server's reason shows.
        env.reset();
        env = std::make_unique<ClientEnv>();
        Store third(StoreOptions{0.05});
        LoginViewModel again(&third);
        again.setInviteCode(payload.qrString());
        again.joinInvite();
        QTRY_VERIFY_WITH_TIMEOUT(!again.busy(), 15000);
        QVERIFY(!third.token());
        QVERIFY(!again.errorText().isEmpty());
    }
};

QTEST_MAIN(TestJoinFlows)
#include "test_join_flows.moc"
