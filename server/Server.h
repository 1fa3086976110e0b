#pragma once

#include "Context.h"
#include "HttpFront.h"
#include "Router.h"

#include <QObject>

class AgentHost;
class SniffingServer;
class TestHooks;

// The whole server: identity, storage, event hub and the HTTP front on its
// listening sockets.
class Server : public QObject {
    Q_OBJECT
public:
    // Throws std::runtime_error when the data directory cannot be used.
    explicit Server(ServerOptions options, QObject* parent = nullptr);
    ~Server() override;

    // Opens the ports; an error text when one cannot be opened.
    QString listen();
    quint16 port() const;
    quint16 httpPort() const;
    const QString& fingerprint() const { return m_identity.fingerprint; }

private:
    std::optional<Caller> authenticate(const QString& token);
    void acceptWebSockets();
    void acceptPendingSockets();

    ServerOptions m_options;
    ServerIdentity m_identity;
    Storage m_db;
    WsHub m_hub;
    Context m_ctx;
    Router m_router;
    HttpFront m_front;
    std::unique_ptr<AgentHost> m_agent;
    std::unique_ptr<TestHooks> m_hooks;
    SniffingServer* m_main = nullptr;
    SniffingServer* m_plain = nullptr;
};
