#include "Router.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <cstdio>

namespace {
const QString kIdSegment = QStringLiteral("<id>");
} // namespace

void Router::add(QByteArray method, const QString& pattern, Access access, Handler handler,
                 Body body) {
    m_routes.push_back(
        Route{std::move(method), pattern.split(u'/'), access, body, std::move(handler)});
}

bool Router::match(const Route& route, const QStringList& path, QList<qint64>& ids) {
    if (route.segments.size() != path.size()) return false;
    ids.clear();
    for (qsizetype i = 0; i < path.size(); ++i) {
        if (route.segments[i] != kIdSegment) {
            if (route.segments[i] != path[i]) return false;
            continue;
        }
        bool ok = false;
        const qint64 id = path[i].toLongLong(&ok);
        if (!ok || id <= 0 || path[i].startsWith(u'+')) return false;
        ids.push_back(id);
    }
    return true;
}

std::optional<Caller> Router::authenticate(const QString& token) const {
    if (token.isEmpty()) return std::nullopt;
    return m_auth(token);
}

bool Router::takesUpload(const QByteArray& method, const QString& path) const {
    const QStringList segments = path.split(u'/');
    QList<qint64> ids;
    for (const Route& route : m_routes)
        if (route.method == method && match(route, segments, ids)) return route.body == Body::Raw;
    return false;
}

HttpReply Router::dispatch(HttpRequest& request) const {
    const QStringList path = request.path.split(u'/');
    bool pathKnown = false;
    for (const Route& route : m_routes) {
        QList<qint64> ids;
        if (!match(route, path, ids)) continue;
        pathKnown = true;
        if (route.method != request.method) continue;
        request.ids = ids;
        return run(route, request);
    }
    if (pathKnown) return HttpReply::error(405, QStringLiteral("method not allowed"));
    return HttpReply::error(404, QStringLiteral("not found"));
}

HttpReply Router::run(const Route& route, HttpRequest& request) const {
    try {
        if (route.access == Access::Caller) {
            request.caller = authenticate(request.bearer);
            if (!request.caller) return HttpReply::error(401, QStringLiteral("unauthorized"));
        }
        if (route.body == Body::Json && !request.rawBody.trimmed().isEmpty()) {
            QJsonParseError err{};
            const QJsonDocument doc = QJsonDocument::fromJson(request.rawBody, &err);
            if (err.error != QJsonParseError::NoError || !doc.isObject())
                return HttpReply::error(400, QStringLiteral("the body must be a JSON object"));
            request.body = doc.object();
        }
        return route.handler(request);
    } catch (const HttpError& e) {
        return HttpReply::error(e.status(), e.message());
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: %s %s failed: %s\n", request.method.constData(),
                     qPrintable(request.path), e.what());
        return HttpReply::error(500, QStringLiteral("internal error"));
    }
}
