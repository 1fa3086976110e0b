#pragma once

#include "Context.h"

class QWebSocket;

// Builders and senders of the events pushed over the WebSocket link. Each
// goes to the sockets of the users it concerns.
namespace events {

void message(Context& ctx, const MessageRow& m, const QString& type = QStringLiteral("message"));
void messageDeleted(Context& ctx, qint64 chatId, qint64 messageId);
// "chatCreated" or "chatUpdated", each member getting the conversation as they see it.
void chat(Context& ctx, qint64 chatId, const QString& type);
void chatRemoved(Context& ctx, qint64 chatId, const QList<qint64>& formerMembers);
void userJoined(Context& ctx, const UserRow& user);
void userUpdated(Context& ctx, const UserRow& user);
void read(Context& ctx, qint64 chatId, qint64 userId, qint64 messageId, qint64 at);
void typing(Context& ctx, qint64 chatId, const UserRow& user, const QString& device,
            const QWebSocket* origin);
void buildStatus(Context& ctx, qint64 chatId, const BuildState& build);

} // namespace events
