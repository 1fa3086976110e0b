#include "SniffingServer.h"

#include <QSocketNotifier>
#include <QSslSocket>
#include <QTimer>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace {
constexpr char kTlsHandshakeRecord = 0x16;
} // namespace

SniffingServer::SniffingServer(std::optional<QSslConfiguration> tls, ConnectionGuard::Screen screen,
                               int timeoutMs, QObject* parent)
    : QTcpServer(parent), m_tls(std::move(tls)), m_screen(std::move(screen)),
      m_timeoutMs(timeoutMs) {}

void SniffingServer::incomingConnection(qintptr descriptor) {
    if (!m_tls) {
        startPlain(descriptor);
        return;
    }
    // One small object per waiting connection owns its notifier and deadline;
    // deleting it stops both before the descriptor changes hands.
    auto* watch = new QObject(this);
    auto* notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, watch);
    auto* deadline = new QTimer(watch);
    deadline->setSingleShot(true);
    connect(notifier, &QSocketNotifier::activated, watch,
            [this, descriptor, watch] { classify(descriptor, watch); });
    connect(deadline, &QTimer::timeout, watch, [descriptor, watch] {
        delete watch;
        ::close(static_cast<int>(descriptor));
    });
    // A client that connects and says nothing is dropped.
    deadline->start(m_timeoutMs);
}

void SniffingServer::classify(qintptr descriptor, QObject* watch) {
    char first = 0;
    const ssize_t got = ::recv(static_cast<int>(descriptor), &first, 1, MSG_PEEK | MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    delete watch;
    if (got <= 0) {
        ::close(static_cast<int>(descriptor));
        return;
    }
    if (first == kTlsHandshakeRecord)
        startTls(descriptor);
    else
        startPlain(descriptor);
}

void SniffingServer::startTls(qintptr descriptor) {
    auto* socket = new QSslSocket(this);
    if (!socket->setSocketDescriptor(descriptor)) {
        ::close(static_cast<int>(descriptor));
        delete socket;
        return;
    }
    socket->setSslConfiguration(*m_tls);
    connect(socket, &QSslSocket::encrypted, this, [this, socket] {
        disconnect(socket, &QAbstractSocket::disconnected, this, nullptr);
        hand(socket);
    });
    connect(socket, &QAbstractSocket::disconnected, this, [socket] { socket->deleteLater(); });
    connect(socket, &QAbstractSocket::errorOccurred, socket, [socket] {
        if (!socket->isEncrypted()) socket->abort();
    });
    QTimer::singleShot(m_timeoutMs, socket, [socket] {
        if (!socket->isEncrypted()) socket->abort();
    });
    socket->startServerEncryption();
}

void SniffingServer::startPlain(qintptr descriptor) {
    auto* socket = new QTcpSocket(this);
    if (!socket->setSocketDescriptor(descriptor)) {
        ::close(static_cast<int>(descriptor));
        delete socket;
        return;
    }
    hand(socket);
}

void SniffingServer::hand(QTcpSocket* socket) {
    // The guard reads first: Qt's parser only sees bytes it let through.
    ConnectionGuard::watch(socket, m_screen, m_timeoutMs);
    addPendingConnection(socket);
}
