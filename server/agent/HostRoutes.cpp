// The agent host's REST side: its status and a runner's announcement, and
// the pages and files it hands out by address (downloads, sign-in, the
// staging preview of a deploy, the demo's pictures).
#include "Router.h"
#include "agent/AgentHost.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <memory>

namespace {

// A runner that announced itself less than this long ago counts as online.
constexpr qint64 kAnnouncementLifetimeMs = 30 * 1000;

struct Announcement {
    QString mac;
    qint64 at = 0;
};

HttpReply page(const QString& html) {
    HttpReply reply;
    reply.body = html.toUtf8();
    reply.contentType = "text/html; charset=utf-8";
    return reply;
}

HttpReply bytes(const QByteArray& data, const QByteArray& type) {
    HttpReply reply;
    reply.body = data;
    reply.contentType = type;
    return reply;
}

QByteArray readWhole(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) throw HttpError(404, QStringLiteral("not found"));
    return file.readAll();
}

QString queryText(const HttpRequest& req, const QString& key) {
    return req.query.queryItemValue(key, QUrl::FullyDecoded);
}

HttpReply hostStatus(Context& ctx, const Announcement& seen, const HttpRequest& req) {
    if (req.me().isGuest) throw HttpError(403, QStringLiteral("guests do not see the host"));
    if (ctx.agentHost) return HttpReply::json(ctx.agentHost->status(req.me().userId));
    QJsonObject host{{QStringLiteral("online"),
                      seen.at > 0 && Storage::now() - seen.at < kAnnouncementLifetimeMs}};
    if (!seen.mac.isEmpty()) {
        host.insert(QStringLiteral("mac"), seen.mac);
        host.insert(QStringLiteral("platform"), ctx.options.platform);
    }
    return HttpReply::json(host);
}

HttpReply announce(Context& ctx, Announcement& seen, const HttpRequest& req) {
    if (!req.me().isBot && !ctx.isOwner(req.me().userId))
        throw HttpError(403, QStringLiteral("only the agent host announces itself"));
    seen.mac = body::requireString(req.body, QStringLiteral("mac")).trimmed().left(128);
    seen.at = Storage::now();
    return HttpReply::ok();
}

AgentHost& requireHost(Context& ctx) {
    if (!ctx.agentHost) throw HttpError(404, QStringLiteral("not found"));
    return *ctx.agentHost;
}

HttpReply preview(const HttpRequest& req) {
    const QString project = queryText(req, QStringLiteral("p")).left(100).toHtmlEscaped();
    return page(QStringLiteral(
                    "<!doctype html><html><head><meta charset=\"utf-8\"><title>%1 — staging</title>"
                    "</head><body style=\"font-family:sans-serif;margin:3em\"><h1>%1</h1>"
                    "<p>Staging build of %2, served by the simulated agent host.</p>"
                    "<button>Get started</button></body></html>")
                    .arg(project.isEmpty() ? QStringLiteral("Preview") : project,
                         QDateTime::currentDateTime().toString(Qt::ISODate)));
}

} // namespace

void addAgentHostRoutes(Router& router, Context& ctx) {
    auto seen = std::make_shared<Announcement>();
    router.get(QStringLiteral("api/claude/host"),
               [&ctx, seen](const HttpRequest& r) { return hostStatus(ctx, *seen, r); });
    router.post(QStringLiteral("api/claude/host"),
                [&ctx, seen](const HttpRequest& r) { return announce(ctx, *seen, r); });
    // Fetched by address alone: the unguessable token is the permission.
    router.add("GET", QStringLiteral("api/claude/file"), Router::Access::Public,
               [&ctx](const HttpRequest& r) {
                   const auto path =
                       requireHost(ctx).offeredFile(queryText(r, QStringLiteral("t")));
                   if (!path) throw HttpError(404, QStringLiteral("this link has expired"));
                   return bytes(readWhole(*path), "application/octet-stream");
               });
    router.add("GET", QStringLiteral("api/claude/signin"), Router::Access::Public,
               [&ctx](const HttpRequest& r) {
                   const auto html =
                       requireHost(ctx).signInPage(queryText(r, QStringLiteral("login")),
                                                   queryText(r, QStringLiteral("email")));
                   if (!html) throw HttpError(404, QStringLiteral("this sign-in has expired"));
                   return page(*html);
               });
    router.add("GET", QStringLiteral("api/claude/preview"), Router::Access::Public,
               [&ctx](const HttpRequest& r) {
                   requireHost(ctx);
                   return preview(r);
               });
    router.add("GET", QStringLiteral("api/seed/media/<id>"), Router::Access::Public,
               [&ctx](const HttpRequest& r) {
                   const QString name = QStringLiteral("seed-media/%1.jpg").arg(r.id());
                   return bytes(readWhole(QDir(ctx.options.dataDir).filePath(name)), "image/jpeg");
               });
}
