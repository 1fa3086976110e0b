#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Accounts.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "ui/AppModel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

namespace {
QList<qint64> messageIds(const TimelineModel& model) {
    QList<qint64> ids;
    for (int r = 0; r < model.rowCount(); ++r)
        if (model.index(r).data(TimelineModel::KindRole) == "message")
            ids << model.index(r).data(TimelineModel::MessageIdRole).toLongLong();
    return ids;
}

const Message* withText(const QList<Message>& list, const QString& text) {
    const auto it =
        std::find_if(list.begin(), list.end(), [&](const Message& m) { return m.text == text; });
    return it == list.end() ? nullptr : &*it;
}

QString newestText(const TimelineModel& model) {
    return model.rowCount() > 0 ? model.index(0).data(TimelineModel::TextRole).toString()
                                : QString();
}
} // namespace

// The conversation as the window drives it, through the app's view model, on
// a live session: pick from the list, read, send, edit, copy, delete and
// forward, with the header and the banner following.
class TestConversationFlow : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;
    std::unique_ptr<Store> alice;
    std::unique_ptr<AppModel> app;
    std::optional<Account> bob;

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() {
        env = std::make_unique<ClientEnv>();
        alice = launchSignedIn(*server, "alice");
        alice->setNotifier(std::make_shared<RecordingNotifier>());
        app = std::make_unique<AppModel>(alice.get());
        bob = signIn(*server, "bob");
    }

    void cleanup() {
        app.reset();
        alice.reset();
        env.reset();
    }

    void pickSendEditDeleteForward() {
        const ChatSummary plans = await(bob->api.createGroup("Plans", {alice->me()->id}));
        // Pinning in a group is for its managers.
        await(bob->api.setGroupRole(plans.id, alice->me()->id, GroupRole::admin));
        const ChatSummary notes = await(bob->api.createGroup("Notes", {alice->me()->id}));
        await(bob->api.send(plans.id, "first from bob"));
        ChatListModel* list = app->chatList();
        TimelineModel* timeline = app->timeline();
        ComposerModel* composer = app->composer();
        QTRY_COMPARE_WITH_TIMEOUT(list->rowCount(), 2, 5000);

        // The search keeps what matches, blanks around it ignored.
        list->setSearch("  pla ");
        QCOMPARE(list->rowCount(), 1);
        QCOMPARE(list->chatIdAt(0), plans.id);
        QCOMPARE(list->index(0).data(ChatListModel::PreviewSenderRole).toString(), "bob");

        // Picking the row opens it: the history arrives without anything else.
        list->select(plans.id);
        list->setSearch({});
        QCOMPARE(app->selectedChatId(), plans.id);
        QCOMPARE(app->selectedChatTitle(), "Plans");
        QCOMPARE(app->selectedChatSubtitle(), "2 members");
        QTRY_COMPARE_WITH_TIMEOUT(newestText(*timeline), "first from bob", 5000);
        QCOMPARE(composer->chatId(), plans.id);

        // Send from the composer; bob's side has it.
        QSignalSpy sent(composer, &ComposerModel::sent);
        composer->setDraft("  lunch at noon?\n");
        composer->send();
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 1, 5000);
        QCOMPARE(newestText(*timeline), "lunch at noon?");
        const qint64 mine = timeline->lastOwnMessageId();
        QVERIFY(mine > 0);
        QCOMPARE(messageIds(*timeline).first(), mine);
        const auto seenByBob = await(bob->api.messages(plans.id, std::nullopt, 10));
        QVERIFY(withText(seenByBob, "lunch at noon?"));

        // Up on the empty draft edits it; the row changes in place.
        composer->startEdit(mine);
        QCOMPARE(composer->draft(), "lunch at noon?");
        composer->setDraft("lunch at one?");
        composer->send();
        QTRY_COMPARE_WITH_TIMEOUT(sent.size(), 2, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(newestText(*timeline), "lunch at one?", 5000);
        QVERIFY(timeline->index(0).data(TimelineModel::EditedRole).toBool());

        // Copy puts the text on the clipboard and says so.
        app->copyMessage(mine);
        QCOMPARE(QGuiApplication::clipboard()->text(), "lunch at one?");
        QCOMPARE(app->toast(), "Copied");

        // Forward lands in the other conversation as a forward.
        app->forwardMessage(mine, notes.id);
        QTRY_COMPARE_WITH_TIMEOUT(app->toast(), "Forwarded", 5000);
        QCOMPARE(alice->chat(notes.id)->lastMessage->text, "lunch at one?");
        const auto inNotes = await(bob->api.messages(notes.id, std::nullopt, 10));
        const Message* forwarded = withText(inNotes, "lunch at one?");
        QVERIFY(forwarded);
        QVERIFY(forwarded->forwardedFrom.has_value());

        // Pinning shows the message in the bar; the bar's unpin takes it away again.
        QSignalSpy pinned(app.get(), &AppModel::pinnedChanged);
        app->setPinned(mine, true);
        QTRY_COMPARE_WITH_TIMEOUT(app->selectedChatPinned().value("id").toLongLong(), mine, 5000);
        QCOMPARE(app->selectedChatPinned().value("text").toString(), "lunch at one?");
        app->setPinned(mine, false);
        QTRY_VERIFY_WITH_TIMEOUT(app->selectedChatPinned().isEmpty(), 5000);
        QVERIFY(pinned.size() >= 2);

        // Delete takes the row away here and on the server.
        app->deleteMessage(mine);
        QTRY_VERIFY_WITH_TIMEOUT(!messageIds(*timeline).contains(mine), 5000);
        const auto afterDelete = await(bob->api.messages(plans.id, std::nullopt, 10));
        QVERIFY(std::none_of(afterDelete.begin(), afterDelete.end(),
                             [&](const Message& m) { return m.id == mine; }));
    }

    // Pin is offered where the server takes it: a group's owner and admins, both
    // people of a direct conversation.
    void pinIsOfferedByRole() {
        const ChatSummary group = await(bob->api.createGroup("Crew", {alice->me()->id}));
        const ChatSummary direct = await(bob->api.createDirect(alice->me()->id));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(group.id) && alice->chat(direct.id), 5000);
        QVERIFY(!app->selectedChatPinnable());

        app->selectChat(group.id);
        QVERIFY(!app->selectedChatPinnable());
        // What a binding on the property sees: its value at each change signal.
        QList<bool> seen;
        QObject watch;
        connect(app.get(), &AppModel::pinnedChanged, &watch,
                [&] { seen << app->selectedChatPinnable(); });
        await(bob->api.setGroupRole(group.id, alice->me()->id, GroupRole::admin));
        QTRY_VERIFY_WITH_TIMEOUT(!seen.isEmpty() && seen.last(), 5000);
        await(bob->api.setGroupRole(group.id, alice->me()->id, GroupRole::user));
        QTRY_VERIFY_WITH_TIMEOUT(!seen.last(), 5000);

        app->selectChat(direct.id);
        QVERIFY(app->selectedChatPinnable());
        const qint64 said = await(bob->api.send(direct.id, "pin me")).id;
        QTRY_VERIFY_WITH_TIMEOUT(messageIds(*app->timeline()).contains(said), 5000);
        app->setPinned(said, true);
        QTRY_COMPARE_WITH_TIMEOUT(app->selectedChatPinned().value("id").toLongLong(), said, 5000);
    }

    void headerFollowsTypingAndBannerOpensItsConversation() {
        const ChatSummary direct = await(bob->api.createDirect(alice->me()->id));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(direct.id), 5000);
        const ChatSummary other = await(bob->api.createGroup("Other", {alice->me()->id}));
        QTRY_VERIFY_WITH_TIMEOUT(alice->chat(other.id), 5000);
        app->selectChat(direct.id);
        QSignalSpy subtitle(app.get(), &AppModel::subtitleChanged);
        await(bob->api.sendTyping(direct.id, "desktop"));
        QTRY_COMPARE_WITH_TIMEOUT(app->selectedChatSubtitle(), "bob is typing…", 5000);
        QVERIFY(!subtitle.isEmpty());

        // A banner for the other conversation; opening it switches there.
        InAppBanner banner;
        banner.id = QUuid::createUuid();
        banner.chatId = other.id;
        banner.title = "Other";
        banner.sender = "bob";
        banner.text = "ping";
        QSignalSpy bannerSpy(app.get(), &AppModel::bannerChanged);
        alice->setInAppBanner(banner);
        QCOMPARE(bannerSpy.size(), 1);
        QCOMPARE(app->banner().value("title").toString(), "Other");
        QCOMPARE(app->banner().value("chatId").toLongLong(), other.id);
        app->openBanner();
        QVERIFY(app->banner().isEmpty());
        QCOMPARE(app->selectedChatId(), other.id);
        QCOMPARE(app->timeline()->chatId(), other.id);
        QCOMPARE(app->composer()->chatId(), other.id);
    }
};

QTEST_MAIN(TestConversationFlow)
#include "test_conversation_flow.moc"
