#include "HttpFront.h"

#include "Router.h"
#include "TestHooks.h"

#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QUrlQuery>

namespace {

QByteArray methodName(QHttpServerRequest::Method method) {
    switch (method) {
    case QHttpServerRequest::Method::Get:
        return "GET";
    case QHttpServerRequest::Method::Post:
        return "POST";
    case QHttpServerRequest::Method::Put:
        return "PUT";
    case QHttpServerRequest::Method::Patch:
        return "PATCH";
    case QHttpServerRequest::Method::Delete:
        return "DELETE";
    case QHttpServerRequest::Method::Head:
        return "HEAD";
    case QHttpServerRequest::Method::Options:
        return "OPTIONS";
    default:
        return "OTHER";
    }
}

QByteArray header(const QHttpServerRequest& request, const QByteArray& name) {
    for (const auto& [key, value] : request.headers())
        if (key.compare(name, Qt::CaseInsensitive) == 0) return value;
    return {};
}

bool isUpgrade(const QHttpServerRequest& request) {
    return header(request, "upgrade").compare("websocket", Qt::CaseInsensitive) == 0;
}

QString bearerToken(const QHttpServerRequest& request) {
    const QByteArray value = header(request, "authorization");
    static const QByteArray prefix = "Bearer ";
    if (!value.startsWith(prefix)) return {};
    return QString::fromUtf8(value.mid(prefix.size()).trimmed());
}

QString routePath(const QUrl& url) {
    QString path = url.path();
    while (path.startsWith(u'/'))
        path.remove(0, 1);
    return path;
}

void write(QHttpServerResponder& responder, const HttpReply& reply) {
    const auto status = static_cast<QHttpServerResponder::StatusCode>(reply.status);
    if (reply.headers.isEmpty()) {
        responder.write(reply.body, {{"Content-Type", reply.contentType}}, status);
        return;
    }
    responder.writeStatusLine(status);
    responder.writeHeader("Content-Type", reply.contentType);
    for (const auto& [name, value] : reply.headers)
        responder.writeHeader(name, value);
    responder.writeHeader("Content-Length", QByteArray::number(reply.body.size()));
    responder.writeBody(reply.body);
}

} // namespace

HttpFront::HttpFront(const Router& router, bool webSocket, qint64 maxUploadBytes, QObject* parent)
    : QAbstractHttpServer(parent), m_router(router), m_webSocket(webSocket),
      m_maxUpload(maxUploadBytes) {}

bool HttpFront::acceptsUpgrade(const QUrl& url) const {
    if (!m_webSocket || routePath(url) != QLatin1String("ws")) return false;
    const QString token =
        QUrlQuery(url).queryItemValue(QStringLiteral("token"), QUrl::FullyDecoded);
    return m_router.authenticate(token).has_value();
}

std::optional<Refusal> HttpFront::screen(const RequestHead& head) const {
    if (head.upgrade) {
        if (acceptsUpgrade(head.target)) return std::nullopt;
        return Refusal{401, QStringLiteral("unauthorized")};
    }
    if (head.chunked) return Refusal{411, QStringLiteral("send the body with a Content-Length")};
    if (head.contentLength <= kMaxPlainBody) return std::nullopt;
    if (!m_router.takesUpload(head.method, routePath(head.target)) ||
        head.contentLength > m_maxUpload)
        return Refusal{413, QStringLiteral("the request body is too large")};
    // Large bodies are read only for someone signed in.
    if (!m_router.authenticate(head.bearer)) return Refusal{401, QStringLiteral("unauthorized")};
    return std::nullopt;
}

bool HttpFront::handleRequest(const QHttpServerRequest& request, QTcpSocket* socket) {
    if (m_hooks) m_hooks->observe(request, socket);
    // Returning true for an upgrade hands the socket to the WebSocket server.
    if (isUpgrade(request)) return acceptsUpgrade(request.url());
    HttpRequest req;
    req.method = methodName(request.method());
    req.path = routePath(request.url());
    req.query = request.query();
    req.rawBody = request.body();
    req.peer = request.remoteAddress();
    req.bearer = bearerToken(request);
    req.host = header(request, "host");
    req.origin = header(request, "origin");
    req.contentType = header(request, "content-type");
    req.range = header(request, "range");
    QHttpServerResponder responder = makeResponder(request, socket);
    const HttpReply reply = m_router.dispatch(req);
    if (m_hooks && m_hooks->park(req, reply, responder)) return true;
    write(responder, reply);
    return true;
}

void HttpFront::missingHandler(const QHttpServerRequest& request, QTcpSocket* socket) {
    QHttpServerResponder responder = makeResponder(request, socket);
    if (isUpgrade(request) && m_webSocket && routePath(request.url()) == QLatin1String("ws"))
        write(responder, HttpReply::error(401, QStringLiteral("unauthorized")));
    else
        write(responder, HttpReply::error(404, QStringLiteral("not found")));
}
