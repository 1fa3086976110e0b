#pragma once

#include <QSslConfiguration>
#include <QTcpServer>

// A listening socket that speaks TLS and plain HTTP on the same port. Clients
// move from http:// to https:// on the same host and port once they have
// pinned the server's key, so both must answer there. The first byte of each
// connection decides: 0x16 opens a TLS handshake record, anything else is
// plain HTTP. Sockets reach the HTTP server only once they are ready to carry
// requests (after the handshake for TLS).
class SniffingServer : public QTcpServer {
    Q_OBJECT
public:
    SniffingServer(QSslConfiguration tls, QObject* parent = nullptr);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void classify(qintptr descriptor, QObject* watch);
    void startTls(qintptr descriptor);
    void startPlain(qintptr descriptor);

    QSslConfiguration m_tls;
};
