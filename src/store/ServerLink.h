#pragma once

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <functional>

class QWebSocket;

// The live link to one server: its socket, the handshake (the link is up only
// at the first pong), a ping every 20 s that drops the link when a pong goes
// missing, and reconnecting with a delay that doubles from 1 s to 15 s.
// It carries text frames and knows nothing of what they mean.
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
    // and what it still delivers is dropped and reported once by staleFrame.
    void open(const QUrl& url);
    // Ends the socket at once, quietly; a scheduled reconnect still asks wanted.
    void close();
    // Sends while up; false when the frame could not go.
    bool send(const QJsonObject& payload);
    // Back-off: one wait at a time, each one doubling the next up to 15 s.
    void scheduleReconnect();

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
    // A retired socket delivered a frame; what it carried has to be fetched again.
    void staleFrame();
    // The back-off wait has passed and the link is still down: open it again.
    void reconnectDue();

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
    std::function<bool()> m_wanted;
    QPointer<QWebSocket> m_socket;
    bool m_up = false;
    bool m_pingOutstanding = false;
    double m_reconnectDelay = 1.0;
    bool m_reconnectScheduled = false;
    int m_attempts = 0;
};
