#pragma once

#include "net/Api.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>
#include <optional>

class QWebSocket;

// The live link to one server: its address and token, its socket, the
// handshake (the link is up only at the first pong), a ping every 20 s that
// drops the link when a pong goes missing, reconnecting with a delay that
// doubles from 1 s to 15 s, and the schedule of polling for a server that is
// followed without a socket. It carries text frames and knows nothing of what
// they mean.
class ServerLink : public QObject {
    Q_OBJECT

public:
    // Waits (ping interval, back-off) are multiplied by timeScale, as tests shrink them.
    explicit ServerLink(double timeScale = 1.0, QObject* parent = nullptr);
    ~ServerLink() override;

    // Whether the owner still wants the link; asked before a reconnect is
    // scheduled and again when its wait has passed. Without one, always.
    void setWanted(std::function<bool()> wanted) { m_wanted = std::move(wanted); }

    // A new socket to url. One that was there is retired: it closes politely,
    // and what it still holds unread is dropped with it, reported by staleFrame.
    void open(const QUrl& url);
    // Ends the socket at once, quietly; a scheduled reconnect still asks wanted.
    void close();
    // Sends while up; false when the frame could not go.
    bool send(const QJsonObject& payload);
    // Back-off: one wait at a time, each one doubling the next up to 15 s.
    void scheduleReconnect();

    // Where the server is, as given; calls go to its pinned TLS form once the
    // server's key is pinned. Both emit endpointChanged on a real change.
    void setBase(std::optional<QUrl> base);
    void setToken(std::optional<QString> token);
    const std::optional<QUrl>& base() const { return m_base; }
    const std::optional<QString>& token() const { return m_token; }
    // Absent while the address is.
    std::optional<Api> api() const;

    // One round of polling. `bootstrap` asks for the whole picture as well;
    // `current` turns false once polling stops or restarts, and the round
    // checks it after each of its fetches.
    using PollRound = std::function<QCoro::Task<>(bool bootstrap, std::function<bool()> current)>;
    // Rounds a second apart, each second counted from the end of the last
    // round; every 15th is a bootstrap round. Restarts the count.
    void startPolling(PollRound round);
    void stopPolling();
    bool isPolling() const { return m_polling; }
    // Right after a send: a round at once, then after 0.4, 0.9 and 1.5 s, as
    // long as `wanted` holds before each.
    void burst(std::function<bool()> wanted, std::function<QCoro::Task<>()> round);

    bool isUp() const { return m_up; }
    // A socket exists: opening, up, or not yet told that it failed.
    bool hasSocket() const { return !m_socket.isNull(); }
    double reconnectDelay() const { return m_reconnectDelay; }
    bool reconnectScheduled() const { return m_reconnectScheduled; }
    // How many sockets have been opened, for telling attempts apart.
    int attempts() const { return m_attempts; }

signals:
    // The current socket answered its first ping.
    void up();
    // The current socket is gone: refused, failed, closed or silent. wasUp
    // tells a lost link from an attempt that never came up.
    void down(bool wasUp);
    void frame(const QString& text);
    // A connected socket was replaced: what it held unread is lost with it and
    // has to be fetched again. Told after open() has returned.
    void staleFrame();
    // The back-off wait has passed and the link is still down: open it again.
    void reconnectDue();
    void endpointChanged();

private:
    void wire(QWebSocket* socket);
    void onPong(QWebSocket* socket);
    void onFrame(QWebSocket* socket, const QString& text);
    void onLost(QWebSocket* socket);
    void pingLoop(QWebSocket* socket);
    void retire(QWebSocket* socket);
    void discard();
    bool wanted() const { return !m_wanted || m_wanted(); }
    qint64 scaledMs(double seconds) const { return qint64(seconds * 1000.0 * m_timeScale); }

    double m_timeScale;
    std::optional<QUrl> m_base;
    std::optional<QString> m_token;
    std::function<bool()> m_wanted;
    QPointer<QWebSocket> m_socket;
    bool m_up = false;
    bool m_pingOutstanding = false;
    double m_reconnectDelay = 1.0;
    bool m_reconnectScheduled = false;
    int m_attempts = 0;
    quint64 m_pollGeneration = 0;
    bool m_polling = false;
};
