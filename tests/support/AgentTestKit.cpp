#include "support/AgentTestKit.h"

#include <QJsonDocument>
#include <QTest>
#include <QUuid>

namespace {
const QString kControl = QStringLiteral("\x02"
                                        "CCCTL");
} // namespace

EventSocket::EventSocket(const QString& base, const QString& token) {
    QString url = base + QStringLiteral("/ws");
    url.replace(0, 4, QStringLiteral("ws")); // http -> ws, https -> wss
    QUrl target(url);
    target.setQuery(QUrlQuery{{QStringLiteral("token"), token},
                              {QStringLiteral("device"), QStringLiteral("test")},
                              {QStringLiteral("app"), QStringLiteral("1.0 (1)")}});
    connect(&m_socket, &QWebSocket::sslErrors, this, [this] { m_socket.ignoreSslErrors(); });
    connect(&m_socket, &QWebSocket::textMessageReceived, this, [this](const QString& text) {
        m_frames.push_back(QJsonDocument::fromJson(text.toUtf8()).object());
    });
    m_socket.open(target);
}

bool EventSocket::waitConnected() {
    return waitUntil([this] { return m_socket.state() == QAbstractSocket::ConnectedState; });
}

bool EventSocket::waitUntil(const std::function<bool()>& done, int timeoutMs) {
    return QTest::qWaitFor(done, timeoutMs);
}

QList<QJsonObject> EventSocket::ofChat(qint64 chatId) const {
    QList<QJsonObject> out;
    for (const QJsonObject& f : m_frames) {
        const QJsonObject message = f.value(QStringLiteral("message")).toObject();
        const qint64 chat = message.isEmpty() ? f.value(QStringLiteral("chatId")).toInteger()
                                              : message.value(QStringLiteral("chatId")).toInteger();
        if (chat == chatId) out.push_back(f);
    }
    return out;
}

namespace agentkit {

std::optional<QJsonObject> request(ServerClient& client, qint64 chatId, const QString& op,
                                   const QString& path, const QJsonObject& extra, int timeoutMs) {
    QJsonObject body = extra;
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    body.insert(QStringLiteral("id"), id);
    body.insert(QStringLiteral("op"), op);
    body.insert(QStringLiteral("kind"), QStringLiteral("q"));
    body.insert(QStringLiteral("path"), path);
    send(client, chatId,
         kControl + QString::fromUtf8(QJsonDocument(body).toJson(QJsonDocument::Compact)));
    std::optional<QJsonObject> reply;
    EventSocket::waitUntil(
        [&] {
            for (const QJsonValue& v : messages(client, chatId)) {
                const QString text = v.toObject().value(QStringLiteral("text")).toString();
                if (!text.startsWith(kControl)) continue;
                const QJsonObject obj =
                    QJsonDocument::fromJson(text.mid(kControl.size()).toUtf8()).object();
                if (obj.value(QStringLiteral("kind")).toString() == QLatin1String("r") &&
                    obj.value(QStringLiteral("id")).toString() == id)
                    reply = obj;
            }
            return reply.has_value();
        },
        timeoutMs);
    return reply;
}

qint64 myId(ServerClient& client) {
    return client.get(QStringLiteral("api/bootstrap"))
        .json.value(QStringLiteral("me"))
        .toObject()
        .value(QStringLiteral("id"))
        .toInteger();
}

qint64 selfChat(ServerClient& client) {
    const HttpResult r = client.post(QStringLiteral("api/chats"),
                                     {{QStringLiteral("kind"), QStringLiteral("direct")},
                                      {QStringLiteral("userId"), myId(client)}});
    return r.json.value(QStringLiteral("id")).toInteger();
}

QJsonArray messages(ServerClient& client, qint64 chatId, int limit) {
    return client
        .get(QStringLiteral("api/chats/%1/messages").arg(chatId),
             QUrlQuery{{QStringLiteral("limit"), QString::number(limit)}})
        .json.value(QStringLiteral("messages"))
        .toArray();
}

qint64 send(ServerClient& client, qint64 chatId, const QString& text) {
    return client
        .post(QStringLiteral("api/chats/%1/messages").arg(chatId), {{QStringLiteral("text"), text}})
        .json.value(QStringLiteral("id"))
        .toInteger();
}

QStringList markerKeys(const QString& text) {
    QStringList keys;
    for (const QString& line : text.split(u'\n'))
        if (line.startsWith(u'\x02') && line.contains(u'='))
            keys << line.mid(1, line.indexOf(u'=') - 1);
    return keys;
}

} // namespace agentkit
