#include "core/Prefs.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QTest>

namespace {
bool holds(const QList<Message>& list, qint64 id) {
    return std::any_of(list.begin(), list.end(), [id](const Message& m) { return m.id == id; });
}

QString frame(const QJsonObject& o) {
    return QString::fromUtf8(QJsonDocument(o).toJson());
}
} // namespace

// Every event type through the real socket, with the rules that decide what
// each one changes.
class TestEvents : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::optional<Account> bob;
    ChatSummary chat;

    const ChatSummary* aliceChat() const { return alice->chat(chat.id); }

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        QVERIFY(alice->linkUp(0));
        bob = signIn(*server, "bob");
        // A fresh conversation per case, so counts of earlier cases do not leak in.
        chat = await(bob->api.createGroup(QTest::currentTestFunction(), {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(aliceChat(), 5000); // "chatCreated"
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void messagesEditsAndDeletes() {
        const Message first = await(bob->api.send(chat.id, "not loaded yet"));
        QTRY_COMPARE_WITH_TIMEOUT(aliceChat()->lastMessage->id, first.id, 5000);
        QVERIFY(!alice->messages().contains(chat.id)); // an unloaded history stays unloaded
        QCOMPARE(aliceChat()->unread, 1);
        QCOMPARE(alice->badgeCount(), 1);

        await(alice->openChat(chat.id));
        QVERIFY(holds(alice->messages()[chat.id], first.id));
        const Message second = await(bob->api.send(chat.id, "now live"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chat.id], second.id), 5000);
        QCOMPARE(aliceChat()->unread, 2);

        const Message edited = await(bob->api.edit(second.id, "now live, edited"));
        QTRY_COMPARE_WITH_TIMEOUT(alice->messages()[chat.id].last().text, edited.text, 5000);
        QCOMPARE(aliceChat()->lastMessage->text, edited.text);

        await(bob->api.deleteMessage(second.id));
        QTRY_VERIFY_WITH_TIMEOUT(!holds(alice->messages()[chat.id], second.id), 5000);
        QCOMPARE(alice->latestVisibleMessage(chat.id)->id, first.id);
    }

    void selectedConversationIsReadAtOnce() {
        await(alice->openChat(chat.id));
        alice->setSelectedChatId(chat.id);
        const Message m = await(bob->api.send(chat.id, "you are looking at this"));
        QTRY_VERIFY_WITH_TIMEOUT(holds(alice->messages()[chat.id], m.id), 5000);
        QCOMPARE(aliceChat()->unread.value_or(0), 0);
        QCOMPARE(alice->lastReadSent().value(chat.id), m.id);
        // The read frame reached the server, which tells the other side.
        auto aliceMark = [&] {
            for (const ChatSummary& c : await(bob->api.bootstrap()).chats)
                if (c.id == chat.id && c.reads)
                    for (const ReadMark& r : *c.reads)
                        if (r.userId == alice->me()->id) return r.lastReadId;
            return qint64(0);
        };
        QTRY_COMPARE_WITH_TIMEOUT(aliceMark(), m.id, 5000);
    }

    void unknownConversationStartsOneResync() {
        alice->removeChat(chat.id);
        int resets = 0;
        connect(alice.get(), &Store::chatsReset, this, [&] { ++resets; });
        const Message m = await(bob->api.send(chat.id, "where did this chat go?"));
        QTRY_VERIFY_WITH_TIMEOUT(aliceChat(), 5000);
        QTest::qWait(300);
        QCOMPARE(resets, 1);
        QCOMPARE(aliceChat()->lastMessage->id, m.id);
    }

    void typingFromOthersAndOwnEcho() {
        await(bob->api.sendTyping(chat.id, "bobs-laptop"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->typing().value(chat.id).contains(bob->user.id), 5000);
        const Message m = await(bob->api.send(chat.id, "done typing"));
        QTRY_VERIFY_WITH_TIMEOUT(!alice->typing().value(chat.id).contains(bob->user.id), 5000);
        Q_UNUSED(m);

        // The same person on this device is our own echo; on another device it counts.
        const Api aliceRest(alice->api()->base, alice->token());
        await(aliceRest.sendTyping(chat.id, Store::deviceId()));
        QTest::qWait(300);
        QVERIFY(!alice->typing().value(chat.id).contains(alice->me()->id));
        await(aliceRest.sendTyping(chat.id, "alices-phone"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->typing().value(chat.id).contains(alice->me()->id), 5000);
        // The entry expires on its own (5.2 s scaled).
        QTRY_VERIFY_WITH_TIMEOUT(!alice->typing().value(chat.id).contains(alice->me()->id), 5000);
    }

    void readMarksOnlyMoveForward() {
        const Message m1 = await(bob->api.send(chat.id, "one"));
        const Message m2 = await(bob->api.send(chat.id, "two"));
        QVERIFY(await(bob->api.markRead(chat.id, m2.id)));
        QTRY_COMPARE_WITH_TIMEOUT(alice->reads()[chat.id].value(bob->user.id), m2.id, 5000);
        const qint64 at = alice->readAt()[chat.id].value(bob->user.id);
        QVERIFY(at > 0);
        // The server never sends a mark backwards; a stale frame must still not move it.
        alice->handleEvent(frame({{"type", "read"},
                                  {"chatId", chat.id},
                                  {"userId", bob->user.id},
                                  {"messageId", m1.id},
                                  {"at", at + 5}}),
                           0);
        QCOMPARE(alice->reads()[chat.id].value(bob->user.id), m2.id);
        QCOMPARE(alice->readAt()[chat.id].value(bob->user.id), at);

        // Reading on another device of one's own clears the unread count here.
        QTRY_COMPARE_WITH_TIMEOUT(aliceChat()->unread, 2, 5000);
        const Api aliceRest(alice->api()->base, alice->token());
        QVERIFY(await(aliceRest.markRead(chat.id, m2.id)));
        QTRY_COMPARE_WITH_TIMEOUT(aliceChat()->unread.value_or(-1), 0, 5000);
    }

    void buildStatusAndItsDeadManSwitch() {
        ServerClient owner(server->httpUrl());
        QVERIFY(!owner.login("owner").isEmpty());
        const QString path = QString("api/builds/%1").arg(chat.id);
        QCOMPARE(owner.post(path, {{"state", "building"}, {"percent", 40}, {"label", "Compiling"}})
                     .status,
                 200);
        QTRY_VERIFY_WITH_TIMEOUT(alice->builds().contains(chat.id), 5000);
        QCOMPARE(alice->builds()[chat.id].percent, 40);
        const int generation = alice->buildClearGen().value(chat.id);
        QCOMPARE(owner.post(path, {{"state", "done"}}).status, 200);
        QTRY_VERIFY_WITH_TIMEOUT(!alice->builds().contains(chat.id), 5000);
        QCOMPARE(alice->buildClearGen().value(chat.id), generation + 1);

        // A status that hears nothing clears itself after 90 s (4.5 s at this scale).
        QCOMPARE(owner.post(path, {{"state", "deploying"}}).status, 200);
        QTRY_VERIFY_WITH_TIMEOUT(alice->builds().contains(chat.id), 5000);
        QTRY_VERIFY_WITH_TIMEOUT(!alice->builds().contains(chat.id), 10000);
    }

    void conversationAndPeopleEvents() {
        await(bob->api.renameChat(chat.id, "Renamed"));
        QTRY_COMPARE_WITH_TIMEOUT(aliceChat()->title.value_or(QString()), "Renamed", 5000);

        const Api aliceRest(alice->api()->base, alice->token());
        await(aliceRest.updateContact("alice@example.org", "+1 555"));
        QTRY_COMPARE_WITH_TIMEOUT(alice->me()->email.value_or(QString()), "alice@example.org",
                                  5000);
        QCOMPARE(Prefs::shared().readJson<User>("me")->email, "alice@example.org");

        const Account carol = signIn(*server, "carol"); // a new user joins
        const ChatSummary group =
            await(carol.api.createGroup("Trio", {alice->me()->id, bob->user.id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(group.id), 5000);
        const bool knowsCarol = std::any_of(alice->users().begin(), alice->users().end(),
                                            [&](const User& u) { return u.id == carol.user.id; });
        QVERIFY(knowsCarol);

        alice->setSelectedChatId(chat.id);
        await(bob->api.deleteChat(chat.id));
        QTRY_VERIFY_WITH_TIMEOUT(!aliceChat(), 5000);
        QVERIFY(!alice->selectedChatId());
    }

    void presenceOfOneServerLeavesOthersAlone() {
        const qint64 elsewhere = IDCodec::encode(42, 3);
        seam(alice).onlineUserIds().insert(elsewhere);
        {
            auto bobsStore = launchSignedIn(*server, "bob");
            QTRY_VERIFY_WITH_TIMEOUT(alice->onlineUserIds().contains(bob->user.id), 5000);
        }
        QTRY_VERIFY_WITH_TIMEOUT(!alice->onlineUserIds().contains(bob->user.id), 5000);
        const auto bobUser = std::find_if(alice->users().begin(), alice->users().end(),
                                          [&](const User& u) { return u.id == bob->user.id; });
        QVERIFY(bobUser != alice->users().end() && bobUser->lastSeen);

        alice->connectWS(); // a fresh link brings a snapshot of this server only
        QTRY_VERIFY_WITH_TIMEOUT(alice->linkUp(0), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(alice->onlineUserIds().contains(alice->me()->id), 5000);
        QVERIFY(alice->onlineUserIds().contains(elsewhere));
        alice->handleEvent(frame({{"type", "presenceSnapshot"}}), 0);
        QCOMPARE(alice->onlineUserIds(), QSet<qint64>({elsewhere}));
    }

    void framesThatAreNotEventsChangeNothing() {
        const auto before = alice->chats();
        for (const QString& text :
             {QString("not json"), QString("{}"), QString("[1,2]"),
              QString(R"({"type":"unheardOf","chatId":1})"), QString(R"({"type":"message"})"),
              QString(R"({"type":"read","chatId":"x"})")})
            alice->handleEvent(text, 0);
        QCOMPARE(alice->chats(), before);
        QVERIFY(alice->linkUp(0));
    }
};

QTEST_GUILESS_MAIN(TestEvents)
#include "test_events.moc"
