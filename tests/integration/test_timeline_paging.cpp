#include "agent/MarkerConfig.h"
#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QTest>
#include <vector>

namespace {
ServerProcess::Options withBot() {
    ServerProcess::Options options;
    options.extraArgs = {"--bots", "claude"};
    return options;
}

// Posts `count` messages, a few requests at a time.
void postMany(const Account& from, qint64 chatId, int count, const QString& text) {
    constexpr int inFlight = 16;
    for (int done = 0; done < count;) {
        const int batch = std::min(inFlight, count - done);
        std::vector<QCoro::Task<Message>> sends;
        for (int k = 0; k < batch; ++k)
            sends.push_back(from.api.send(chatId, text));
        for (auto& send : sends)
            await(std::move(send));
        done += batch;
    }
}
} // namespace

// Pages of history against the real server: what promises more, what a
// newest page may not overwrite, and the cap on pages of invisible traffic.
class TestTimelinePaging : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::optional<Account> bob;
    std::optional<Account> claude;

    ChatSummary freshGroup(const Account& owner) {
        const ChatSummary c = await(owner.api.createGroup(QTest::currentTestFunction(),
                                                          {alice->me()->id, claude->user.id}));
        if (!QTest::qWaitFor([&] { return alice->chat(c.id) != nullptr; }, 5000))
            qWarning("the new conversation did not arrive");
        return c;
    }

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>(withBot());
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        alice->setNotifier(std::make_shared<RecordingNotifier>());
        QVERIFY(alice->linkUp(0));
        bob = signIn(*server, "bob");
        claude = signIn(*server, "claude");
    }

    void cleanup() {
        alice.reset();
        env.reset();
    }

    void botsAreListed() {
        QVERIFY(alice->isBotUser(claude->user.id));
        QVERIFY(!alice->isBotUser(bob->user.id));
    }

    void pageOfExactlyFiftyPromisesMore() {
        const ChatSummary c = freshGroup(*bob);
        postMany(*bob, c.id, 50, "fifty");
        await(alice->openChat(c.id));
        QCOMPARE(alice->messages()[c.id].size(), 50);
        QVERIFY(alice->hasMore().value(c.id));
        await(alice->loadOlder(c.id)); // the promised page is empty
        QCOMPARE(alice->messages()[c.id].size(), 50);
        QVERIFY(!alice->hasMore().value(c.id));
        QVERIFY(alice->hasMore().contains(c.id));
    }

    void pendingOnlyHistoryIgnoresTheNewestPage() {
        const ChatSummary c = freshGroup(*bob);
        const quint64 before = alice->stateEventCount(0);
        postMany(*bob, c.id, 3, "on the server");
        QTRY_VERIFY_WITH_TIMEOUT(alice->stateEventCount(0) >= before + 3, 10000);
        Message pending;
        pending.id = -7;
        pending.chatId = c.id;
        pending.senderId = alice->me()->id;
        pending.text = "still sending";
        pending.isPending = true;
        seam(alice).messages()[c.id] = {pending};
        await(alice->openChat(c.id));
        QCOMPARE(alice->messages()[c.id].size(), 1);
        QCOMPARE(alice->messages()[c.id].first().id, -7);
        QCOMPARE(alice->hasMore().value(c.id, true), false); // updated from the page all the same
    }

    // The link was down for some messages while newer ones already arrived
    // live: the newest page puts the missed ones inside the tail, keeps the
    // copies the client has, and doubles nothing.
    void newestPageFillsWhatTheLinkMissed() {
        const ChatSummary c = freshGroup(*bob);
        const quint64 before = alice->stateEventCount(0);
        postMany(*bob, c.id, 6, "seen");
        // The live copies must all be in: one arriving after the local edit
        // below would overwrite it, as it should, and prove nothing here.
        QTRY_VERIFY_WITH_TIMEOUT(alice->stateEventCount(0) >= before + 6, 10000);
        // On screen, so a resync in between refreshes it by the same merge
        // instead of dropping it for a reload.
        alice->setSelectedChatId(c.id);
        await(alice->openChat(c.id));
        QList<Message>& local = seam(alice).messages()[c.id];
        QCOMPARE(local.size(), 6);
        const qint64 kept = local[4].id;
        local[4].text = "edited here";
        local.removeAt(2); // missed while the link was down
        local.removeAt(1);
        await(alice->openChat(c.id));
        const QList<Message>& after = alice->messages().constFind(c.id).value();
        QCOMPARE(after.size(), 6);
        for (int i = 1; i < after.size(); ++i)
            QVERIFY(after[i - 1].id < after[i].id);
        QCOMPARE(
            std::find_if(after.begin(), after.end(), [&](const Message& m) { return m.id == kept; })
                ->text,
            "edited here");
    }

    void eventForAnUnloadedConversationStoresNothing() {
        const ChatSummary c = freshGroup(*bob);
        const Message m = await(bob->api.send(c.id, "nobody has opened this"));
        QTRY_COMPARE_WITH_TIMEOUT(alice->chat(c.id)->lastMessage->id, m.id, 5000);
        QVERIFY(!alice->messages().contains(c.id));
        QCOMPARE(alice->latestVisibleMessage(c.id)->id, m.id);
    }

    void invisibleTrafficStopsPagingAfterTwentyPages() {
        const ChatSummary c = freshGroup(*bob);
        await(bob->api.send(c.id, "the only visible message, far back"));
        const QString control = Config::ccControlPrefix.toString() + R"({"op":"status"})";
        postMany(*claude, c.id, 1100, control);
        await(alice->openChat(c.id));
        // The newest page and twenty more, all control traffic: nothing to show, and it stops.
        QCOMPARE(alice->messages()[c.id].size(), 50 * 21);
        QCOMPARE(alice->visibleMessageCount(c.id), 0);
        QVERIFY(alice->hasMore().value(c.id));
        // The list still shows something a person can read.
        QVERIFY(!alice->latestVisibleMessage(c.id) ||
                !alice->latestVisibleMessage(c.id)->isCCControl());
    }

    void previewFallsBackWhenItsMessageGoes() {
        const ChatSummary c = freshGroup(*bob);
        const Message first = await(bob->api.send(c.id, "first"));
        const Message second = await(bob->api.send(c.id, "second"));
        await(alice->openChat(c.id));
        QTRY_COMPARE_WITH_TIMEOUT(alice->visiblePreview().value(c.id).id, second.id, 5000);
        const QString control = Config::ccControlPrefix.toString() + "{}";
        const Message hidden = await(claude->api.send(c.id, control));
        QTRY_VERIFY_WITH_TIMEOUT(alice->messages()[c.id].last().id == hidden.id, 5000);
        await(bob->api.deleteMessage(second.id));
        // The newest visible real message of the history takes over, not the control message.
        QTRY_COMPARE_WITH_TIMEOUT(alice->visiblePreview().value(c.id).id, first.id, 5000);
        QCOMPARE(alice->latestVisibleMessage(c.id)->id, first.id);
        await(bob->api.deleteMessage(first.id));
        QTRY_VERIFY_WITH_TIMEOUT(!alice->visiblePreview().contains(c.id), 5000);
        // With no preview left the list falls back to the server's summary as it last came.
        QCOMPARE(alice->latestVisibleMessage(c.id)->id, alice->chat(c.id)->lastMessage->id);
    }
};

QTEST_GUILESS_MAIN(TestTimelinePaging)
#include "test_timeline_paging.moc"
