#pragma once

#include <QAbstractHttpServer>

class Router;
class TestHooks;

// Turns Qt's HTTP requests into router calls and writes the replies. A
// WebSocket upgrade is let through to Qt's socket server only on the path "ws"
// with a valid token; the hub picks the socket up from there.
class HttpFront : public QAbstractHttpServer {
    Q_OBJECT
public:
    HttpFront(const Router& router, bool webSocket, QObject* parent = nullptr);
    // Only a server started for tests has hooks.
    void setTestHooks(TestHooks* hooks) { m_hooks = hooks; }

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    bool acceptsUpgrade(const QHttpServerRequest& request) const;

    const Router& m_router;
    bool m_webSocket;
    TestHooks* m_hooks = nullptr;
};
