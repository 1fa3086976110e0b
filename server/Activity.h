#pragma once

#include "Context.h"
#include "Http.h"

class QWebSocket;

// Reads and typing, which arrive both over REST and as socket frames.
namespace activity {

// The conversation, when it exists and `userId` is a member; HttpError 404 or 403 otherwise.
ChatRow requireMember(Context& ctx, qint64 chatId, qint64 userId);

// Whether `userId` is the owner or an admin of the conversation.
bool managesChat(Context& ctx, qint64 chatId, qint64 userId);

// Stores a read mark (only ever forward) and tells the members.
void markRead(Context& ctx, qint64 userId, qint64 chatId, qint64 messageId);

void noteTyping(Context& ctx, qint64 userId, qint64 chatId, const QString& device,
                const QWebSocket* origin);

// Users seen typing in the conversation in the last five seconds, leaving out
// the signals of `excludeDevice`.
QList<UserRow> typingUsers(Context& ctx, qint64 chatId, const QString& excludeDevice);

// "read" and "typing" frames of a client socket; anything else is dropped.
void handleFrame(Context& ctx, const Connection& conn, const QJsonObject& frame);

} // namespace activity
