#include "model/IDCodec.h"
#include "store/Store.h"
#include "support/AgentFixtures.h"
#include "support/StoreSeam.h"
#include "support/TestSupport.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTest>

using namespace fixtures;

namespace {
const QString ctl = QStringLiteral("\x02"
                                   "CCCTL");

QJsonObject bodyOf(const QString& text) {
    return QJsonDocument::fromJson(text.mid(ctl.size()).toUtf8()).object();
}
} // namespace

// The request/reply transport over ordinary messages, and the host platform.
class TestAgentControl : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> prefs;

private slots:
    void init() { prefs = std::make_unique<ScopedPrefs>(); }
    void cleanup() { prefs.reset(); }

    void fixedFieldsWinOverExtra() {
        const QJsonObject extra{{"id", "mine"},   {"op", "evil"}, {"kind", "r"},
                                {"path", "/etc"}, {"chatId", 5},  {"name", "x"}};
        const QString text = Store::ccRequestText("REQ-1", "stop", "", extra);
        QVERIFY(text.startsWith(ctl));
        QVERIFY(!text.mid(ctl.size()).startsWith(' ')); // the JSON follows directly
        const QJsonObject body = bodyOf(text);
        QCOMPARE(body.value("id").toString(), "REQ-1");
        QCOMPARE(body.value("op").toString(), "stop");
        QCOMPARE(body.value("kind").toString(), "q");
        QCOMPARE(body.value("path").toString(), "");
        QCOMPARE(body.value("chatId").toInteger(), 5);
        QCOMPARE(body.value("name").toString(), "x");
    }

    void chatIdAcceptsAnyJsonNumber_data() {
        QTest::addColumn<QJsonObject>("extra");
        QTest::addColumn<qint64>("expected"); // -1: absent
        const qint64 big = IDCodec::encode(123456789, 3);
        QTest::newRow("integer") << QJsonObject{{"chatId", QJsonValue(qint64(42))}} << qint64(42);
        QTest::newRow("double") << QJsonObject{{"chatId", 42.0}} << qint64(42);
        QTest::newRow("exact 64-bit") << QJsonObject{{"chatId", QJsonValue(big)}} << big;
        QTest::newRow("parsed text")
            << QJsonDocument::fromJson(QByteArray("{\"chatId\":") + QByteArray::number(big) + "}")
                   .object()
            << big;
        QTest::newRow("string") << QJsonObject{{"chatId", "42"}} << qint64(-1);
        QTest::newRow("absent") << QJsonObject{} << qint64(-1);
    }

    void chatIdAcceptsAnyJsonNumber() {
        QFETCH(QJsonObject, extra);
        QFETCH(qint64, expected);
        QCOMPARE(Store::ccRequestChatId(extra).value_or(-1), expected);
    }

    void replyIsFoundByIdAndKindOnly() {
        const QString id = "ABC";
        const QList<Message> page = {
            message(1, meId, Store::ccRequestText(id, "getprefs", "", {})), // our own echo
            message(2, 99, ctl + "not json at all"),
            message(3, 99, ctl + R"({"id":"OTHER","kind":"r","ok":false})"),
            message(4, 99, "an ordinary message"),
            message(5, 99, ctl + R"({"id":"ABC","kind":"r","ok":true})"),
            message(6, 99, ctl + R"({"id":"ABC","kind":"r","ok":"second"})"),
        };
        const auto reply = Store::ccFindReply(page, id);
        QVERIFY(reply);
        QCOMPARE(reply->value("ok"), QJsonValue(true));
        QVERIFY(!Store::ccFindReply(page.first(3), id));
    }

    void primaryRequestsGoToTheSelfConversation() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        QCoro::waitFor(store->ccStopSession(sessionId));
        QCOMPARE(echo.requestChats, QList<qint64>{selfId});
        const QJsonObject request = echo.requests.first();
        QCOMPARE(request.value("op").toString(), "stop");
        QCOMPARE(request.value("chatId").toInteger(), sessionId);
        QCOMPARE(request.value("path").toString(), "");
        QCOMPARE(store->claudeControlChatId(), std::optional<qint64>(selfId));
    }

    void missingSelfConversationIsCreatedOnce() {
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"ok", true}}; };
        auto store = storeOn(echo);
        seam(store).chats() = {session()};
        const auto first = QCoro::waitFor(store->ensureClaudeControlChat());
        QVERIFY(first);
        QVERIFY(store->chat(*first));
        QCOMPARE(QCoro::waitFor(store->ensureClaudeControlChat()), first);
        QCOMPARE(store->chats().size(), 2);
    }

    void replyOutsideTheLatestFiftyIsMissed_data() {
        QTest::addColumn<int>("noise");
        QTest::addColumn<bool>("found");
        QTest::newRow("49 newer") << 49 << true;
        QTest::newRow("60 newer") << 60 << false;
    }

    void replyOutsideTheLatestFiftyIsMissed() {
        QFETCH(int, noise);
        QFETCH(bool, found);
        HostEcho echo;
        echo.host = [](const QJsonObject&) { return QJsonObject{{"loggedIn", true}}; };
        echo.noiseAfterReply = noise;
        auto store = storeOn(echo);
        QCOMPARE(QCoro::waitFor(store->ccAuthStatus(sessionId)).has_value(), found);
    }

    void failedSendStillPollsTheWholeTime() {
        HostEcho echo;
        echo.failSends = true;
        auto store = storeOn(echo);
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!QCoro::waitFor(store->ccAuthStatus(sessionId)));
        // 75 polls of 0.4 s, scaled by 0.01.
        QVERIFY2(clock.elapsed() >= 300, qPrintable(QString::number(clock.elapsed())));
    }

    void noApiOrNoMeMeansNoRequest() {
        auto store = offlineStore();
        QVERIFY(!QCoro::waitFor(store->ccAuthStatus(sessionId)));
        HostEcho echo;
        auto anonymous = storeOn(echo);
        seam(anonymous).me().reset();
        seam(anonymous).chats() = {session()};
        QVERIFY(!QCoro::waitFor(anonymous->ccAuthStatus(sessionId)));
        QVERIFY(echo.messages.isEmpty());
    }

    void hostPlatformDecidesMacTools_data() {
        QTest::addColumn<QString>("platform"); // empty: unknown
        QTest::addColumn<bool>("mac");
        QTest::newRow("unknown") << "" << true;
        QTest::newRow("linux") << "linux" << false;
        QTest::newRow("exact test") << "Linux" << true;
        QTest::newRow("macos") << "macos" << true;
    }

    void hostPlatformDecidesMacTools() {
        QFETCH(QString, platform);
        QFETCH(bool, mac);
        auto store = offlineStore();
        if (!platform.isEmpty()) store->setServerPlatform({{0, platform}, {5, platform}});
        QCOMPARE(store->hostIsMac(5), mac);
        QCOMPARE(store->chatHasMacTools(sessionId), mac);
        // An extra server's conversation never has Mac tools.
        QVERIFY(!store->chatHasMacTools(IDCodec::encode(sessionId, 5)));
    }
};

QTEST_GUILESS_MAIN(TestAgentControl)
#include "test_agent_control.moc"
