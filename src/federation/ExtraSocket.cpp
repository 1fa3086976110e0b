// One live link per extra server, independent of the primary's and of each
// other. A socket is current only while it is the one in `extraWS[server]`;
// callbacks of a replaced or closed socket end quietly.

#include "model/IDCodec.h"
#include "net/Pinning.h"
#include "net/StrictUtf8.h"
#include "store/Store.h"

#include <QJsonDocument>
#include <QWebSocket>

namespace {
const char* const kHandshakeDone = "velmarinHandshakeDone";
const char* const kPingOutstanding = "velmarinPingOutstanding";
constexpr double pingInterval = 20.0;
constexpr double maxReconnectDelay = 15.0;
} // namespace

void Store::connectExtraWSIfNeeded(int server) {
    if (extraWS.value(server)) return;
    const auto serverApi = apiFor(server);
    const auto url = serverApi ? serverApi->wsURL() : std::nullopt;
    if (!url) return;
    auto* socket = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
    extraWS.insert(server, socket);
    PinningDelegate::prepare(socket, *url);
    connect(socket, &QWebSocket::connected, socket, [socket] { socket->ping(); });
    connect(socket, &QWebSocket::pong, this,
            [this, server, socket] { onExtraPong(server, socket); });
    extraReceiveLoop(server, socket);
    socket->open(*url);
}

void Store::onExtraPong(int server, QWebSocket* socket) {
    if (extraWS.value(server) != socket) return;
    socket->setProperty(kPingOutstanding, false);
    if (socket->property(kHandshakeDone).toBool()) return;
    socket->setProperty(kHandshakeDone, true);
    const QJsonObject frame{{QStringLiteral("type"), QStringLiteral("active")},
                            {QStringLiteral("active"), appActive()}};
    socket->sendTextMessage(QString::fromUtf8(QJsonDocument(frame).toJson(QJsonDocument::Compact)));
    extraWSConnected.insert(server, true);
    extraReconnectDelay.insert(server, 1.0);
    emit connectionChanged();
    extraPingLoop(server, socket);
    // Catch up at once with whatever happened while the link was down.
    [](QPointer<Store> self, int server) -> QCoro::Task<> {
        if (!self) co_return;
        if (const ServerProfile* profile = self->extraServer(server)) {
            auto call = self->connectServer(*profile);
            co_await call;
            if (!self) co_return;
        }
        const auto selected = self->selectedChatId();
        if (selected && IDCodec::serverId(*selected) == server) {
            auto call = self->refreshExtraChat(*selected);
            co_await call;
        }
    }(QPointer<Store>(this), server);
}

void Store::extraReceiveLoop(int server, QWebSocket* socket) {
    connect(socket, &QWebSocket::textMessageReceived, this,
            [this, server, socket](const QString& text) {
                if (extraWS.value(server) == socket) handleEvent(text, server);
            });
    connect(socket, &QWebSocket::binaryMessageReceived, this,
            [this, server, socket](const QByteArray& bytes) {
                if (extraWS.value(server) != socket) return;
                if (const auto text = strictUtf8(bytes)) handleEvent(*text, server);
            });
    connect(socket, &QWebSocket::disconnected, this,
            [this, server, socket] { dropExtraWS(server, socket); });
    connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this,
            [this, server, socket] { dropExtraWS(server, socket); });
}

void Store::extraPingLoop(int server, QWebSocket* socket) {
    [](QPointer<Store> self, int server, QPointer<QWebSocket> task) -> QCoro::Task<> {
        while (true) {
            co_await self->sleep(pingInterval);
            if (!self || !task || self->extraWS.value(server) != task) co_return;
            // A peer that went silent never answers: a missing pong is a failed ping.
            if (task->property(kPingOutstanding).toBool()) {
                self->dropExtraWS(server, task);
                co_return;
            }
            task->setProperty(kPingOutstanding, true);
            task->ping();
        }
    }(QPointer<Store>(this), server, QPointer<QWebSocket>(socket));
}

void Store::dropExtraWS(int server, QWebSocket* socket) {
    if (!socket || extraWS.value(server) != socket) return;
    extraWS.remove(server);
    socket->disconnect(this);
    socket->close(QWebSocketProtocol::CloseCodeGoingAway);
    socket->deleteLater();
    extraWSConnected.insert(server, false);
    scheduleExtraReconnect(server);
    emit connectionChanged();
}

void Store::closeExtraWS(int server) {
    if (QWebSocket* socket = extraWS.take(server).data()) {
        socket->disconnect(this);
        socket->close(QWebSocketProtocol::CloseCodeGoingAway);
        socket->deleteLater();
    }
    extraWSConnected.insert(server, false);
    emit connectionChanged();
}

void Store::scheduleExtraReconnect(int server) {
    if (extraReconnectScheduled.contains(server)) return;
    extraReconnectScheduled.insert(server);
    const double delay = extraReconnectDelay.value(server, 1.0);
    extraReconnectDelay.insert(server, std::min(delay * 2.0, maxReconnectDelay));
    [](QPointer<Store> self, int server, double seconds) -> QCoro::Task<> {
        co_await self->sleep(seconds);
        if (!self) co_return;
        self->extraReconnectScheduled.remove(server);
        // A server removed meanwhile stays gone.
        if (self->extraServer(server) && !self->extraWS.value(server))
            self->connectExtraWSIfNeeded(server);
    }(QPointer<Store>(this), server, delay);
}
