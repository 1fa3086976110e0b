#include "Events.h"

#include "Records.h"
#include "agent/AgentHost.h"

namespace events {
namespace {

QJsonObject event(const QString& type) {
    return QJsonObject{{QStringLiteral("type"), type}};
}

} // namespace

void message(Context& ctx, const MessageRow& m, const QString& type) {
    QJsonObject e = event(type);
    e.insert(QStringLiteral("message"), records::message(ctx.db, m));
    ctx.hub.sendToUsers(ctx.db.memberIds(m.chatId), e);
    if (ctx.agentHost) ctx.agentHost->observe(m, type);
}

void messageDeleted(Context& ctx, qint64 chatId, qint64 messageId) {
    QJsonObject e = event(QStringLiteral("messageDeleted"));
    e.insert(QStringLiteral("chatId"), chatId);
    e.insert(QStringLiteral("messageId"), messageId);
    ctx.hub.sendToUsers(ctx.db.memberIds(chatId), e);
}

void chat(Context& ctx, qint64 chatId, const QString& type) {
    const auto row = ctx.db.chat(chatId);
    if (!row) return;
    for (qint64 member : ctx.db.memberIds(chatId)) {
        if (!ctx.hub.isOnline(member)) continue;
        QJsonObject e = event(type);
        e.insert(QStringLiteral("chat"), records::chat(ctx.db, *row, member));
        ctx.hub.sendToUser(member, e);
    }
}

void chatRemoved(Context& ctx, qint64 chatId, const QList<qint64>& formerMembers) {
    QJsonObject e = event(QStringLiteral("chatRemoved"));
    e.insert(QStringLiteral("chatId"), chatId);
    ctx.hub.sendToUsers(formerMembers, e);
}

void userJoined(Context& ctx, const UserRow& user) {
    QJsonObject e = event(QStringLiteral("userJoined"));
    e.insert(QStringLiteral("user"), records::user(user));
    ctx.hub.sendToAudienceOf(user.id, e);
}

void userUpdated(Context& ctx, const UserRow& user) {
    QJsonObject e = event(QStringLiteral("userUpdated"));
    e.insert(QStringLiteral("user"), records::user(user));
    ctx.hub.sendToAudienceOf(user.id, e);
}

void read(Context& ctx, qint64 chatId, qint64 userId, qint64 messageId, qint64 at) {
    QJsonObject e = event(QStringLiteral("read"));
    e.insert(QStringLiteral("chatId"), chatId);
    e.insert(QStringLiteral("userId"), userId);
    e.insert(QStringLiteral("messageId"), messageId);
    e.insert(QStringLiteral("at"), at);
    ctx.hub.sendToUsers(ctx.db.memberIds(chatId), e);
}

void typing(Context& ctx, qint64 chatId, const UserRow& user, const QString& device,
            const QWebSocket* origin) {
    QJsonObject e = event(QStringLiteral("typing"));
    e.insert(QStringLiteral("chatId"), chatId);
    e.insert(QStringLiteral("user"), records::user(user));
    if (!device.isEmpty()) e.insert(QStringLiteral("device"), device);
    ctx.hub.sendToUsers(ctx.db.memberIds(chatId), e, origin);
}

void buildStatus(Context& ctx, qint64 chatId, const BuildState& build) {
    QJsonObject e = event(QStringLiteral("buildStatus"));
    e.insert(QStringLiteral("chatId"), chatId);
    e.insert(QStringLiteral("state"), build.state);
    if (build.percent) e.insert(QStringLiteral("percent"), *build.percent);
    if (!build.label.isEmpty()) e.insert(QStringLiteral("label"), build.label);
    ctx.hub.sendToUsers(ctx.db.memberIds(chatId), e);
}

} // namespace events
