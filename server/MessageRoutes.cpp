// Messages of a conversation: pages, sending, editing, deleting; and the
// read marks and typing signals that go with them.
#include "Activity.h"
#include "Events.h"
#include "Files.h"
#include "Records.h"
#include "Routes.h"

namespace {

constexpr int kDefaultPage = 50;
constexpr int kMaxPage = 200;

HttpReply page(Context& ctx, const HttpRequest& req) {
    activity::requireMember(ctx, req.id(), req.me().userId);
    const qint64 limit = body::queryInt(req.query, QStringLiteral("limit")).value_or(kDefaultPage);
    if (limit <= 0) throw HttpError(400, QStringLiteral("limit must be positive"));
    const auto before = body::queryInt(req.query, QStringLiteral("before"));
    QJsonArray messages;
    for (const MessageRow& m :
         ctx.db.messagesPage(req.id(), before, static_cast<int>(std::min<qint64>(limit, kMaxPage))))
        messages.append(records::message(ctx.db, m));
    return HttpReply::json(QJsonObject{{QStringLiteral("messages"), messages}});
}

HttpReply send(Context& ctx, const HttpRequest& req) {
    const ChatRow chat = activity::requireMember(ctx, req.id(), req.me().userId);
    MessageRow draft;
    draft.chatId = chat.id;
    draft.senderId = req.me().userId;
    draft.senderName = req.me().username;
    draft.text = body::limitLength(body::requireString(req.body, QStringLiteral("text")),
                                   limits::kMessage, QStringLiteral("the message"));
    if (draft.text.trimmed().isEmpty())
        throw HttpError(400, QStringLiteral("the message is empty"));
    draft.replyTo = body::optInt(req.body, QStringLiteral("replyTo"));
    if (draft.replyTo) {
        const auto quoted = ctx.db.message(*draft.replyTo);
        if (!quoted || quoted->chatId != chat.id)
            throw HttpError(400, QStringLiteral("the quoted message is not in this conversation"));
    }
    const MessageRow stored = ctx.db.insertMessage(draft);
    events::message(ctx, stored);
    return HttpReply::json(records::message(ctx.db, stored));
}

MessageRow requireMessage(Context& ctx, const HttpRequest& req) {
    const auto m = ctx.db.message(req.id());
    if (!m || !ctx.db.role(m->chatId, req.me().userId))
        throw HttpError(404, QStringLiteral("no such message"));
    return *m;
}

HttpReply edit(Context& ctx, const HttpRequest& req) {
    const MessageRow m = requireMessage(ctx, req);
    if (m.senderId != req.me().userId)
        throw HttpError(403, QStringLiteral("only the sender can edit a message"));
    const QString text = body::limitLength(body::requireString(req.body, QStringLiteral("text")),
                                           limits::kMessage, QStringLiteral("the message"));
    if (text.trimmed().isEmpty()) throw HttpError(400, QStringLiteral("the message is empty"));
    ctx.db.editMessage(m.id, text, Storage::now());
    const MessageRow edited = *ctx.db.message(m.id);
    events::message(ctx, edited, QStringLiteral("messageEdited"));
    return HttpReply::json(records::message(ctx.db, edited));
}

HttpReply remove(Context& ctx, const HttpRequest& req) {
    const MessageRow m = requireMessage(ctx, req);
    if (m.senderId != req.me().userId && !activity::managesChat(ctx, m.chatId, req.me().userId))
        throw HttpError(403, QStringLiteral("only the sender can delete a message"));
    for (qint64 number : ctx.db.deleteMessage(m.id))
        files::removeMedia(ctx.options.dataDir, number);
    events::messageDeleted(ctx, m.chatId, m.id);
    return HttpReply::ok();
}

HttpReply typing(Context& ctx, const HttpRequest& req) {
    activity::requireMember(ctx, req.id(), req.me().userId);
    QJsonArray typing;
    const QString device = req.query.queryItemValue(QStringLiteral("device"), QUrl::FullyDecoded);
    for (const UserRow& u : activity::typingUsers(ctx, req.id(), device))
        typing.append(QJsonObject{{QStringLiteral("userId"), u.id},
                                  {QStringLiteral("username"), u.username}});
    return HttpReply::json(QJsonObject{{QStringLiteral("typing"), typing}});
}

} // namespace

void addMessageRoutes(Router& router, Context& ctx) {
    router.get(QStringLiteral("api/chats/<id>/messages"),
               [&ctx](const HttpRequest& r) { return page(ctx, r); });
    router.post(QStringLiteral("api/chats/<id>/messages"),
                [&ctx](const HttpRequest& r) { return send(ctx, r); });
    router.patch(QStringLiteral("api/messages/<id>"),
                 [&ctx](const HttpRequest& r) { return edit(ctx, r); });
    router.del(QStringLiteral("api/messages/<id>"),
               [&ctx](const HttpRequest& r) { return remove(ctx, r); });
    router.post(QStringLiteral("api/chats/<id>/read"), [&ctx](const HttpRequest& r) {
        activity::markRead(ctx, r.me().userId, r.id(),
                           body::requireId(r.body, QStringLiteral("messageId")));
        return HttpReply::ok();
    });
    router.post(QStringLiteral("api/chats/<id>/typing"), [&ctx](const HttpRequest& r) {
        const QString device =
            body::optString(r.body, QStringLiteral("device")).value_or(QString());
        activity::noteTyping(ctx, r.me().userId, r.id(), device, nullptr);
        return HttpReply::ok();
    });
    router.get(QStringLiteral("api/chats/<id>/typing"),
               [&ctx](const HttpRequest& r) { return typing(ctx, r); });
}
