#pragma once

#include "ConnectionGuard.h"

#include <QAbstractHttpServer>

class Router;
class TestHooks;

// Turns Qt's HTTP requests into router calls and writes the replies. A
// WebSocket upgrade is let through to Qt's socket server only on the path "ws"
// with a valid token; the hub picks the socket up from there.
class HttpFront : public QAbstractHttpServer {
    Q_OBJECT
public:
    HttpFront(const Router& router, bool webSocket, qint64 maxUploadBytes,
              QObject* parent = nullptr);

    // Judges a request by its head, before its body is read: the size its
    // route allows, and a valid token for uploads and socket upgrades.
    std::optional<Refusal> screen(const RequestHead& head) const;

    // Bodies of routes that are not uploads stay below this.
    static constexpr qint64 kMaxPlainBody = 1024 * 1024;
    // Only a server started for tests has hooks.
    void setTestHooks(TestHooks* hooks) { m_hooks = hooks; }

protected:
    bool handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) override;
    void missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) override;

private:
    bool acceptsUpgrade(const QUrl& url) const;

    const Router& m_router;
    bool m_webSocket;
    qint64 m_maxUpload;
    TestHooks* m_hooks = nullptr;
};
