// Conversations: creating direct chats and groups, renaming, removing, and
// the invite codes through which guests join a group.
#include "Activity.h"
#include "Crypto.h"
#include "Events.h"
#include "Records.h"
#include "Routes.h"

namespace {

HttpReply chatReply(Context& ctx, qint64 chatId, qint64 viewerId) {
    return HttpReply::json(records::chat(ctx.db, *ctx.db.chat(chatId), viewerId));
}

void requireVisibleUser(Context& ctx, qint64 viewerId, qint64 userId) {
    if (!ctx.db.user(userId) || !ctx.db.canSee(viewerId, userId))
        throw HttpError(404, QStringLiteral("no such user"));
}

HttpReply createDirect(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    const qint64 other = body::requireId(req.body, QStringLiteral("userId"));
    requireVisibleUser(ctx, me, other);
    if (const auto existing = ctx.db.directChat(me, other)) return chatReply(ctx, *existing, me);
    const qint64 chatId = ctx.db.createChat(QStringLiteral("direct"), QString(), me, {other});
    events::chat(ctx, chatId, QStringLiteral("chatCreated"));
    return chatReply(ctx, chatId, me);
}

HttpReply createGroup(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    if (req.me().isGuest) throw HttpError(403, QStringLiteral("guests cannot create groups"));
    const QString title =
        body::limitLength(body::requireString(req.body, QStringLiteral("title")).trimmed(),
                          limits::kTitle, QStringLiteral("the title"));
    if (title.isEmpty()) throw HttpError(400, QStringLiteral("a group needs a title"));
    const QList<qint64> memberIds = body::requireIdList(req.body, QStringLiteral("memberIds"));
    for (qint64 id : memberIds)
        requireVisibleUser(ctx, me, id);
    const qint64 chatId = ctx.db.createChat(QStringLiteral("group"), title, me, memberIds);
    events::chat(ctx, chatId, QStringLiteral("chatCreated"));
    return chatReply(ctx, chatId, me);
}

HttpReply createChat(Context& ctx, const HttpRequest& req) {
    const QString kind = body::requireString(req.body, QStringLiteral("kind"));
    if (kind == QLatin1String("direct")) return createDirect(ctx, req);
    if (kind == QLatin1String("group")) return createGroup(ctx, req);
    throw HttpError(400, QStringLiteral("kind must be direct or group"));
}

HttpReply updateChat(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    // In a group the name and the agent are the managers' to change.
    if (chat.kind == QLatin1String("group") &&
        !activity::managesChat(ctx, chat.id, req.me().userId))
        throw HttpError(403, QStringLiteral("only the group's owner or admins change it"));
    QVariantMap columns;
    if (const auto title = body::optString(req.body, QStringLiteral("title"))) {
        body::limitLength(title->trimmed(), limits::kTitle, QStringLiteral("the title"));
        if (chat.kind == QLatin1String("group") && title->trimmed().isEmpty())
            throw HttpError(400, QStringLiteral("a group needs a title"));
        columns.insert(QStringLiteral("title"), title->trimmed());
    }
    if (const auto on = body::optBool(req.body, QStringLiteral("tavikAgent")))
        columns.insert(QStringLiteral("tavik_agent"), *on);
    if (!columns.isEmpty()) {
        ctx.db.updateChat(chat.id, columns);
        events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    }
    return chatReply(ctx, chat.id, req.me().userId);
}

HttpReply deleteChat(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    if (chat.kind == QLatin1String("group") &&
        ctx.db.role(chat.id, req.me().userId) != QStringLiteral("Owner"))
        throw HttpError(403, QStringLiteral("only the group's owner can delete it"));
    const QList<qint64> former = ctx.db.memberIds(chat.id);
    ctx.db.deleteChat(chat.id);
    ctx.builds.remove(chat.id);
    events::chatRemoved(ctx, chat.id, former);
    return HttpReply::ok();
}

QJsonObject inviteReply(const QString& code) {
    QJsonObject obj;
    if (!code.isEmpty()) obj.insert(QStringLiteral("code"), code);
    return obj;
}

ChatRow requireGroup(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    if (chat.kind != QLatin1String("group"))
        throw HttpError(400, QStringLiteral("only groups have invite codes"));
    return chat;
}

HttpReply setInvite(Context& ctx, const HttpRequest& req, bool rotate) {
    const ChatRow chat = requireGroup(ctx, req);
    if (!activity::managesChat(ctx, chat.id, req.me().userId))
        throw HttpError(403, QStringLiteral("only the group's owner or admins manage invites"));
    const QString code = rotate ? crypto::randomToken(9) : QString();
    ctx.db.setInviteCode(chat.id, code);
    return HttpReply::json(inviteReply(code));
}

} // namespace

void addChatRoutes(Router& router, Context& ctx) {
    router.post(QStringLiteral("api/chats"),
                [&ctx](const HttpRequest& r) { return createChat(ctx, r); });
    router.patch(QStringLiteral("api/chats/<id>"),
                 [&ctx](const HttpRequest& r) { return updateChat(ctx, r); });
    router.del(QStringLiteral("api/chats/<id>"),
               [&ctx](const HttpRequest& r) { return deleteChat(ctx, r); });
    router.get(QStringLiteral("api/chats/<id>/invite"), [&ctx](const HttpRequest& r) {
        return HttpReply::json(inviteReply(requireGroup(ctx, r).inviteCode));
    });
    router.post(QStringLiteral("api/chats/<id>/invite"),
                [&ctx](const HttpRequest& r) { return setInvite(ctx, r, true); });
    router.del(QStringLiteral("api/chats/<id>/invite"),
               [&ctx](const HttpRequest& r) { return setInvite(ctx, r, false); });
}
