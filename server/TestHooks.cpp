#include "TestHooks.h"

#include "Router.h"

#include <QHttpServerRequest>
#include <QSslSocket>

namespace {

QString credentialOf(const QHttpServerRequest& request) {
    for (const auto& [key, value] : request.headers())
        if (key.compare("authorization", Qt::CaseInsensitive) == 0 && value.startsWith("Bearer "))
            return QString::fromUtf8(value.mid(7).trimmed());
    return request.query().queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded);
}

void answer(QHttpServerResponder& responder, const HttpReply& reply) {
    responder.write(reply.body, {{"Content-Type", reply.contentType}},
                    static_cast<QHttpServerResponder::StatusCode>(reply.status));
}

} // namespace

void TestHooks::observe(const QHttpServerRequest& request, QTcpSocket* socket) {
    if (qobject_cast<QSslSocket*>(socket)) return;
    m_plainRequests.append(QJsonObject{{QStringLiteral("path"), request.url().path()},
                                       {QStringLiteral("token"), credentialOf(request)}});
}

bool TestHooks::park(const HttpRequest& request, const HttpReply& reply,
                     QHttpServerResponder& responder) {
    if (request.path != QLatin1String("api/bootstrap") || !request.caller ||
        !m_holdFor.remove(request.caller->userId))
        return false;
    m_parked.push_back(std::make_unique<Parked>(Parked{reply, std::move(responder)}));
    return true;
}

void TestHooks::addRoutes(Router& router) {
    router.post(QStringLiteral("api/test/hold-bootstrap"), [this](const HttpRequest& r) {
        m_holdFor.insert(r.me().userId);
        return HttpReply::ok();
    });
    router.add("GET", QStringLiteral("api/test/held"), Router::Access::Public,
               [this](const HttpRequest&) {
                   return HttpReply::json({{QStringLiteral("held"), qint64(m_parked.size())}});
               });
    router.add("POST", QStringLiteral("api/test/release"), Router::Access::Public,
               [this](const HttpRequest&) {
                   const qint64 released = qint64(m_parked.size());
                   for (const auto& parked : m_parked)
                       answer(parked->responder, parked->reply);
                   m_parked.clear();
                   return HttpReply::json({{QStringLiteral("released"), released}});
               });
    router.add("GET", QStringLiteral("api/test/plain-requests"), Router::Access::Public,
               [this](const HttpRequest&) {
                   return HttpReply::json({{QStringLiteral("requests"), m_plainRequests}});
               });
}
