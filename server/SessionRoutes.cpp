// What a signed-in client loads as a whole: bootstrap, builds, its own profile.
#include "Activity.h"
#include "Events.h"
#include "Records.h"
#include "Routes.h"
#include "agent/AgentHost.h"

namespace {

QJsonObject buildJson(const BuildState& b) {
    QJsonObject obj{{QStringLiteral("state"), b.state}};
    if (b.percent) obj.insert(QStringLiteral("percent"), *b.percent);
    if (!b.label.isEmpty()) obj.insert(QStringLiteral("label"), b.label);
    return obj;
}

QJsonObject buildsOf(Context& ctx, const QList<ChatRow>& chats) {
    QJsonObject out;
    for (const ChatRow& c : chats)
        if (const auto it = ctx.builds.constFind(c.id); it != ctx.builds.constEnd())
            out.insert(QString::number(c.id), buildJson(*it));
    return out;
}

QJsonArray idArray(const QList<qint64>& ids) {
    QJsonArray out;
    for (qint64 id : ids)
        out.append(id);
    return out;
}

HttpReply bootstrap(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    QJsonArray users;
    for (const UserRow& u : ctx.db.visibleUsers(me))
        users.append(records::user(u));
    const QList<ChatRow> chatRows = ctx.db.chatsOf(me);
    QJsonArray chats;
    for (const ChatRow& c : chatRows)
        chats.append(records::chat(ctx.db, c, me));
    QJsonObject reply{
        {QStringLiteral("me"), records::user(*ctx.db.user(me))},
        {QStringLiteral("users"), users},
        {QStringLiteral("chats"), chats},
        {QStringLiteral("botIds"), idArray(ctx.db.botIds())},
        {QStringLiteral("builds"), buildsOf(ctx, chatRows)},
        // The test engine stands in for a server-side whisper.
        {QStringLiteral("transcriptionEngines"), ctx.options.transcriber == QLatin1String("test")
                                                     ? QJsonArray{QStringLiteral("whisper")}
                                                     : QJsonArray{}},
    };
    // A guest came for one conversation, not to learn about the host.
    if (ctx.agentHost && !req.me().isGuest)
        reply.insert(QStringLiteral("claudeHost"), ctx.agentHost->status(me));
    const QStringList linked = ctx.db.linkedServers(me);
    if (!linked.isEmpty())
        reply.insert(QStringLiteral("linkedServers"), QJsonArray::fromStringList(linked));
    if (!ctx.options.discovered.isEmpty())
        reply.insert(QStringLiteral("discoveredServers"),
                     QJsonArray::fromStringList(ctx.options.discovered));
    return HttpReply::json(reply);
}

HttpReply setBuild(Context& ctx, const HttpRequest& req) {
    if (!req.me().isBot && !ctx.isOwner(req.me().userId))
        throw HttpError(403, QStringLiteral("only the agent host reports builds"));
    const qint64 chatId = req.id();
    // A bot reports where it takes part; the owner runs the host and may report anywhere.
    if (ctx.isOwner(req.me().userId)) {
        if (!ctx.db.chat(chatId)) throw HttpError(404, QStringLiteral("no such conversation"));
    } else {
        activity::requireMember(ctx, chatId, req.me().userId);
    }
    BuildState build{body::requireString(req.body, QStringLiteral("state")),
                     body::optInt(req.body, QStringLiteral("percent")),
                     body::optString(req.body, QStringLiteral("label")).value_or(QString())};
    // A finished build leaves nothing behind to report.
    if (build.state == QLatin1String("done") || build.state == QLatin1String("idle"))
        ctx.builds.remove(chatId);
    else
        ctx.builds.insert(chatId, build);
    events::buildStatus(ctx, chatId, build);
    return HttpReply::ok();
}

void putProfileText(QVariantMap& columns, const QJsonObject& body, const QString& key,
                    const QString& column) {
    if (const auto value = body::optString(body, key))
        columns.insert(column, body::limitLength(value->trimmed(), limits::kProfileField, key));
}

// A name that signs in by itself (allowed, owner, bot) is never taken by a rename.
bool isReservedName(const ServerOptions& opts, const QString& name) {
    QStringList reserved = opts.names + opts.bots;
    reserved << opts.owner << AgentHost::kBotName;
    return std::any_of(reserved.begin(), reserved.end(), [&](const QString& r) {
        return !r.isEmpty() && r.compare(name, Qt::CaseInsensitive) == 0;
    });
}

QString requireNewName(Context& ctx, const HttpRequest& req, const QString& name) {
    const QString trimmed =
        body::limitLength(name.trimmed(), limits::kName, QStringLiteral("the name"));
    if (trimmed.isEmpty()) throw HttpError(400, QStringLiteral("the name cannot be empty"));
    const auto holder = ctx.db.userByName(trimmed);
    if (holder && holder->id == req.me().userId) return trimmed;
    if (holder || isReservedName(ctx.options, trimmed))
        throw HttpError(409, QStringLiteral("That name is taken — choose another"));
    return trimmed;
}

QVariantMap profileColumns(Context& ctx, const HttpRequest& req) {
    QVariantMap columns;
    if (const auto name = body::optString(req.body, QStringLiteral("username")))
        columns.insert(QStringLiteral("username"), requireNewName(ctx, req, *name));
    for (const char* key : {"competence", "experience", "email", "phone", "address"})
        putProfileText(columns, req.body, QLatin1String(key), QLatin1String(key));
    for (const char* key : {"lat", "lon"}) {
        const QJsonValue v = req.body.value(QLatin1String(key));
        if (v.isDouble())
            columns.insert(QLatin1String(key), v.toDouble());
        else if (!v.isUndefined() && !v.isNull())
            throw HttpError(400, QStringLiteral("%1 must be a number").arg(QLatin1String(key)));
    }
    return columns;
}

HttpReply updateMe(Context& ctx, const HttpRequest& req) {
    const QVariantMap columns = profileColumns(ctx, req);
    if (!columns.isEmpty()) ctx.db.updateProfile(req.me().userId, columns);
    const UserRow user = *ctx.db.user(req.me().userId);
    if (!columns.isEmpty()) events::userUpdated(ctx, user);
    return HttpReply::json(records::user(user));
}

// What a person's latest client reported; `online` means a client of theirs is in front.
HttpReply userClient(Context& ctx, const HttpRequest& req) {
    const qint64 subject = req.id();
    const auto user = ctx.db.user(subject);
    if (!user || (subject != req.me().userId && !ctx.db.canSee(req.me().userId, subject)))
        throw HttpError(404, QStringLiteral("no such user"));
    QJsonObject reply{{QStringLiteral("online"), ctx.hub.isActive(subject)}};
    if (!user->lastDevice.isEmpty()) reply.insert(QStringLiteral("lastDevice"), user->lastDevice);
    if (!user->lastClient.isEmpty()) reply.insert(QStringLiteral("lastClient"), user->lastClient);
    if (user->lastSeen) reply.insert(QStringLiteral("lastSeen"), *user->lastSeen);
    return HttpReply::json(reply);
}

} // namespace

namespace {
// Other servers a person joined, so their other devices can join them too.
HttpReply linkServer(Context& ctx, const HttpRequest& req, bool add) {
    const QString url = body::requireString(req.body, QStringLiteral("url")).trimmed();
    if (url.isEmpty() || url.size() > 2048)
        throw HttpError(400, QStringLiteral("url must be a server address"));
    const qint64 me = req.me().userId;
    if (add)
        ctx.db.addLinkedServer(me, url);
    else
        ctx.db.removeLinkedServer(me, url);
    return HttpReply::json(QJsonObject{
        {QStringLiteral("servers"), QJsonArray::fromStringList(ctx.db.linkedServers(me))}});
}
} // namespace

void addSessionRoutes(Router& router, Context& ctx) {
    router.post(QStringLiteral("api/servers"),
                [&ctx](const HttpRequest& r) { return linkServer(ctx, r, true); });
    router.del(QStringLiteral("api/servers"),
               [&ctx](const HttpRequest& r) { return linkServer(ctx, r, false); });
    router.get(QStringLiteral("api/bootstrap"),
               [&ctx](const HttpRequest& r) { return bootstrap(ctx, r); });
    router.get(QStringLiteral("api/builds"), [&ctx](const HttpRequest& r) {
        return HttpReply::json(
            QJsonObject{{QStringLiteral("builds"), buildsOf(ctx, ctx.db.chatsOf(r.me().userId))}});
    });
    router.post(QStringLiteral("api/builds/<id>"),
                [&ctx](const HttpRequest& r) { return setBuild(ctx, r); });
    router.get(QStringLiteral("api/users/<id>/client"),
               [&ctx](const HttpRequest& r) { return userClient(ctx, r); });
    router.patch(QStringLiteral("api/me"),
                 [&ctx](const HttpRequest& r) { return updateMe(ctx, r); });
}
