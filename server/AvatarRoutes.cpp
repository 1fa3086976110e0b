// Profile pictures of users and pictures of groups: uploaded as JPEG bytes,
// served back at the path the client builds from the id and the picture's
// version. A person's picture is shown to anyone signed in, a group's only to
// its members.
#include "Activity.h"
#include "Events.h"
#include "Files.h"
#include "Records.h"
#include "Routes.h"

namespace {

// Pictures are small; anything larger is not a profile picture.
constexpr qsizetype kMaxPicture = 8 * 1024 * 1024;

QByteArray requirePicture(const HttpRequest& req) {
    if (req.rawBody.isEmpty()) throw HttpError(400, QStringLiteral("the picture is empty"));
    if (req.rawBody.size() > kMaxPicture)
        throw HttpError(413, QStringLiteral("the picture is too large"));
    if (!req.rawBody.startsWith("\xFF\xD8\xFF"))
        throw HttpError(415, QStringLiteral("the picture must be a JPEG"));
    return req.rawBody;
}

QString userPicture(qint64 id) {
    return QStringLiteral("user-%1").arg(id);
}
QString chatPicture(qint64 id) {
    return QStringLiteral("chat-%1").arg(id);
}

HttpReply uploadMine(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    files::storeAvatar(ctx.options.dataDir, userPicture(me), requirePicture(req));
    ctx.db.updateProfile(me, {{QStringLiteral("avatar_at"), Storage::now()}});
    const UserRow user = *ctx.db.user(me);
    events::userUpdated(ctx, user);
    return HttpReply::json(records::user(user));
}

HttpReply uploadGroup(Context& ctx, const HttpRequest& req) {
    const qint64 me = req.me().userId;
    const ChatRow chat = activity::requireMember(ctx, req.id(), me);
    if (chat.kind != QLatin1String("group"))
        throw HttpError(400, QStringLiteral("only groups have a picture of their own"));
    files::storeAvatar(ctx.options.dataDir, chatPicture(chat.id), requirePicture(req));
    ctx.db.updateChat(chat.id, {{QStringLiteral("avatar_at"), Storage::now()}});
    events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    return HttpReply::json(records::chat(ctx.db, *ctx.db.chat(chat.id), me));
}

HttpReply serve(Context& ctx, const QString& name) {
    const auto bytes = files::loadAvatar(ctx.options.dataDir, name);
    if (!bytes) throw HttpError(404, QStringLiteral("no picture"));
    return HttpReply{200, *bytes, "image/jpeg"};
}

HttpReply serveGroup(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    return serve(ctx, chatPicture(chat.id));
}

} // namespace

void addAvatarRoutes(Router& router, Context& ctx) {
    using A = Router::Access;
    using B = Router::Body;
    router.add(
        "POST", QStringLiteral("api/me/avatar"), A::Caller,
        [&ctx](const HttpRequest& r) { return uploadMine(ctx, r); }, B::Raw);
    router.add(
        "POST", QStringLiteral("api/chats/<id>/avatar"), A::Caller,
        [&ctx](const HttpRequest& r) { return uploadGroup(ctx, r); }, B::Raw);
    router.get(QStringLiteral("api/users/<id>/avatar"),
               [&ctx](const HttpRequest& r) { return serve(ctx, userPicture(r.id())); });
    router.get(QStringLiteral("api/chats/<id>/avatar"),
               [&ctx](const HttpRequest& r) { return serveGroup(ctx, r); });
}
