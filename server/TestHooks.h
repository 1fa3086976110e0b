#pragma once

// Instruments for the client's tests, on only with --test-hooks: a bootstrap
// reply held back until the test lets it go, so a live event can be made to
// overtake it; and a record of the requests that reached the server without
// TLS, with the token each carried, so a test can see what travelled in clear.

#include "Http.h"

#include <QHttpServerResponder>
#include <QJsonArray>
#include <QSet>
#include <memory>
#include <vector>

class QHttpServerRequest;
class QTcpSocket;
class Router;

class TestHooks {
public:
    // Notes a request on a plain connection, and its token (header or query).
    void observe(const QHttpServerRequest& request, QTcpSocket* socket);
    // Takes the reply to answer later when it is a bootstrap that is to be
    // held; false when the caller answers as usual.
    bool park(const HttpRequest& request, const HttpReply& reply, QHttpServerResponder& responder);
    // POST api/test/hold-bootstrap: the caller's next bootstrap waits.
    // GET api/test/held: how many wait. POST api/test/release: they go out.
    // GET api/test/plain-requests: {"requests":[{"path","token"}]}.
    void addRoutes(Router& router);

private:
    struct Parked {
        HttpReply reply;
        QHttpServerResponder responder;
    };
    QSet<qint64> m_holdFor;
    std::vector<std::unique_ptr<Parked>> m_parked;
    QJsonArray m_plainRequests;
};
