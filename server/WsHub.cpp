#include "WsHub.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QWebSocket>
#include <algorithm>
#include <cstdio>

namespace {

constexpr quint64 kMaxFrameBytes = 64 * 1024;

QString encode(const QJsonObject& event) {
    return QString::fromUtf8(QJsonDocument(event).toJson(QJsonDocument::Compact));
}

QJsonObject presence(qint64 userId, bool online, std::optional<qint64> lastSeen) {
    QJsonObject event{{QStringLiteral("type"), QStringLiteral("presence")},
                      {QStringLiteral("userId"), userId},
                      {QStringLiteral("online"), online}};
    if (lastSeen) event.insert(QStringLiteral("lastSeen"), *lastSeen);
    return event;
}

} // namespace

WsHub::WsHub(Storage& db, QObject* parent) : QObject(parent), m_db(db) {}

WsHub::~WsHub() {
    const auto sockets = m_connections.keys();
    m_connections.clear();
    for (QWebSocket* socket : sockets) {
        socket->disconnect(this);
        delete socket;
    }
}

void WsHub::attach(QWebSocket* socket, const UserRow& user, const QString& device,
                   const QString& app) {
    socket->setParent(this);
    // Clients send small frames (reads, typing); a larger one ends the socket.
    socket->setMaxAllowedIncomingFrameSize(kMaxFrameBytes);
    socket->setMaxAllowedIncomingMessageSize(kMaxFrameBytes);
    try {
        m_db.setClientInfo(user.id, device, app);
    } catch (...) {
        socket->close(QWebSocketProtocol::CloseCodeAbnormalDisconnection);
        socket->deleteLater();
        throw;
    }
    const Connection conn{socket, user.id, device, app, false};
    m_connections.insert(socket, conn);
    connect(socket, &QWebSocket::textMessageReceived, this,
            [this, socket](const QString& text) { receive(socket, text); });
    connect(socket, &QWebSocket::binaryMessageReceived, this,
            [this, socket](const QByteArray& b) { receive(socket, QString::fromUtf8(b)); });
    connect(socket, &QWebSocket::disconnected, this, [this, socket] { detach(socket); });
    sendSnapshot(conn);
    if (++m_socketCount[user.id] == 1) sendToAudienceOf(user.id, presence(user.id, true, {}));
}

void WsHub::sendSnapshot(const Connection& conn) {
    QJsonArray ids;
    for (qint64 id : onlineIds())
        if (id == conn.userId || m_db.canSee(conn.userId, id)) ids.append(id);
    if (!ids.contains(conn.userId)) ids.append(conn.userId);
    conn.socket->sendTextMessage(encode(QJsonObject{
        {QStringLiteral("type"), QStringLiteral("presenceSnapshot")},
        {QStringLiteral("onlineIds"), ids},
    }));
}

void WsHub::detach(QWebSocket* socket) {
    const auto it = m_connections.find(socket);
    if (it == m_connections.end()) return;
    const qint64 userId = it->userId;
    m_connections.erase(it);
    socket->deleteLater();
    if (--m_socketCount[userId] > 0) return;
    m_socketCount.remove(userId);
    const qint64 at = Storage::now();
    try {
        m_db.setLastSeen(userId, at);
        sendToAudienceOf(userId, presence(userId, false, at));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: presence update failed: %s\n", e.what());
    }
}

void WsHub::receive(QWebSocket* socket, const QString& text) {
    const auto it = m_connections.find(socket);
    if (it == m_connections.end()) return;
    const QJsonDocument doc = QJsonDocument::fromJson(text.toUtf8());
    if (!doc.isObject()) return; // not a frame of ours
    const QJsonObject frame = doc.object();
    if (frame.value(QStringLiteral("type")).toString() == QLatin1String("active")) {
        it->active = frame.value(QStringLiteral("active")).toBool();
        return;
    }
    if (onFrame) onFrame(*it, frame);
}

void WsHub::sendToUsers(const QList<qint64>& userIds, const QJsonObject& event,
                        const QWebSocket* except) {
    const QString text = encode(event);
    for (const Connection& conn : std::as_const(m_connections))
        if (conn.socket != except && userIds.contains(conn.userId))
            conn.socket->sendTextMessage(text);
}

void WsHub::sendToAudienceOf(qint64 subjectId, const QJsonObject& event) {
    QList<qint64> audience;
    for (qint64 id : onlineIds())
        if (m_db.canSee(id, subjectId)) audience.push_back(id);
    sendToUsers(audience, event);
}

bool WsHub::isActive(qint64 userId) const {
    return std::any_of(m_connections.begin(), m_connections.end(),
                       [userId](const Connection& c) { return c.userId == userId && c.active; });
}

QList<qint64> WsHub::onlineIds() const {
    QList<qint64> ids = m_socketCount.keys();
    std::sort(ids.begin(), ids.end());
    return ids;
}
