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
constexpr double pingInterval = 20.0;
constexpr double maxReconnectDelay = 15.0;
constexpr std::chrono::milliseconds retiredSocketGrace{10000};
constexpr double pollInterval = 1.0;
constexpr int bootstrapEveryRounds = 15;
constexpr double burstWaits[] = {0.0, 0.4, 0.9, 1.5};
} // namespace

ServerLink::ServerLink(double timeScale, QObject* parent)
    : QObject(parent), m_timeScale(timeScale) {}

ServerLink::~ServerLink() {
    discard();
}

void ServerLink::setBase(std::optional<QUrl> base) {
    if (m_base == base) return;
    m_base = std::move(base);
    emit endpointChanged();
}

void ServerLink::setToken(std::optional<QString> token) {
    if (m_token == token) return;
    m_token = std::move(token);
    emit endpointChanged();
}

std::optional<Api> ServerLink::api() const {
    if (!m_base) return std::nullopt;
    // Asked at each call, so a pin learnt since moves the calls onto TLS at once.
    return Api(PinRegistry::shared().upgraded(*m_base), m_token);
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
    // A replaced socket's frames were reported when it was retired.
    if (socket == m_socket) emit frame(text);
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

// A socket being replaced may hold frames the server wrote before it saw the
// close. Closing drops them, and one handled beside the new socket's copy
// would count twice anyway, so none is passed on: a connected socket's
// retirement is reported once, and the owner fetches what it held again.
void ServerLink::retire(QWebSocket* socket) {
    const bool couldHold = socket->state() == QAbstractSocket::ConnectedState;
    connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(retiredSocketGrace, socket,
                       &QObject::deleteLater); // a peer that never closes
    socket->close(QWebSocketProtocol::CloseCodeGoingAway);
    if (couldHold) QMetaObject::invokeMethod(this, &ServerLink::staleFrame, Qt::QueuedConnection);
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

void ServerLink::startPolling(PollRound round) {
    stopPolling();
    m_polling = true;
    [](QPointer<ServerLink> self, quint64 generation, PollRound round) -> QCoro::Task<> {
        const std::function<bool()> current = [self, generation] {
            return self && self->m_pollGeneration == generation;
        };
        for (int tick = 1; current(); ++tick) {
            co_await QCoro::sleepFor(std::chrono::milliseconds(self->scaledMs(pollInterval)));
            if (!current()) co_return;
            co_await round(tick % bootstrapEveryRounds == 0, current);
        }
    }(QPointer<ServerLink>(this), m_pollGeneration, std::move(round));
}

void ServerLink::stopPolling() {
    ++m_pollGeneration;
    m_polling = false;
}

void ServerLink::burst(std::function<bool()> wanted, std::function<QCoro::Task<>()> round) {
    [](QPointer<ServerLink> self, std::function<bool()> wanted,
       std::function<QCoro::Task<>()> round) -> QCoro::Task<> {
        for (double wait : burstWaits) {
            if (!self) co_return;
            if (wait > 0) co_await QCoro::sleepFor(std::chrono::milliseconds(self->scaledMs(wait)));
            if (!self || !wanted()) co_return;
            co_await round();
        }
    }(QPointer<ServerLink>(this), std::move(wanted), std::move(round));
}
