#pragma once

#include "Storage.h"

#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <functional>

class QWebSocket;

// One live event socket of a signed-in user.
struct Connection {
    QWebSocket* socket = nullptr;
    qint64 userId = 0;
    QString device;
    QString app;
    bool active = false; // the app is in front, as the client last said
};

// Holds the event sockets, keeps presence, and sends events to the sockets of
// the users they concern. Client frames other than "active" go to onFrame.
class WsHub : public QObject {
    Q_OBJECT
public:
    explicit WsHub(Storage& db, QObject* parent = nullptr);
    ~WsHub() override;

    // Takes ownership of an accepted socket of `user`.
    void attach(QWebSocket* socket, const UserRow& user, const QString& device, const QString& app);

    void sendToUsers(const QList<qint64>& userIds, const QJsonObject& event,
                     const QWebSocket* except = nullptr);
    void sendToUser(qint64 userId, const QJsonObject& event) { sendToUsers({userId}, event); }
    // Every online user allowed to see `subjectId`.
    void sendToAudienceOf(qint64 subjectId, const QJsonObject& event);

    QList<qint64> onlineIds() const;
    bool isOnline(qint64 userId) const { return m_socketCount.value(userId) > 0; }
    // A socket of the user whose app said it is in front.
    bool isActive(qint64 userId) const;

    std::function<void(const Connection&, const QJsonObject&)> onFrame;

private:
    void receive(QWebSocket* socket, const QString& text);
    void detach(QWebSocket* socket);
    void sendSnapshot(const Connection& conn);

    Storage& m_db;
    QHash<QWebSocket*, Connection> m_connections;
    QHash<qint64, int> m_socketCount;
};
