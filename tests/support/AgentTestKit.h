#pragma once

#include "support/ServerClient.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QWebSocket>
#include <functional>
#include <optional>

// An event socket of a test user that keeps every frame it receives.
class EventSocket : public QObject {
public:
    EventSocket(const QString& base, const QString& token);
    bool waitConnected();
    // Waits up to `timeoutMs` for `done` to hold.
    static bool waitUntil(const std::function<bool()>& done, int timeoutMs = 15000);

    // Frames of a conversation, in arrival order: message events by their
    // message's conversation, the others by `chatId`.
    QList<QJsonObject> ofChat(qint64 chatId) const;
    const QList<QJsonObject>& frames() const { return m_frames; }

private:
    QWebSocket m_socket;
    QList<QJsonObject> m_frames;
};

namespace agentkit {

// Sends one control request into `chatId` the way the app does, and polls the
// conversation's latest messages for the reply with the same id.
std::optional<QJsonObject> request(ServerClient& client, qint64 chatId, const QString& op,
                                   const QString& path = {}, const QJsonObject& extra = {},
                                   int timeoutMs = 15000);

// The signed-in user's conversation with themselves, made when missing.
qint64 selfChat(ServerClient& client);
qint64 myId(ServerClient& client);
// The latest messages of a conversation, oldest first.
QJsonArray messages(ServerClient& client, qint64 chatId, int limit = 50);
qint64 send(ServerClient& client, qint64 chatId, const QString& text);

// Marker keys of the marker lines of a text, in order ("CCFOR", "CCTOK", ...).
QStringList markerKeys(const QString& text);

} // namespace agentkit
