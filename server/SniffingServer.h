#pragma once

#include "ConnectionGuard.h"

#include <QSslConfiguration>
#include <QTcpServer>
#include <optional>

// A listening socket that speaks TLS and plain HTTP on the same port. Clients
// move from http:// to https:// on the same host and port once they have
// pinned the server's key, so both must answer there. The first byte of each
// connection decides: 0x16 opens a TLS handshake record, anything else is
// plain HTTP. Sockets reach the HTTP server only once they are ready to carry
// requests (after the handshake for TLS), each watched by a ConnectionGuard.
// Without a TLS configuration the port speaks plain HTTP only.
class SniffingServer : public QTcpServer {
    Q_OBJECT
public:
    SniffingServer(std::optional<QSslConfiguration> tls, ConnectionGuard::Screen screen,
                   int timeoutMs, QObject* parent = nullptr);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void classify(qintptr descriptor, QObject* watch);
    void startTls(qintptr descriptor);
    void startPlain(qintptr descriptor);
    void hand(QTcpSocket* socket);

    std::optional<QSslConfiguration> m_tls;
    ConnectionGuard::Screen m_screen;
    int m_timeoutMs;
};
