// A socket is current only while it is `m_socket`; callbacks of a replaced or
// discarded one end quietly, apart from the one stale-frame report.

#include "store/ServerLink.h"

#include "net/Pinning.h"
#include "net/StrictUtf8.h"

#include <QCoroTask>
#include <QCoroTimer>
#include <QJsonDocument>
#include <QTimer>
#include <QWebSocket>

namespace {
const char* const kRetired = "velmarinRetired";
constexpr double pingInterval = 20.0;
constexpr double maxReconnectDelay = 15.0;
constexpr std::chrono::milliseconds retiredSocketGrace{10000};
} // namespace

ServerLink::ServerLink(double timeScale, QObject* parent)
    : QObject(parent), m_timeScale(timeScale) {}

ServerLink::~ServerLink() {
    discard();
}

void ServerLink::open(const QUrl& url) {
    if (QWebSocket* old = m_socket.data()) {
        m_socket = nullptr;
        retire(old);
    }
    // Down until the new socket's first pong, whatever the old one was.
    m_up = false;
    m_pingOutstanding = false;
    auto* socket = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
    m_socket = socket;
    ++m_attempts;
    PinningDelegate::prepare(socket, url);
    wire(socket);
    socket->open(url);
}

void ServerLink::close() {
    discard();
    m_up = false;
}

bool ServerLink::send(const QJsonObject& payload) {
    if (!m_up || !m_socket) return false;
    m_socket->sendTextMessage(
        QString::fromUtf8(QJsonDocument(payload).toJson(QJsonDocument::Compact)));
    return true;
}

void ServerLink::wire(QWebSocket* socket) {
    // The first ping is the handshake.
    connect(socket, &QWebSocket::connected, socket, [socket] { socket->ping(); });
    connect(socket, &QWebSocket::pong, this, [this, socket] { onPong(socket); });
    connect(socket, &QWebSocket::textMessageReceived, this,
            [this, socket](const QString& text) { onFrame(socket, text); });
    connect(socket, &QWebSocket::binaryMessageReceived, this,
            [this, socket](const QByteArray& bytes) {
                if (const auto text = strictUtf8(bytes)) onFrame(socket, *text);
            });
    // A refused connection, a failed handshake and a dropped link all end here.
    connect(socket, &QWebSocket::disconnected, this, [this, socket] { onLost(socket); });
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this,
            [this, socket] { onLost(socket); });
}

void ServerLink::onPong(QWebSocket* socket) {
    if (socket != m_socket) return;
    m_pingOutstanding = false;
    if (m_up) return;
    m_up = true;
    m_reconnectDelay = 1.0;
    pingLoop(socket);
    emit up();
}

void ServerLink::onFrame(QWebSocket* socket, const QString& text) {
    if (socket == m_socket) {
        emit frame(text);
    } else if (socket->property(kRetired).toBool()) {
        socket->setProperty(kRetired, false); // one report covers the rest of its frames
        emit staleFrame();
    }
}

void ServerLink::onLost(QWebSocket* socket) {
    if (socket != m_socket) return;
    // Told from inside the socket's own teardown: closing it again from here
    // would write into a connection that is being taken apart.
    m_socket = nullptr;
    socket->disconnect(this);
    socket->deleteLater();
    const bool wasUp = m_up;
    m_up = false;
    // The wait is scheduled first, so whoever hears of the loss sees the next delay.
    scheduleReconnect();
    emit down(wasUp);
}

void ServerLink::pingLoop(QWebSocket* socket) {
    [](QPointer<ServerLink> self, QPointer<QWebSocket> task) -> QCoro::Task<> {
        while (true) {
            co_await QCoro::sleepFor(std::chrono::milliseconds(self->scaledMs(pingInterval)));
            if (!self || !task || self->m_socket != task) co_return;
            // A peer that went silent never answers: a missing pong is a failed ping.
            if (self->m_pingOutstanding) {
                task->abort();
                self->onLost(task);
                co_return;
            }
            self->m_pingOutstanding = true;
            task->ping();
        }
    }(QPointer<ServerLink>(this), QPointer<QWebSocket>(socket));
}

// A socket being replaced may still deliver what the server sent before it
// saw the close. Handling it beside the new socket's copy would count it
// twice, so it is dropped and reported, and the owner fetches it again.
void ServerLink::retire(QWebSocket* socket) {
    socket->setProperty(kRetired, true);
    connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(retiredSocketGrace, socket,
                       &QObject::deleteLater); // a peer that never closes
    socket->close(QWebSocketProtocol::CloseCodeGoingAway);
}

void ServerLink::discard() {
    QWebSocket* socket = m_socket.data();
    if (!socket) return;
    m_socket = nullptr;
    socket->disconnect(this);
    socket->close(QWebSocketProtocol::CloseCodeGoingAway);
    socket->deleteLater();
}

void ServerLink::scheduleReconnect() {
    if (m_reconnectScheduled || !wanted()) return;
    m_reconnectScheduled = true;
    const double wait = m_reconnectDelay;
    m_reconnectDelay = std::min(m_reconnectDelay * 2.0, maxReconnectDelay);
    [](QPointer<ServerLink> self, qint64 ms) -> QCoro::Task<> {
        co_await QCoro::sleepFor(std::chrono::milliseconds(ms));
        if (!self) co_return;
        self->m_reconnectScheduled = false;
        if (!self->m_up && self->wanted()) emit self->reconnectDue();
    }(QPointer<ServerLink>(this), scaledMs(wait));
}
