#include "core/Prefs.h"
#include "model/Config.h"
#include "net/Pinning.h"
#include "store/Store.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QTest>
#include <QWebSocket>

// Launch from stored state, and the fields whose writes have side effects.
class TestLaunch : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() {
        prefs = std::make_unique<ScopedPrefs>();
        PinRegistry::shared().reload();
        // Nothing listens on port 1: launches below must not reach a real server.
        Config::overrideWellKnownServers("http://127.0.0.1:1", "http://127.0.0.1:1",
                                         "http://127.0.0.1:1");
    }

    void cleanup() { prefs.reset(); }

    void freshInstallHasNoApiNoSocketNoPolling() {
        Store store;
        QCOMPARE(store.serverURLString(), QString());
        QVERIFY(!store.api());
        QVERIFY(!store.linkOpen(0));
        QVERIFY(!store.hostPollRunning());
        QVERIFY(!store.token());
        QVERIFY(store.claudeCodeEnabled());
        QCOMPARE(store.design(), AppDesign::classic);
        QCOMPARE(store.accent(), AppAccent::blue);
    }

    void tokenWithoutPrimaryMigratesToDefaultServer() {
        Prefs::shared().setValue("token", "old-token");
        Store store;
        QCOMPARE(store.serverURLString(), Config::defaultServer());
        QCOMPARE(Prefs::shared().string("primaryBaseURL"), Config::defaultServer());
        QVERIFY(store.api());
        QCOMPARE(*store.api()->token, "old-token");
        QVERIFY(store.linkOpen(0)); // a logged-in launch opens the link at once
        QVERIFY(store.hostPollRunning());
    }

    void storedGuestAddressWins() {
        Prefs::shared().setValue("primaryBaseURL", "http://primary.example:8391");
        Prefs::shared().setValue("guestServerURL", "https://guest.example");
        QCOMPARE(Store().serverURLString(), "https://guest.example");
        Prefs::shared().setValue("guestServerURL", "");
        QCOMPARE(Store().serverURLString(), "http://primary.example:8391");
    }

    void unreadableMeIsAbsentButTheStoreStillConnects() {
        Prefs::shared().setValue("primaryBaseURL", "http://127.0.0.1:1");
        Prefs::shared().setValue("token", "t");
        Prefs::shared().setValue("me", QByteArray(R"({"id":"x"})"));
        Store store;
        QVERIFY(!store.me());
        QVERIFY(store.linkOpen(0));
    }

    void lookSettingsFallBackToTheFirstCase() {
        Prefs::shared().setValue("design", "Neon");
        Prefs::shared().setValue("accent", "Mint");
        Prefs::shared().setValue("transcriptionEngine", "whisper");
        Store store;
        QCOMPARE(store.design(), AppDesign::classic);
        QCOMPARE(store.accent(), AppAccent::mint);
        QCOMPARE(store.transcriptionEngine(), TranscriptionEngine::whisper);
        store.setAccent(AppAccent::peach);
        QCOMPARE(Prefs::shared().string("accent"), "Peach");
        QCOMPARE(store.accent(), AppAccent::peach);
    }

    void apiFromTheStoredAddress_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("base");
        QTest::newRow("blanks and one slash") << "  http://h:8391/ \n"
                                              << "http://h:8391";
        QTest::newRow("two slashes lose one") << "http://h:8391//"
                                              << "http://h:8391/";
        QTest::newRow("no scheme") << "box.local/api"
                                   << "";
        QTest::newRow("empty") << ""
                               << "";
    }

    void apiFromTheStoredAddress() {
        QFETCH(QString, stored);
        QFETCH(QString, base);
        Store store;
        seam(store).setServerURLString(stored);
        const auto api = store.api();
        QCOMPARE(api ? api->base.toString() : QString(), base);
    }

    void pinnedPlainAddressUpgrades() {
        Store store;
        seam(store).setServerURLString("http://h");
        PinRegistry::shared().setPin("fp", "h:80");
        QCOMPARE(store.api()->base.toString(), "https://h:80");
    }

    void sideEffectsRunOnlyOnChange() {
        Store store;
        int changes = 0;
        connect(&store, &Store::connectionChanged, this, [&] { ++changes; });
        store.setAppActive(true); // same value: nothing sent, nothing told
        QCOMPARE(changes, 0);
        store.setAppActive(false);
        QCOMPARE(changes, 1);

        store.openChatSettings(4);
        store.setSelectedChatId(4);
        QCOMPARE(store.chatSettingsChatId(), 4);
        store.setSelectedChatId(5);
        QVERIFY(!store.chatSettingsChatId());

        store.setMutedChats({3, 1});
        QCOMPARE(Prefs::shared().bytes("mutedChats"), QByteArray("[1,3]"));
        QCOMPARE(Store().mutedChats(), QSet<qint64>({1, 3}));

        store.setClaudeHostName(QString("studio"));
        QCOMPARE(Prefs::shared().string("claudeHostName"), "studio");
        store.setClaudeHostName(std::nullopt);
        QCOMPARE(Prefs::shared().string("claudeHostName"), QString());
    }

    void deviceKeyFlagHasOneFormForEveryServer() {
        const QUrl extra("http://h.example:8391");
        const QString older = "deviceKeyRegistered:http://h.example:8391";
        QVERIFY(!Store::keyRegistered(extra));
        // A flag an earlier build wrote under the whole address is adopted once.
        Prefs::shared().setValue(older, true);
        QVERIFY(Store::keyRegistered(extra));
        QVERIFY(!Prefs::shared().contains(older));
        QVERIFY(Store::keyRegistered(extra));
        // The plain and the TLS address of one server share the flag.
        QVERIFY(Store::keyRegistered(QUrl("https://h.example:8391/")));
        QVERIFY(!Store::keyRegistered(QUrl("http://h.example:8392")));
    }

    void deviceIdIsStable() {
        const QString id = Store::deviceId();
        QVERIFY(!QUuid::fromString(id).isNull());
        QCOMPARE(Store::deviceId(), id);
    }
};

QTEST_GUILESS_MAIN(TestLaunch)
#include "test_launch.moc"
