#include "Activity.h"

#include "Events.h"

#include <QWebSocket>
#include <cstdio>

namespace activity {
namespace {

constexpr qint64 kTypingWindowMs = 5000;

void pruneTyping(Context& ctx, qint64 now) {
    ctx.typing.removeIf([now](const TypingEntry& e) { return now - e.at > kTypingWindowMs; });
}

std::optional<qint64> frameId(const QJsonObject& frame, const QString& key) {
    const QJsonValue v = frame.value(key);
    if (!v.isDouble()) return std::nullopt;
    const qint64 id = v.toInteger();
    if (id <= 0) return std::nullopt;
    return id;
}

} // namespace

bool managesChat(Context& ctx, qint64 chatId, qint64 userId) {
    const auto role = ctx.db.role(chatId, userId);
    return role && (*role == QLatin1String("Owner") || *role == QLatin1String("Admin"));
}

ChatRow requireMember(Context& ctx, qint64 chatId, qint64 userId) {
    const auto chat = ctx.db.chat(chatId);
    if (!chat) throw HttpError(404, QStringLiteral("no such conversation"));
    if (!ctx.db.role(chatId, userId))
        throw HttpError(403, QStringLiteral("you are not a member of this conversation"));
    return *chat;
}

void markRead(Context& ctx, qint64 userId, qint64 chatId, qint64 messageId) {
    requireMember(ctx, chatId, userId);
    // A mark past the newest message would hide messages not yet sent.
    const auto last = ctx.db.lastMessage(chatId);
    if (!last) return;
    const qint64 mark = std::min(messageId, last->id);
    const qint64 at = Storage::now();
    if (ctx.db.advanceRead(chatId, userId, mark, at)) events::read(ctx, chatId, userId, mark, at);
}

void noteTyping(Context& ctx, qint64 userId, qint64 chatId, const QString& device,
                const QWebSocket* origin) {
    requireMember(ctx, chatId, userId);
    const qint64 now = Storage::now();
    pruneTyping(ctx, now);
    ctx.typing.removeIf([&](const TypingEntry& e) {
        return e.chatId == chatId && e.userId == userId && e.device == device;
    });
    ctx.typing.push_back(TypingEntry{chatId, userId, device, now});
    if (const auto user = ctx.db.user(userId)) events::typing(ctx, chatId, *user, device, origin);
}

QList<UserRow> typingUsers(Context& ctx, qint64 chatId, const QString& excludeDevice) {
    pruneTyping(ctx, Storage::now());
    QList<qint64> ids;
    for (const TypingEntry& e : std::as_const(ctx.typing))
        if (e.chatId == chatId && (excludeDevice.isEmpty() || e.device != excludeDevice) &&
            !ids.contains(e.userId))
            ids.push_back(e.userId);
    QList<UserRow> out;
    for (qint64 id : ids)
        if (const auto user = ctx.db.user(id)) out.push_back(*user);
    return out;
}

void handleFrame(Context& ctx, const Connection& conn, const QJsonObject& frame) {
    const QString type = frame.value(QStringLiteral("type")).toString();
    const auto chatId = frameId(frame, QStringLiteral("chatId"));
    if (!chatId) return;
    try {
        if (type == QLatin1String("read")) {
            if (const auto messageId = frameId(frame, QStringLiteral("messageId")))
                markRead(ctx, conn.userId, *chatId, *messageId);
        } else if (type == QLatin1String("typing")) {
            noteTyping(ctx, conn.userId, *chatId, conn.device, conn.socket);
        }
    } catch (const HttpError&) {
        // A frame about a conversation the user is not in is dropped.
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: %s frame failed: %s\n", qPrintable(type), e.what());
    }
}

} // namespace activity
