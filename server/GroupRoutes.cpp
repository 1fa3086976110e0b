// Groups: adding and removing members, the roles of owner, admins and users,
// and joining a group by its invite code while signed in.
#include "Activity.h"
#include "Events.h"
#include "Records.h"
#include "Routes.h"

namespace {

const QString kOwner = QStringLiteral("Owner");
const QString kAdmin = QStringLiteral("Admin");
const QString kUser = QStringLiteral("User");

ChatRow requireGroup(Context& ctx, qint64 chatId, qint64 userId) {
    const ChatRow chat = activity::requireMember(ctx, chatId, userId);
    if (chat.kind != QLatin1String("group"))
        throw HttpError(400, QStringLiteral("this is not a group"));
    return chat;
}

HttpReply addMembers(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    const ChatRow chat = requireGroup(ctx, req.id(), me);
    if (!activity::managesChat(ctx, chat.id, me))
        throw HttpError(403, QStringLiteral("only the group's owner or admins add members"));
    const QList<qint64> ids = body::requireIdList(req.body, QStringLiteral("user_ids"));
    for (qint64 id : ids)
        if (!ctx.db.user(id) || !ctx.db.canSee(me, id))
            throw HttpError(404, QStringLiteral("no such user"));
    for (qint64 id : ids)
        ctx.db.addMember(chat.id, id, kUser);
    events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    return HttpReply::json(records::chat(ctx.db, *ctx.db.chat(chat.id), me));
}

// Anyone may leave; removing someone else takes the owner or an admin, and
// the owner stays.
HttpReply removeMember(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    const ChatRow chat = requireGroup(ctx, req.id(), me);
    const qint64 subject = req.id(1);
    const auto role = ctx.db.role(chat.id, subject);
    if (!role) throw HttpError(404, QStringLiteral("not a member of this group"));
    if (subject != me && !activity::managesChat(ctx, chat.id, me))
        throw HttpError(403, QStringLiteral("only the group's owner or admins remove members"));
    if (*role == kOwner) throw HttpError(403, QStringLiteral("the owner cannot leave the group"));
    ctx.db.removeMember(chat.id, subject);
    events::chatRemoved(ctx, chat.id, {subject});
    events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    return HttpReply::ok();
}

HttpReply groupRoles(Context& ctx, const HttpRequest& req) {
    QJsonArray roles;
    for (const ChatRow& chat : ctx.db.chatsOf(req.me().userId)) {
        if (chat.kind != QLatin1String("group")) continue;
        for (const MemberRow& m : ctx.db.members(chat.id))
            roles.append(QJsonObject{{QStringLiteral("chatId"), chat.id},
                                     {QStringLiteral("userId"), m.userId},
                                     {QStringLiteral("role"), m.role}});
    }
    return HttpReply::json(QJsonObject{{QStringLiteral("groupRoles"), roles}});
}

HttpReply setRole(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    const ChatRow chat = requireGroup(ctx, req.id(), me);
    if (ctx.db.role(chat.id, me) != kOwner)
        throw HttpError(403, QStringLiteral("only the group's owner sets roles"));
    const qint64 subject = body::requireId(req.body, QStringLiteral("user_id"));
    const QString role = body::requireString(req.body, QStringLiteral("role"));
    if (role != kAdmin && role != kUser)
        throw HttpError(400, QStringLiteral("role must be Admin or User"));
    const auto current = ctx.db.role(chat.id, subject);
    if (!current) throw HttpError(404, QStringLiteral("not a member of this group"));
    if (*current == kOwner) throw HttpError(403, QStringLiteral("the owner's role stays"));
    ctx.db.setRole(chat.id, subject, role);
    events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    return HttpReply::ok();
}

HttpReply join(Context& ctx, const HttpRequest& req) {
    const QString code = body::requireString(req.body, QStringLiteral("code")).trimmed();
    const auto chat = ctx.db.chatByInviteCode(code);
    if (!chat) throw HttpError(403, QStringLiteral("This invite code is not valid"));
    const qint64 me = req.me().userId;
    if (!ctx.db.role(chat->id, me)) {
        ctx.db.addMember(chat->id, me, kUser);
        events::chat(ctx, chat->id, QStringLiteral("chatUpdated"));
    }
    return HttpReply::json(records::chat(ctx.db, *ctx.db.chat(chat->id), me));
}

} // namespace

void addGroupRoutes(Router& router, Context& ctx) {
    router.post(QStringLiteral("api/chats/<id>/members"),
                [&ctx](const HttpRequest& r) { return addMembers(ctx, r); });
    router.del(QStringLiteral("api/chats/<id>/members/<id>"),
               [&ctx](const HttpRequest& r) { return removeMember(ctx, r); });
    router.get(QStringLiteral("api/communities"),
               [&ctx](const HttpRequest& r) { return groupRoles(ctx, r); });
    router.post(QStringLiteral("api/groups/<id>/role"),
                [&ctx](const HttpRequest& r) { return setRole(ctx, r); });
    router.post(QStringLiteral("api/chats/join"),
                [&ctx](const HttpRequest& r) { return join(ctx, r); });
}
