// The simulated agent host's turns in a session conversation, read back with
// the app's own marker readers: working message, progress, reply, queue
// order, priority, "now", "stop", builds and deploys.
#include "agent/Markers.h"
#include "model/Json.h"
#include "support/AgentTestKit.h"
#include "support/ServerProcess.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

Message decoded(const QJsonObject& frame) {
    return Message::fromJson(frame.value(QStringLiteral("message")).toObject());
}

QString typeOf(const QJsonObject& frame) {
    return frame.value(QStringLiteral("type")).toString();
}

} // namespace

class TestServerAgentTurns : public QObject {
    Q_OBJECT

    // The host's replies in the session so far, by the message they answer.
    QList<qint64> answered(const EventSocket& events) const {
        QList<qint64> out;
        for (const QJsonObject& f : events.ofChat(m_session))
            if (typeOf(f) == QLatin1String("message") && !decoded(f).isCCWorking() &&
                decoded(f).ccAnswersId())
                out << *decoded(f).ccAnswersId();
        return out;
    }

    bool waitAnswered(const EventSocket& events, qint64 messageId) const {
        return EventSocket::waitUntil([&] { return answered(events).contains(messageId); });
    }

    // The first working message that names `messageId`.
    std::optional<Message> workingFor(const EventSocket& events, qint64 messageId) const {
        for (const QJsonObject& f : events.ofChat(m_session))
            if (typeOf(f) == QLatin1String("message") && decoded(f).isCCWorking() &&
                decoded(f).ccWorkingMsgId() == messageId)
                return decoded(f);
        return std::nullopt;
    }

    bool waitWorking(const EventSocket& events, qint64 messageId) const {
        return EventSocket::waitUntil([&] { return workingFor(events, messageId).has_value(); });
    }

    QJsonObject replyFrame(const EventSocket& events, qint64 messageId) const {
        for (const QJsonObject& f : events.ofChat(m_session))
            if (typeOf(f) == QLatin1String("message") && decoded(f).ccAnswersId() == messageId)
                return f;
        return {};
    }

private slots:
    void initTestCase() {
        m_server = std::make_unique<ServerProcess>(ServerProcess::Options{
            {QStringLiteral("alice")},
            QStringLiteral("owner"),
            {QStringLiteral("--agent-host"), QStringLiteral("--agent-pace-ms"),
             QStringLiteral("100"), QStringLiteral("--agent-sandbox"), m_sandbox.path()}});
        QVERIFY2(m_server->start(), qPrintable(m_server->errorString()));
        m_owner.setBase(m_server->httpUrl());
        QVERIFY(!m_owner.login(QStringLiteral("owner")).isEmpty());
        m_self = agentkit::selfChat(m_owner);
        QDir(m_sandbox.path()).mkpath(QStringLiteral("app"));
        const auto created = agentkit::request(m_owner, m_self, QStringLiteral("new"),
                                               QStringLiteral("/app"), {{"perm", "ask"}});
        QVERIFY(created);
        m_session = created->value(QStringLiteral("chatId")).toInteger();
        QVERIFY(m_session > 0);
    }

    void turnWritesWorkingUpdatesAndReply() {
        EventSocket events(m_server->httpUrl(), m_owner.token());
        QVERIFY(events.waitConnected());
        const qint64 asked =
            agentkit::send(m_owner, m_session, QStringLiteral("Fix the login bug"));
        QVERIFY(waitAnswered(events, asked));
        const auto working = workingFor(events, asked);
        QVERIFY(working);
        QVERIFY(EventSocket::waitUntil([&] {
            for (const QJsonObject& f : events.ofChat(m_session))
                if (typeOf(f) == QLatin1String("messageDeleted") &&
                    f.value(QStringLiteral("messageId")).toInteger() == working->id)
                    return true;
            return false;
        }));
        // Working message, then its edits in place, then the reply, then it goes.
        const qint64 replyId = decoded(replyFrame(events, asked)).id;
        QStringList order;
        for (const QJsonObject& f : events.ofChat(m_session)) {
            const qint64 id = typeOf(f) == QLatin1String("messageDeleted")
                                  ? f.value(QStringLiteral("messageId")).toInteger()
                                  : decoded(f).id;
            if (id == working->id) order << typeOf(f);
            if (id == replyId) order << QStringLiteral("reply");
        }
        QVERIFY2(order.size() >= 4, qPrintable(order.join(u',')));
        QCOMPARE(order.first(), QStringLiteral("message"));
        QCOMPARE(order.mid(order.size() - 2), (QStringList{"reply", "messageDeleted"}));
        QCOMPARE(order.mid(1, order.size() - 3),
                 QStringList(order.size() - 3, QStringLiteral("messageUpdated")));

        QVERIFY(working->text.startsWith(QStringLiteral("💭 Claude is working…\n")));
        QCOMPARE(working->ccWorkingStartId().value_or(0), asked);
        QCOMPARE(working->ccSeenMsgId().value_or(0), asked);
        QVERIFY(!working->ccChromeActive() && !working->ccScreenshotActive());

        const Message reply = decoded(replyFrame(events, asked));
        QCOMPARE(agentkit::markerKeys(reply.text),
                 (QStringList{"CCFOR", "CCTOK", "CCMODEL", "CCEFF", "CCACCT", "CCDONE"}));
        const auto tokens = reply.ccContextTokens();
        QVERIFY(tokens && tokens->ctx > 0 && tokens->fresh > 0);
        QCOMPARE(tokens->ctx, tokens->warm + tokens->fresh + tokens->create);
        QCOMPARE(reply.ccModel().value_or(QString()), QStringLiteral("claude-fable-5"));
        QCOMPARE(reply.ccEffort().value_or(QString()), QStringLiteral("medium"));
        QVERIFY(reply.ccAccount().value_or(QString()).contains(u'@'));
        QCOMPARE(reply.ccDoneIds(), QList<qint64>{asked});
        QVERIFY(!reply.displayText().contains(QStringLiteral("CC")));
        QVERIFY(!reply.deployTarget());
        for (const QJsonObject& f : events.frames())
            QVERIFY(json::tryDecode<WsEvent>(QJsonDocument(f).toJson()));
    }

    void queueKeepsOrderAndPriorityJumps() {
        EventSocket events(m_server->httpUrl(), m_owner.token());
        QVERIFY(events.waitConnected());
        QList<qint64> sent;
        for (const char* text : {"one", "two", "three"})
            sent << agentkit::send(m_owner, m_session, QLatin1String(text));
        QVERIFY(waitAnswered(events, sent.last()));
        QCOMPARE(answered(events), sent);
        // While "one" ran, the others waited: the seen mark stays below them.
        QCOMPARE(workingFor(events, sent[0])->ccSeenMsgId().value_or(0), sent[0]);
        QCOMPARE(workingFor(events, sent[1])->ccWorkingStartId().value_or(0), sent[0]);

        const qint64 first = agentkit::send(m_owner, m_session, QStringLiteral("build it"));
        QVERIFY(waitWorking(events, first));
        const qint64 later = agentkit::send(m_owner, m_session, QStringLiteral("later"));
        const qint64 moved = agentkit::send(m_owner, m_session, QStringLiteral("moved"));
        const qint64 urgent = agentkit::send(m_owner, m_session,
                                             QStringLiteral("\x02"
                                                            "CCNOW urgent"));
        QVERIFY(agentkit::request(m_owner, m_self, QStringLiteral("now"), {},
                                  {{"chatId", m_session}, {"msgId", moved}})
                    ->value(QStringLiteral("ok"))
                    .toBool());
        QVERIFY(waitAnswered(events, later));
        QCOMPARE(answered(events).mid(3), (QList<qint64>{first, moved, urgent, later}));
        QVERIFY(workingFor(events, urgent)->ccSeenMsgId().value_or(later) < later);
    }

    void stopEndsTheTurnAndTheQueueGoesOn() {
        EventSocket events(m_server->httpUrl(), m_owner.token());
        QVERIFY(events.waitConnected());
        const qint64 deploy =
            agentkit::send(m_owner, m_session, QStringLiteral("deploy to staging"));
        const qint64 next = agentkit::send(m_owner, m_session, QStringLiteral("next"));
        QVERIFY(EventSocket::waitUntil([&] {
            for (const QJsonObject& f : events.ofChat(m_session))
                if (typeOf(f) == QLatin1String("buildStatus")) return true;
            return false;
        }));
        const auto stopped = agentkit::request(m_owner, m_session, QStringLiteral("stop"), {},
                                               {{"chatId", m_session}});
        QVERIFY(stopped && stopped->value(QStringLiteral("stopped")).toBool());
        QVERIFY(waitAnswered(events, next));
        const Message reply = decoded(replyFrame(events, deploy));
        QVERIFY(reply.text.startsWith(QStringLiteral("⏹ Stopped")));
        QCOMPARE(reply.ccDoneIds(), QList<qint64>{deploy});
        QVERIFY(!reply.deployTarget());
        QString lastState;
        for (const QJsonObject& f : events.ofChat(m_session))
            if (typeOf(f) == QLatin1String("buildStatus"))
                lastState = f.value(QStringLiteral("state")).toString();
        QCOMPARE(lastState, QStringLiteral("idle"));
        QVERIFY(
            !agentkit::request(m_owner, m_self, QStringLiteral("stop"), {}, {{"chatId", m_session}})
                 ->value(QStringLiteral("stopped"))
                 .toBool());
    }

    void deployReportsBuildsAndTarget() {
        EventSocket events(m_server->httpUrl(), m_owner.token());
        QVERIFY(events.waitConnected());
        const qint64 asked = agentkit::send(m_owner, m_session, QStringLiteral("Build and deploy"));
        QVERIFY(waitAnswered(events, asked));
        QStringList states;
        qint64 lastPercent = -1;
        for (const QJsonObject& f : events.ofChat(m_session)) {
            if (typeOf(f) != QLatin1String("buildStatus")) continue;
            const QString state = f.value(QStringLiteral("state")).toString();
            if (states.isEmpty() || states.last() != state) lastPercent = -1;
            if (states.isEmpty() || states.last() != state) states << state;
            const qint64 percent = f.value(QStringLiteral("percent")).toInteger(-1);
            QVERIFY(percent >= lastPercent);
            lastPercent = percent;
        }
        QCOMPARE(states, (QStringList{"building", "deploying", "done"}));
        const auto target = decoded(replyFrame(events, asked)).deployTarget();
        QVERIFY(target);
        QCOMPARE(target->kind, QStringLiteral("web"));
        QCOMPARE(target->label.value_or(QString()), QStringLiteral("Staging"));
        // The preview is served by this server, to anyone who has the link.
        const QUrl url(target->url);
        QCOMPARE(url.host(), QStringLiteral("127.0.0.1"));
        QCOMPARE(url.port(), int(m_server->port()));
        ServerClient anyone(url.scheme() + QStringLiteral("://") + url.authority());
        QCOMPARE(anyone.get(url.path().mid(1), QUrlQuery(url)).status, 200);
        QVERIFY(m_owner.get(QStringLiteral("api/builds"))
                    .json.value(QStringLiteral("builds"))
                    .toObject()
                    .isEmpty());
    }

private:
    QTemporaryDir m_sandbox;
    std::unique_ptr<ServerProcess> m_server;
    ServerClient m_owner{QString()};
    qint64 m_self = 0;
    qint64 m_session = 0;
};

QTEST_GUILESS_MAIN(TestServerAgentTurns)
#include "test_server_agent_turns.moc"
