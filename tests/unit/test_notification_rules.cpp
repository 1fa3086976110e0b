#include "core/Notifier.h"
#include "store/Store.h"
#include "support/Frames.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QTest>

namespace {
const User me = person(1, "me");
const User ann = person(2, "ann");
const User bot = person(9, "agent");
constexpr qint64 direct = 70;    // me and ann
constexpr qint64 group = 71;     // me, ann and the bot
constexpr qint64 aiChannel = 72; // me and the bot
constexpr qint64 mutedChat = 73; // me and ann, muted
} // namespace

// Which new message becomes a system notification, which a banner, and
// which only counts in the badge: every message enters through the event
// dispatcher, and a recording notifier says what would have been shown.
class TestNotificationRules : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;
    std::unique_ptr<Store> store;
    std::shared_ptr<RecordingNotifier> notifier;
    qint64 nextId = 100;

    void deliver(qint64 chatId, const User& from, const QString& text) {
        const qint64 id = ++nextId;
        store->handleEvent(messageFrame(textMessage(id, chatId, from, text, 5000 + id)), 0);
    }

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        Loc::setCurrent(AppLanguage::en);
        store = std::make_unique<Store>();
        notifier = std::make_shared<RecordingNotifier>();
        store->setNotifier(notifier);
        seam(store).me() = me;
        seam(store).users() = {me, ann, bot};
        seam(store).botIds() = {bot.id};
        seam(store).chats() = {
            conversation(direct, {me, ann}), conversation(group, {me, ann, bot}, true, "Team"),
            conversation(aiChannel, {me, bot}), conversation(mutedChat, {me, ann})};
        store->setMuted(mutedChat, true);
    }

    void cleanup() {
        store.reset();
        prefs.reset();
    }

    void systemNotifications_data() {
        QTest::addColumn<qint64>("chatId");
        QTest::addColumn<qint64>("sender");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("title"); // empty: nothing is posted
        QTest::addColumn<QString>("subtitle");
        QTest::newRow("direct") << direct << ann.id << "hi"
                                << "ann"
                                << "";
        QTest::newRow("group names the sender") << group << ann.id << "hi"
                                                << "Team"
                                                << "ann";
        QTest::newRow("muted") << mutedChat << ann.id << "hi"
                               << ""
                               << "";
        QTest::newRow("own message") << direct << me.id << "from my phone"
                                     << ""
                                     << "";
        QTest::newRow("bot outside an AI channel") << group << bot.id << "done"
                                                   << ""
                                                   << "";
        QTest::newRow("bot asks for a decision")
            << group << bot.id << "🔐 Allow access to ~/Documents?"
            << "Team"
            << "agent";
        QTest::newRow("bot in an AI channel") << aiChannel << bot.id << "done"
                                              << "agent"
                                              << "";
        QTest::newRow("working line") << aiChannel << bot.id << "💭 Claude is working"
                                      << ""
                                      << "";
        QTest::newRow("unknown conversation") << qint64(99) << ann.id << "hi"
                                              << ""
                                              << "";
    }

    void systemNotifications() {
        QFETCH(qint64, chatId);
        QFETCH(qint64, sender);
        QFETCH(QString, text);
        QFETCH(QString, title);
        QFETCH(QString, subtitle);
        store->setAppActive(false);
        const User from = sender == me.id ? me : sender == bot.id ? bot : ann;
        deliver(chatId, from, text);
        QCOMPARE(notifier->posted().size(), title.isEmpty() ? 0 : 1);
        QVERIFY(!store->inAppBanner()); // never a banner in the background
        if (title.isEmpty()) return;
        const SystemNotification& n = notifier->posted().first();
        QCOMPARE(n.identifier, QStringLiteral("msg-%1").arg(nextId));
        QCOMPARE(n.title, title);
        QCOMPARE(n.subtitle, subtitle);
        QCOMPARE(n.body, text);
        QCOMPARE(n.chatId, chatId);
    }

    void bannersInFront() {
        store->setSelectedChatId(direct);
        deliver(direct, ann, "you are looking at this");
        QVERIFY(!store->inAppBanner()); // never for the selected conversation
        deliver(mutedChat, ann, "quiet");
        QVERIFY(!store->inAppBanner());
        deliver(group, ann, "over here");
        QVERIFY(store->inAppBanner());
        QCOMPARE(store->inAppBanner()->chatId, group);
        QCOMPARE(store->inAppBanner()->title, "Team");
        QCOMPARE(store->inAppBanner()->sender, "ann");
        QCOMPARE(store->inAppBanner()->text, "over here");
        QVERIFY(notifier->posted().isEmpty()); // the app is in front: no system notification
    }

    void mutedStillCountsInTheBadge() {
        deliver(mutedChat, ann, "one");
        deliver(mutedChat, ann, "two");
        QCOMPARE(store->badgeCount(), 2);
        QCOMPARE(notifier->badge(), 2);
    }

    void styleOffKeepsTheBadgeEmpty() {
        seam(store).notifPrefs().muteAll = true;
        store->setAppActive(false);
        deliver(direct, ann, "hi");
        QCOMPARE(store->badgeCount(), 0);
        QCOMPARE(notifier->badge(), 0);
        QVERIFY(notifier->posted().isEmpty());
    }

    void badgeStyleShowsBannersButNoNotifications() {
        for (CatPref* c :
             {&seam(store).notifPrefs().directMessages, &seam(store).notifPrefs().groupMessages,
              &seam(store).notifPrefs().mentions})
            c->level = NotifLevel::badge;
        deliver(direct, ann, "in front");
        QVERIFY(store->inAppBanner());
        store->setAppActive(false);
        deliver(direct, ann, "behind");
        QVERIFY(notifier->posted().isEmpty());
        QCOMPARE(store->badgeCount(), 2);
    }

    void readingClearsThatConversationsNotifications() {
        store->setAppActive(false);
        deliver(direct, ann, "a");
        deliver(group, ann, "b");
        QCOMPARE(notifier->delivered().size(), 2);
        // Read on another device: the server's read frame for me.
        store->handleEvent(
            frameText(
                {{"type", "read"}, {"chatId", direct}, {"userId", me.id}, {"messageId", nextId}}),
            0);
        QCOMPARE(notifier->delivered().size(), 1);
        QCOMPARE(notifier->delivered().first().chatId, group);
        store->markRead(group);
        QVERIFY(notifier->delivered().isEmpty());
    }

    void clickingOpensTheConversation() {
        store->setAppActive(false);
        deliver(group, ann, "open me");
        notifier->click(QStringLiteral("msg-%1").arg(nextId));
        QCOMPARE(store->selectedChatId(), group);
    }

    void newContacts() {
        const QJsonObject dave{{"id", 5}, {"username", "dave"}};
        store->handleEvent(frameText({{"type", "userJoined"}, {"user", dave}}), 0);
        QVERIFY(store->inAppBanner());
        QCOMPARE(store->inAppBanner()->text, "joined Velmarin");
        QVERIFY(!store->inAppBanner()->chatId);
        store->setInAppBanner(std::nullopt);
        // Known already, or myself: nothing.
        store->handleEvent(frameText({{"type", "userJoined"}, {"user", dave}}), 0);
        store->handleEvent(frameText({{"type", "userJoined"},
                                      {"user", QJsonObject{{"id", 1}, {"username", "me"}}}}),
                           0);
        QVERIFY(!store->inAppBanner());
        store->setAppActive(false);
        store->handleEvent(frameText({{"type", "userJoined"},
                                      {"user", QJsonObject{{"id", 6}, {"username", "eve"}}}}),
                           0);
        QCOMPARE(notifier->posted().size(), 1);
        QCOMPARE(notifier->posted().first().identifier, "join-6");
        QCOMPARE(notifier->posted().first().title, "New contact");
        QCOMPARE(notifier->posted().first().body, "eve joined Velmarin");
    }

    void preferencesPersistAndMutingIsStored() {
        NotifPrefs prefsValue = store->notifPrefs();
        prefsValue.muteAll = true;
        store->setMuted(direct, true);
        [](Store* s, NotifPrefs p) -> QCoro::Task<> { co_await s->setNotifPrefs(p); }(store.get(),
                                                                                      prefsValue);
        Store relaunched;
        QVERIFY(relaunched.notifPrefs().muteAll);
        QVERIFY(relaunched.isMuted(direct));
        QVERIFY(relaunched.isMuted(mutedChat));
        relaunched.setMuted(direct, false);
        QVERIFY(!Store().isMuted(direct));
    }
};

QTEST_GUILESS_MAIN(TestNotificationRules)
#include "test_notification_rules.moc"
