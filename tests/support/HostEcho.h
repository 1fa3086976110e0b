#pragma once

// A loopback HTTP peer for the control channel: it keeps each conversation's
// messages, answers the message routes the client polls, and lets a test play
// the agent's host by answering control requests. Control traffic is ordinary
// messages, so this is all the client's side of the channel needs; the full
// reference server replaces it in the integration tests.

#include <QHash>
#include <QHttpServer>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <functional>
#include <optional>

class HostEcho : public QObject {
public:
    explicit HostEcho(qint64 meId = 1, QObject* parent = nullptr);

    QString url() const;

    // The host: the reply fields for a request (id and kind are added), or
    // nothing to stay silent.
    std::function<std::optional<QJsonObject>(const QJsonObject& request)> host;
    // Every control request as it arrived, and the conversation it went to.
    QList<QJsonObject> requests;
    QList<qint64> requestChats;
    // Stored messages, oldest first, per conversation id.
    QHash<qint64, QList<QJsonObject>> messages;
    // Sends fail with a server error and store nothing.
    bool failSends = false;
    // Ordinary messages posted right behind each reply, to push it out of
    // the window the client reads.
    int noiseAfterReply = 0;
    // GET api/claude/host: the record, or a server error when absent.
    std::optional<QJsonObject> hostStatus;
    int hostStatusCalls = 0;
    QJsonObject builds;
    QByteArray file;
    qint64 meId;
    qint64 hostUserId = 99;

    // A message by the host, as a live event or history would carry it.
    QJsonObject post(qint64 chatId, qint64 senderId, const QString& text);

private:
    QHttpServer m_server;
    quint16 m_port = 0;
    qint64 m_nextId = 1000;
};
