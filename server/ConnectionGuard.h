#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class QTcpSocket;
class QTimer;

// What a request says about itself before its body is read.
struct RequestHead {
    QByteArray method;
    QUrl target;
    QString bearer;
    qint64 contentLength = 0;
    bool chunked = false;
    bool upgrade = false;
};

// A refusal written straight to the socket, which is then closed.
struct Refusal {
    int status = 400;
    QString message;
};

// Watches the bytes of one HTTP connection before Qt's parser buffers them:
// a head larger than the cap, a body larger than the screen allows, or a
// request that does not arrive in time ends the connection at once. The
// screen decides per request head (size per route, a token for uploads).
// Once a WebSocket upgrade is let through, the socket is the hub's.
class ConnectionGuard : public QObject {
    Q_OBJECT
public:
    using Screen = std::function<std::optional<Refusal>(const RequestHead&)>;
    static constexpr qsizetype kMaxHeadBytes = 16 * 1024;
    // Slowest body accepted: the timeout plus one second per this many bytes.
    static constexpr qint64 kMinBodyBytesPerSecond = 16 * 1024;

    // Guards `socket` from now on; it must be called before anyone else
    // connects to the socket's readyRead.
    static void watch(QTcpSocket* socket, const Screen& screen, int timeoutMs);

private:
    ConnectionGuard(QTcpSocket* socket, const Screen& screen, int timeoutMs);
    void onReadable();
    // Consumes what belongs to the current request; false when the connection ended.
    bool step(const QByteArray& data, qsizetype& at);
    bool finishHead();
    void refuse(const Refusal& refusal);
    void restartDeadline(qint64 ms);
    void release();

    QTcpSocket* m_socket;
    Screen m_screen;
    int m_timeoutMs;
    QTimer* m_deadline;
    QByteArray m_head;
    qint64 m_bodyLeft = -1; // -1: reading a head
    bool m_refused = false;
};
