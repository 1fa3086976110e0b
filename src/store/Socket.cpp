// The primary server's live link: opened, proven by a first ping, drained
// into the event handler, pinged every 20 s, and reconnected with a growing
// delay. A socket is current only while it is identical to `ws`; callbacks of
// a replaced socket end quietly.

#include "net/Pinning.h"
#include "net/StrictUtf8.h"
#include "store/Store.h"

#include <QJsonDocument>
#include <QTimer>
#include <QWebSocket>

namespace {
const char* const kHandshakeDone = "velmarinHandshakeDone";
const char* const kPingOutstanding = "velmarinPingOutstanding";
const char* const kRetired = "velmarinRetired";
constexpr double pingInterval = 20.0;
constexpr double maxReconnectDelay = 15.0;
constexpr std::chrono::milliseconds retiredSocketGrace{10000};
} // namespace

void Store::connectWS() {
    const auto primary = api();
    const auto url = primary ? primary->wsURL() : std::nullopt;
    if (!url) return;
    if (QWebSocket* old = ws.data()) {
        ws = nullptr;
        retireSocket(old);
    }
    // The link is down until the new socket's first pong, whatever the old one was.
    wsConnected = false;
    auto* socket = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
    ws = socket;
    PinningDelegate::prepare(socket, *url);
    // The first ping is the handshake: the link counts as up only at its pong.
    connect(socket, &QWebSocket::connected, socket, [socket] { socket->ping(); });
    connect(socket, &QWebSocket::pong, this, [this, socket] {
        if (ws != socket) return;
        socket->setProperty(kPingOutstanding, false);
        if (socket->property(kHandshakeDone).toBool()) return;
        socket->setProperty(kHandshakeDone, true);
        onFirstPong(socket);
    });
    receiveLoop(socket);
    socket->open(*url);
    emit connectionChanged();
}

QCoro::Task<> Store::onFirstPong(QPointer<QWebSocket> socket) {
    QPointer<Store> self(this);
    wsConnected = true;
    reconnectDelay = 1.0;
    emit connectionChanged();
    sendActive(appActive());
    co_await resync();
    if (!self) co_return;
    co_await flushPendingPrefs();
    if (!self) co_return;
    // The resync may outlast this socket; the loop ends by itself for a replaced one.
    if (socket) pingLoop(socket);
    startHostStatusPolling();
}

// A socket being replaced may still deliver what the server sent before it
// saw the close. Handling it beside the new socket's copy would count it
// twice, so it is dropped and a resync follows, which carries it.
void Store::retireSocket(QWebSocket* socket) {
    socket->setProperty(kRetired, true);
    connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(retiredSocketGrace, socket,
                       &QObject::deleteLater); // a peer that never closes
    socket->close(QWebSocketProtocol::CloseCodeGoingAway);
}

void Store::receiveLoop(QWebSocket* socket) {
    const auto frame = [this, socket](const QString& text) {
        if (ws == socket) {
            handleEvent(text, 0);
        } else if (socket->property(kRetired).toBool() && token) {
            socket->setProperty(kRetired, false); // one resync covers the rest of its frames
            [](QPointer<Store> self) -> QCoro::Task<> {
                if (self) co_await self->resync();
            }(QPointer<Store>(this));
        }
    };
    connect(socket, &QWebSocket::textMessageReceived, this, frame);
    connect(socket, &QWebSocket::binaryMessageReceived, this, [frame](const QByteArray& bytes) {
        if (const auto text = strictUtf8(bytes)) frame(*text);
    });
    // A refused connection, a failed handshake and a dropped link all end here.
    connect(socket, &QWebSocket::disconnected, this, [this, socket] { dropSocket(socket); });
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this,
            [this, socket] { dropSocket(socket); });
}

void Store::dropSocket(QWebSocket* socket) {
    if (ws != socket) return;
    if (wsConnected) {
        wsConnected = false;
        emit connectionChanged();
    }
    scheduleReconnect();
}

void Store::pingLoop(QWebSocket* socket) {
    [](QPointer<Store> self, QPointer<QWebSocket> task) -> QCoro::Task<> {
        while (true) {
            co_await self->sleep(pingInterval);
            if (!self || !task || self->ws != task) co_return;
            // A peer that went silent never answers: treat the missing pong as a failed ping.
            if (task->property(kPingOutstanding).toBool()) {
                self->wsConnected = false;
                emit self->connectionChanged();
                task->close(QWebSocketProtocol::CloseCodeGoingAway);
                self->scheduleReconnect();
                co_return;
            }
            task->setProperty(kPingOutstanding, true);
            task->ping();
        }
    }(QPointer<Store>(this), QPointer<QWebSocket>(socket));
}

void Store::scheduleReconnect() {
    if (!token || reconnectScheduled) return;
    reconnectScheduled = true;
    const double wait = reconnectDelay;
    reconnectDelay = std::min(reconnectDelay * 2.0, maxReconnectDelay);
    [](QPointer<Store> self, double seconds) -> QCoro::Task<> {
        co_await self->sleep(seconds);
        if (!self) co_return;
        self->reconnectScheduled = false;
        if (self->token && !self->wsConnected) self->connectWS();
    }(QPointer<Store>(this), wait);
}

void Store::sendWS(const QJsonObject& payload) {
    if (!wsConnected || !ws) return;
    ws->sendTextMessage(QString::fromUtf8(QJsonDocument(payload).toJson(QJsonDocument::Compact)));
}

void Store::sendActive(bool active) {
    const QJsonObject frame{{QStringLiteral("type"), QStringLiteral("active")},
                            {QStringLiteral("active"), active}};
    sendWS(frame);
    const QString text = QString::fromUtf8(QJsonDocument(frame).toJson(QJsonDocument::Compact));
    for (auto it = extraWS.begin(); it != extraWS.end(); ++it)
        if (it.value() && extraWSConnected.value(it.key())) it.value()->sendTextMessage(text);
}

void Store::ensureConnected() {
    startBuildPolling();
    for (const ServerProfile& profile : extraServers())
        if (!extraWSConnected.value(profile.serverId)) connectExtraWSIfNeeded(profile.serverId);
    if (token && !wsConnected) connectWS();
}
