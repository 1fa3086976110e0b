#include "Server.h"

#include "Activity.h"
#include "Routes.h"
#include "SniffingServer.h"
#include "TestHooks.h"
#include "agent/AgentHost.h"
#include "agent/DemoSeed.h"

#include <QUrlQuery>
#include <QWebSocket>
#include <cstdio>

namespace {

// The address the agent host writes into links: loopback when the server
// listens on every address.
QString publicBase(const QHostAddress& listen, quint16 port) {
    const bool any = listen == QHostAddress::Any || listen == QHostAddress::AnyIPv4 ||
                     listen == QHostAddress::AnyIPv6;
    const QHostAddress shown = any ? QHostAddress(QHostAddress::LocalHost) : listen;
    const QString host = shown.protocol() == QAbstractSocket::IPv6Protocol
                             ? u'[' + shown.toString() + u']'
                             : shown.toString();
    return QStringLiteral("http://%1:%2").arg(host).arg(port);
}

} // namespace

Server::Server(ServerOptions options, QObject* parent)
    : QObject(parent), m_options(std::move(options)),
      m_identity(loadOrCreateIdentity(m_options.dataDir)), m_db(m_options.dataDir),
      m_hub(m_db, this), m_ctx{m_options, m_identity, m_db, m_hub, {}, {}, {}},
      m_router([this](const QString& token) { return authenticate(token); }),
      m_front(m_router, m_options.webSocket, m_options.maxUploadBytes, this) {
    addAuthRoutes(m_router, m_ctx);
    addSessionRoutes(m_router, m_ctx);
    addChatRoutes(m_router, m_ctx);
    addMessageRoutes(m_router, m_ctx);
    addMessageActionRoutes(m_router, m_ctx);
    addMediaRoutes(m_router, m_ctx);
    addGroupRoutes(m_router, m_ctx);
    addAvatarRoutes(m_router, m_ctx);
    addJoinPage(m_router, m_ctx);
    for (const QString& bot : m_options.bots)
        if (!m_db.userByName(bot)) m_db.createUser(bot, false, true);
    if (!m_options.owner.isEmpty()) m_ctx.ownerId = m_db.ownerAccount(m_options.owner);
    addAgentHostRoutes(m_router, m_ctx);
    if (m_options.testHooks) {
        m_hooks = std::make_unique<TestHooks>();
        m_hooks->addRoutes(m_router);
        m_front.setTestHooks(m_hooks.get());
    }
    if (m_options.agentHost) {
        m_agent = std::make_unique<AgentHost>(m_ctx);
        m_ctx.agentHost = m_agent.get();
    }
    m_hub.onFrame = [this](const Connection& conn, const QJsonObject& frame) {
        activity::handleFrame(m_ctx, conn, frame);
    };
    if (m_options.webSocket)
        connect(&m_front, &QAbstractHttpServer::newWebSocketConnection, this,
                &Server::acceptWebSockets);
}

Server::~Server() {
    m_ctx.agentHost = nullptr;
}

std::optional<Caller> Server::authenticate(const QString& token) {
    const auto user = m_db.userForToken(token, m_ctx.tokenMaxIdleMs());
    if (!user) return std::nullopt;
    return Caller{user->id, user->username, user->isGuest, user->isBot, token};
}

QString Server::listen() {
    const ConnectionGuard::Screen screen = [this](const RequestHead& head) {
        return m_front.screen(head);
    };
    m_main = new SniffingServer(m_identity.sslConfiguration(), screen, m_options.requestTimeoutMs,
                                &m_front);
    if (!m_main->listen(m_options.listen, m_options.port))
        return QStringLiteral("port %1: %2").arg(m_options.port).arg(m_main->errorString());
    m_front.bind(m_main);
    if (m_options.httpPort) {
        m_plain = new SniffingServer(std::nullopt, screen, m_options.requestTimeoutMs, &m_front);
        if (!m_plain->listen(m_options.listen, *m_options.httpPort))
            return QStringLiteral("port %1: %2")
                .arg(*m_options.httpPort)
                .arg(m_plain->errorString());
        m_front.bind(m_plain);
    }
    if (m_agent) {
        m_agent->setPublicBase(publicBase(m_options.listen, port()));
        // The demo's links need the port, so it is seeded once the server listens.
        if (m_options.seedDemo) seedDemo(*m_agent);
        m_agent->start();
    }
    return {};
}

quint16 Server::port() const {
    return m_main ? m_main->serverPort() : 0;
}

quint16 Server::httpPort() const {
    return m_plain ? m_plain->serverPort() : 0;
}

void Server::acceptWebSockets() {
    try {
        acceptPendingSockets();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: accepting a socket failed: %s\n", e.what());
    }
}

void Server::acceptPendingSockets() {
    while (m_front.hasPendingWebSocketConnections()) {
        std::unique_ptr<QWebSocket> socket = m_front.nextPendingWebSocketConnection();
        if (!socket) break;
        const QUrlQuery query(socket->requestUrl());
        const auto caller =
            authenticate(query.queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded));
        const auto user = caller ? m_db.user(caller->userId) : std::nullopt;
        if (!user) {
            // The close frame needs the event loop to go out before the socket goes.
            QWebSocket* refused = socket.release();
            refused->close(QWebSocketProtocol::CloseCodePolicyViolated,
                           QStringLiteral("unauthorized"));
            refused->deleteLater();
            continue;
        }
        m_hub.attach(socket.release(), *user,
                     query.queryItemValue(QStringLiteral("device"), QUrl::FullyDecoded),
                     query.queryItemValue(QStringLiteral("app"), QUrl::FullyDecoded));
    }
}
