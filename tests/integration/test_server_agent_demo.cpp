// The seeded demo: what the owner finds after the first start, that the
// agent sessions come alive, and that a second start seeds nothing again.
#include "agent/Markers.h"
#include "model/Json.h"
#include "support/AgentTestKit.h"
#include "support/ServerProcess.h"

#include <QDateTime>
#include <QTest>

namespace {

const ChatSummary* titled(const BootstrapResponse& boot, const QString& title) {
    for (const ChatSummary& c : boot.chats)
        if (c.title == title) return &c;
    return nullptr;
}

QList<Message> history(ServerClient& client, qint64 chatId) {
    QList<Message> out;
    for (const QJsonValue& v : agentkit::messages(client, chatId, 200))
        out << Message::fromJson(v.toObject());
    return out;
}

// The share of a window that has passed, from its reset time.
double elapsedShare(const ClaudeUsageWindow& w, double windowSeconds) {
    const double left = QDateTime::currentDateTimeUtc().secsTo(*w.resetDate());
    return 100.0 * std::clamp(1.0 - left / windowSeconds, 0.0, 1.0);
}

} // namespace

class TestServerAgentDemo : public QObject {
    Q_OBJECT

    BootstrapResponse bootstrap() {
        return json::decode<BootstrapResponse>(m_owner.get(QStringLiteral("api/bootstrap")).body);
    }

private slots:
    void initTestCase() {
        m_server = std::make_unique<ServerProcess>(
            ServerProcess::Options{{},
                                   QStringLiteral("demo"),
                                   {QStringLiteral("--seed-demo"),
                                    QStringLiteral("--agent-pace-ms"), QStringLiteral("20")},
                                   true});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_owner.setBase(m_server->httpUrl());
        // The owner is whoever signs in with an empty name from this machine.
        QVERIFY(!m_owner.login(QString()).isEmpty());
    }

    void ownerFindsPeopleGroupsAndSessions() {
        const BootstrapResponse boot = bootstrap();
        QCOMPARE(boot.me.username, QStringLiteral("demo"));
        for (const char* title :
             {"Design crew", "Release train", "velmarin-web", "infra", "mobile-app"})
            QVERIFY2(titled(boot, QLatin1String(title)), title);
        QCOMPARE(
            std::count_if(boot.chats.begin(), boot.chats.end(),
                          [](const ChatSummary& c) { return !c.title && c.members.size() == 2; }),
            2);
        const QList<Message> design =
            history(m_owner, titled(boot, QStringLiteral("Design crew"))->id);
        const auto has = [&](const std::function<bool(const Message&)>& test) {
            return std::any_of(design.begin(), design.end(), test);
        };
        QVERIFY(has([](const Message& m) { return m.text.contains(QStringLiteral("|---|")); }));
        QVERIFY(has([](const Message& m) { return m.text.contains(QStringLiteral("https://")); }));
        QVERIFY(has([](const Message& m) { return m.replyTo.has_value(); }));
        const auto album = std::find_if(design.begin(), design.end(),
                                        [](const Message& m) { return m.album.has_value(); });
        QVERIFY(album != design.end() && album->album->size() == 3);
        const HttpResult picture = m_owner.get(album->album->front().url.mid(1));
        QCOMPARE(picture.status, 200);
        QVERIFY(picture.body.startsWith("\xFF\xD8\xFF"));
    }

    void sessionsShowTheirStates() {
        const BootstrapResponse boot = bootstrap();
        const ChatSummary* infra = titled(boot, QStringLiteral("infra"));
        QVERIFY(infra && infra->lastMessage);
        QVERIFY(infra->lastMessage->ccContextTokens()->ctx > 500000);
        QVERIFY(QDateTime::currentMSecsSinceEpoch() - infra->lastMessage->createdAt > 3600 * 1000);
        QCOMPARE(boot.claudeHost->chatAccounts->value(QString::number(infra->id)),
                 QStringLiteral("team@velmarin.test"));

        const qint64 busy = titled(boot, QStringLiteral("mobile-app"))->id;
        QVERIFY(EventSocket::waitUntil([&] {
            const QList<Message> messages = history(m_owner, busy);
            return !messages.isEmpty() && messages.last().isCCWorking();
        }));
        const Message working = history(m_owner, busy).last();
        // Those queued behind it stay above the seen mark: the app shows them as waiting.
        QVERIFY(working.ccWorkingMsgId().has_value());
        QCOMPARE(working.ccSeenMsgId().value_or(0), *working.ccWorkingMsgId());

        const qint64 deploying = titled(boot, QStringLiteral("velmarin-web"))->id;
        QVERIFY(history(m_owner, deploying).last().deployTarget().has_value());
        QVERIFY(EventSocket::waitUntil([&] {
            return m_owner.get(QStringLiteral("api/builds"))
                .json.value(QStringLiteral("builds"))
                .toObject()
                .contains(QString::number(deploying));
        }));

        const ClaudeUsage usage = *boot.claudeHost->usage;
        QVERIFY(usage.fiveHour->utilization.value() > elapsedShare(*usage.fiveHour, 5 * 3600) + 1);
        QVERIFY(usage.sevenDay->utilization.value() > elapsedShare(*usage.sevenDay, 7 * 86400) + 1);
    }

    void secondStartSeedsNothing() {
        const auto people = [this] {
            QStringList out;
            const BootstrapResponse boot = bootstrap();
            for (const User& u : boot.users)
                out << u.username;
            for (const ChatSummary& c : boot.chats)
                if (c.kind == QLatin1String("group") || !c.title)
                    out << QString::number(c.id) + u':' +
                               QString::number(history(m_owner, c.id).size());
            return out;
        };
        const QStringList before = people();
        const qsizetype chats = bootstrap().chats.size();
        QVERIFY(m_server->restart());
        QVERIFY(!m_owner.login(QString()).isEmpty());
        QCOMPARE(people(), before);
        QCOMPARE(bootstrap().chats.size(), chats);
    }

private:
    std::unique_ptr<ServerProcess> m_server;
    ServerClient m_owner{QString()};
};

QTEST_GUILESS_MAIN(TestServerAgentDemo)
#include "test_server_agent_demo.moc"
