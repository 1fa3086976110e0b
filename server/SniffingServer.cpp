#include "SniffingServer.h"

#include <QSocketNotifier>
#include <QSslSocket>
#include <QTimer>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace {
// A client that connects and says nothing is dropped after this long.
constexpr int kFirstByteTimeoutMs = 15000;
constexpr int kHandshakeTimeoutMs = 15000;
constexpr char kTlsHandshakeRecord = 0x16;
} // namespace

SniffingServer::SniffingServer(QSslConfiguration tls, QObject* parent)
    : QTcpServer(parent), m_tls(std::move(tls)) {}

void SniffingServer::incomingConnection(qintptr descriptor) {
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
    deadline->start(kFirstByteTimeoutMs);
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
    socket->setSslConfiguration(m_tls);
    connect(socket, &QSslSocket::encrypted, this, [this, socket] {
        disconnect(socket, &QAbstractSocket::disconnected, this, nullptr);
        addPendingConnection(socket);
    });
    connect(socket, &QAbstractSocket::disconnected, this, [socket] { socket->deleteLater(); });
    connect(socket, &QAbstractSocket::errorOccurred, socket, [socket] {
        if (!socket->isEncrypted()) socket->abort();
    });
    QTimer::singleShot(kHandshakeTimeoutMs, socket, [socket] {
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
    addPendingConnection(socket);
}
