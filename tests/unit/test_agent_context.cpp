#include "agent/Context.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QTest>

using namespace fixtures;

// The context gauge, the idle advice and resets that keep continuity.
class TestAgentContext : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void tokenCounts_data() {
        QTest::addColumn<qint64>("tokens");
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << 999ll << "999";
        QTest::newRow("one decimal") << 1500ll << "1.5k";
        QTest::newRow("whole thousands") << 10000ll << "10k";
        QTest::newRow("rounded") << 123456ll << "123k";
    }

    void tokenCounts() {
        QFETCH(qint64, tokens);
        QFETCH(QString, text);
        QCOMPARE(fmtTokens(tokens), text);
    }

    void gaugeColourGoesFromGreenToRed() {
        QCOMPARE(ccContextColor(2.0), ccContextColor(1.0));
        QCOMPARE(ccContextColor(1.0).hsvHueF(), 0.0f);
        QVERIFY(qAbs(ccContextColor(-1).hsvHueF() - 0.33f) < 0.01f);
        QVERIFY(qAbs(ccContextColor(0.5).saturationF() - 0.85f) < 0.01f);
    }

    void idleAdvice_data() {
        QTest::addColumn<bool>("dismissed");
        QTest::addColumn<qint64>("ctx");
        QTest::addColumn<qint64>("activityAgo"); // -1: no activity known
        QTest::addColumn<bool>("shown");
        QTest::newRow("an hour") << false << 5000ll << 3600000ll << true;
        QTest::newRow("a second short") << false << 5000ll << 3599000ll << false;
        QTest::newRow("dismissed") << true << 5000ll << 7200000ll << false;
        QTest::newRow("empty context") << false << 0ll << 7200000ll << false;
        QTest::newRow("no activity data") << false << 900000ll << -1ll << false;
    }

    void idleAdvice() {
        QFETCH(bool, dismissed);
        QFETCH(qint64, ctx);
        QFETCH(qint64, activityAgo);
        QFETCH(bool, shown);
        const qint64 now = 10'000'000'000;
        QCOMPARE(showIdleReset(dismissed, ctx, activityAgo < 0 ? 0 : now - activityAgo, now),
                 shown);
        auto store = offlineStore();
        seam(store).ccContextStats()[sessionId] = {ctx, 0, 0, 0};
        if (activityAgo >= 0) seam(store).userActivity()[sessionId] = Store::nowMs() - activityAgo;
        seam(store).chats()[0].createdAt = 0;
        QCOMPARE(store->showIdleReset(sessionId, dismissed), shown);
    }

    void digestOfRecentMessages() {
        auto store = offlineStore();
        seam(store).agentId() = 5;
        Message image = message(10, meId, "");
        image.media = MediaInfo{"image", "/m/1.jpg", {}, {}, {}};
        Message other = message(13, 77, "hi all");
        other.senderName = "";
        seam(store).users() = {user(77, "Zoé")};
        seam(store).messages()[sessionId] = {
            message(9, meId, "too old"),
            image,
            message(11, 5, "Sure.\nCCTOK=1,2,3"),
            message(12, agentMember, "📸 Capture écran — step"),
            message(14, meId,
                    "\x02"
                    "CCCTL{}"),
            other,
        };
        const QString digest = store->recentDigest(sessionId, 4);
        QVERIFY(digest.startsWith("[Contexte réinitialisé pour économiser le quota. Voici un "
                                  "résumé des 3 derniers messages de notre conversation"));
        QVERIFY(digest.contains("Reprends le fil à partir de là.]\n\nMoi: [média]\n\nClaude: "
                                "Sure.\n\nZoé: hi all\n\n[Fin du résumé."));
        QVERIFY(!digest.contains("too old"));
        QVERIFY(digest.endsWith("[Fin du résumé. Mon message suivant ci-dessous.]"));
    }

    void resetSticksAgainstReplayedHistory() {
        HostEcho echo;
        auto store = storeOn(echo);
        seam(store).me()->username = "Ana";
        seam(store).messages()[sessionId] = {message(30, agentMember, "CCTOK=500,1,1,1"),
                                             message(-1, meId, "pending")};
        seam(store).chats()[0].lastMessage = message(35, agentMember, "newer than the loaded page");
        store->captureCCMarkers(store->messages()[sessionId].first());
        QCOMPARE(store->ccContext(sessionId)->ctx, 500);
        QCoro::waitFor(store->ccClearContext(sessionId, QString("seed text")));
        QCOMPARE(store->ccContext(sessionId), CCContextStat{});
        QCOMPARE(store->ccContextFloor().value(sessionId), 35);
        const QJsonObject request = requestsFor(echo, "clear").first();
        QCOMPARE(request.value("name").toString(), "Ana");
        QCOMPARE(request.value("seed").toString(), "seed text");
        store->captureCCMarkers(message(35, agentMember, "CCTOK=500,1,1,1"));
        QCOMPARE(store->ccContext(sessionId)->ctx, 0);
        store->captureCCMarkers(message(36, agentMember, "CCTOK=20,1,1,1"));
        QCOMPARE(store->ccContext(sessionId)->ctx, 20);
        // A lower floor never replaces a higher one; no seed, no field.
        seam(store).chats()[0].lastMessage.reset();
        QCoro::waitFor(store->ccClearContext(sessionId, std::nullopt));
        QCOMPARE(store->ccContextFloor().value(sessionId), 35);
        QVERIFY(!requestsFor(echo, "clear").last().contains("seed"));
        QCOMPARE(Store().ccContextFloor().value(sessionId), 35);
    }

    void healthPromptsAreTheThreeChecks() {
        QCOMPARE(healthPrompts().size(), 3);
        QCOMPARE(healthPrompts()[0].icon, "lock.shield");
        QVERIFY(healthPrompts()[0].text.contains("\n2) Server installation — "));
        QVERIFY(healthPrompts()[2].text.startsWith("🖥️ Server health check:"));
        QVERIFY(isScreenControlChatter("🎬 Séquence 2"));
        QVERIFY(!isScreenControlChatter(" 🎬 Séquence 2"));
    }
};

QTEST_GUILESS_MAIN(TestAgentContext)
#include "test_agent_context.moc"
