#pragma once

#include "Http.h"

#include <QStringList>
#include <functional>
#include <vector>

// The route table. A pattern is a path without leading slash whose segments
// are literals or `<id>`, a positive decimal number handed to the handler in
// HttpRequest::ids. Routes that need a caller get a checked bearer token.
class Router {
public:
    enum class Access { Public, Caller };
    enum class Body { Json, Raw };
    using Handler = std::function<HttpReply(const HttpRequest&)>;
    using Authenticator = std::function<std::optional<Caller>(const QString& token)>;

    explicit Router(Authenticator auth) : m_auth(std::move(auth)) {}

    void add(QByteArray method, const QString& pattern, Access access, Handler handler,
             Body body = Body::Json);
    void get(const QString& pattern, Handler h) {
        add("GET", pattern, Access::Caller, std::move(h));
    }
    void post(const QString& pattern, Handler h) {
        add("POST", pattern, Access::Caller, std::move(h));
    }
    void patch(const QString& pattern, Handler h) {
        add("PATCH", pattern, Access::Caller, std::move(h));
    }
    void del(const QString& pattern, Handler h) {
        add("DELETE", pattern, Access::Caller, std::move(h));
    }

    // Answers one request; never throws.
    HttpReply dispatch(HttpRequest& request) const;

    // Whether the route of this method and path takes a raw (upload) body.
    bool takesUpload(const QByteArray& method, const QString& path) const;

    // The caller named by an "Authorization: Bearer" value, if any.
    std::optional<Caller> authenticate(const QString& token) const;

private:
    struct Route {
        QByteArray method;
        QStringList segments;
        Access access;
        Body body;
        Handler handler;
    };
    static bool match(const Route& route, const QStringList& path, QList<qint64>& ids);
    HttpReply run(const Route& route, HttpRequest& request) const;

    Authenticator m_auth;
    std::vector<Route> m_routes;
};
