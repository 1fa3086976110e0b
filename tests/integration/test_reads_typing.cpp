#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QSignalSpy>
#include <QTest>

// Reads, typing and the notifications around them, over the real socket.
class TestReadsTyping : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::shared_ptr<RecordingNotifier> notifier;
    std::optional<Account> bob;
    ChatSummary chat;

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        // Unscaled, so the 1.5 s typing throttle is real time.
        alice = launchSignedIn(*server, "alice", 1.0);
        notifier = std::make_shared<RecordingNotifier>();
        alice->setNotifier(notifier);
        QVERIFY(alice->linkUp(0));
        bob = signIn(*server, "bob");
        chat = await(bob->api.createGroup(QTest::currentTestFunction(), {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(chat.id), 5000);
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    // The server passes every read frame on, even one that repeats a mark, so
    // what bob hears counts what alice sent.
    void oneReadFramePerNewMessage() {
        auto bobStore = launchSignedIn(*server, "bob", 1.0);
        QTest::qWait(300); // its own start-up merges are done before counting
        int heard = 0;
        connect(bobStore.get(), &Store::readsChanged, this,
                [&](qint64 id) { heard += id == chat.id; });
        const Message first = await(bob->api.send(chat.id, "one"));
        await(alice->openChat(chat.id));
        alice->markRead(chat.id);
        alice->markRead(chat.id);
        QTRY_COMPARE_WITH_TIMEOUT(bobStore->reads()[chat.id].value(alice->me()->id), first.id,
                                  5000);
        QTest::qWait(200);
        QCOMPARE(heard, 1); // the second sent nothing
        QCOMPARE(alice->reads()[chat.id].value(alice->me()->id), first.id);
        QVERIFY(alice->readAt()[chat.id].value(alice->me()->id) > 0);

        // Looking at the conversation, each new message is read once, as it arrives.
        alice->setSelectedChatId(chat.id);
        const Message second = await(bob->api.send(chat.id, "two"));
        QTRY_COMPARE_WITH_TIMEOUT(bobStore->reads()[chat.id].value(alice->me()->id), second.id,
                                  5000);
        alice->markRead(chat.id);
        QTest::qWait(200);
        QCOMPARE(heard, 2);
    }

    void pendingOnlyReadsTheSummarysLastMessage() {
        const Message last = await(bob->api.send(chat.id, "latest"));
        QTRY_COMPARE_WITH_TIMEOUT(alice->chat(chat.id)->lastMessage->id, last.id, 5000);
        Message pending;
        pending.id = -3;
        pending.chatId = chat.id;
        pending.isPending = true;
        seam(alice).messages()[chat.id] = {pending};
        alice->markRead(chat.id);
        QCOMPARE(alice->lastReadSent().value(chat.id), last.id);
        QCOMPARE(alice->chat(chat.id)->unread.value_or(0), 0);
    }

    void typingIsThrottled() {
        auto bobStore = launchSignedIn(*server, "bob", 1.0);
        QSignalSpy seen(bobStore.get(), &Store::typingChanged);
        alice->sendTyping(chat.id);
        alice->sendTyping(chat.id);
        alice->sendTyping(chat.id);
        QTRY_COMPARE_WITH_TIMEOUT(seen.size(), 1, 5000);
        QCOMPARE(bobStore->typingNames(chat.id), QStringList{"alice"});
        QTest::qWait(400);
        QCOMPARE(seen.size(), 1); // the two within 1.5 s never left
        QTest::qWait(1200);
        alice->sendTyping(chat.id); // 1.6 s after the first: this one goes
        QTRY_COMPARE_WITH_TIMEOUT(seen.size(), 2, 5000);
        // A message from the typist ends their typing at once.
        await(alice->sendMessage(chat.id, "done typing"));
        QTRY_VERIFY_WITH_TIMEOUT(bobStore->typingNames(chat.id).isEmpty(), 5000);
    }

    void notificationsFromLiveTraffic() {
        alice->setAppActive(false);
        const Message m = await(bob->api.send(chat.id, "while you were away"));
        QTRY_COMPARE_WITH_TIMEOUT(notifier->delivered().size(), 1, 5000);
        const SystemNotification n = notifier->delivered().first();
        QCOMPARE(n.identifier, QStringLiteral("msg-%1").arg(m.id));
        QCOMPARE(n.title, chat.title.value_or(QString()));
        QCOMPARE(n.subtitle, "bob");
        QCOMPARE(alice->badgeCount(), 1);
        QCOMPARE(notifier->badge(), 1);
        // Read on the phone: the notification goes here too.
        const Api phone(alice->api()->base, alice->token());
        QVERIFY(await(phone.markRead(chat.id, m.id)));
        QTRY_VERIFY_WITH_TIMEOUT(notifier->delivered().isEmpty(), 5000);
        QCOMPARE(notifier->badge(), 0);

        alice->setAppActive(true);
        await(bob->api.send(chat.id, "now you are here"));
        QTRY_VERIFY_WITH_TIMEOUT(alice->inAppBanner(), 5000);
        QCOMPARE(alice->inAppBanner()->text, "now you are here");

        // Someone new signs in for the first time.
        alice->setInAppBanner(std::nullopt);
        signIn(*server, "carol");
        QTRY_VERIFY_WITH_TIMEOUT(alice->inAppBanner(), 5000);
        QCOMPARE(alice->inAppBanner()->sender, "carol");
        QCOMPARE(alice->inAppBanner()->text, "joined Velmarin");
        alice->logout();
        QVERIFY(notifier->delivered().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestReadsTyping)
#include "test_reads_typing.moc"
