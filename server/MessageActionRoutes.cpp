// Pinning a message to the top of its conversation, and forwarding a copy of
// a message into another conversation.
#include "Activity.h"
#include "Events.h"
#include "Records.h"
#include "Routes.h"

#include <QJsonDocument>

namespace {

MessageRow requireVisibleMessage(Context& ctx, qint64 messageId, qint64 userId) {
    const auto m = ctx.db.message(messageId);
    if (!m || !ctx.db.role(m->chatId, userId))
        throw HttpError(404, QStringLiteral("no such message"));
    return *m;
}

HttpReply setPinned(Context& ctx, const HttpRequest& req, bool pinned) {
    const qint64 me = req.me().userId;
    const MessageRow m = requireVisibleMessage(ctx, req.id(), me);
    const ChatRow chat = *ctx.db.chat(m.chatId);
    if (chat.kind == QLatin1String("group") && !activity::managesChat(ctx, chat.id, me))
        throw HttpError(403, QStringLiteral("only the group's owner or admins pin messages"));
    const bool isPinned = chat.pinnedMessageId == m.id;
    if (pinned != isPinned) {
        ctx.db.updateChat(chat.id,
                          {{QStringLiteral("pinned_message_id"),
                            pinned ? QVariant(m.id) : QVariant(QMetaType::fromType<qint64>())}});
        events::chat(ctx, chat.id, QStringLiteral("chatUpdated"));
    }
    return HttpReply::json(records::chat(ctx.db, *ctx.db.chat(chat.id), me));
}

// The first author stays named when a forwarded message is forwarded again.
QByteArray forwardOrigin(const MessageRow& source) {
    if (!source.forwardedFrom.isEmpty()) return source.forwardedFrom;
    const QJsonObject origin{{QStringLiteral("senderId"), source.senderId},
                             {QStringLiteral("senderName"), source.senderName}};
    return QJsonDocument(origin).toJson(QJsonDocument::Compact);
}

HttpReply forward(Context& ctx, const HttpRequest& req) {
    const ChatRow target = activity::requireMember(ctx, req.id(), req.me().userId);
    const MessageRow source = requireVisibleMessage(
        ctx, body::requireId(req.body, QStringLiteral("messageId")), req.me().userId);
    MessageRow draft;
    draft.chatId = target.id;
    draft.senderId = req.me().userId;
    draft.senderName = req.me().username;
    draft.text = source.text;
    draft.media = source.media;
    draft.album = source.album;
    draft.transcript = source.transcript;
    draft.forwardedFrom = forwardOrigin(source);
    const MessageRow stored = ctx.db.insertMessage(draft);
    events::message(ctx, stored);
    return HttpReply::json(records::message(ctx.db, stored));
}

} // namespace

void addMessageActionRoutes(Router& router, Context& ctx) {
    router.post(QStringLiteral("api/messages/<id>/pin"),
                [&ctx](const HttpRequest& r) { return setPinned(ctx, r, true); });
    router.post(QStringLiteral("api/messages/<id>/unpin"),
                [&ctx](const HttpRequest& r) { return setPinned(ctx, r, false); });
    router.post(QStringLiteral("api/chats/<id>/forward"),
                [&ctx](const HttpRequest& r) { return forward(ctx, r); });
}
