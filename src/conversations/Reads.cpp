// What the person has read, told to the server once per message, and the
// unread count the badge shows.

#include "model/IDCodec.h"
#include "store/Store.h"

#include <QJsonObject>

void Store::clearUnread(qint64 chatId) {
    for (ChatSummary& c : m_chats) {
        if (c.id != chatId) continue;
        c.unread = 0;
        emit chatChanged(chatId);
        break;
    }
    clearNotifications(chatId);
    refreshBadge();
}

void Store::markRead(qint64 chatId) {
    clearUnread(chatId);
    std::optional<qint64> target;
    const QList<Message> local = m_messages.value(chatId);
    for (auto it = local.crbegin(); it != local.crend(); ++it)
        if (it->id > 0) {
            target = it->id;
            break;
        }
    if (!target) {
        const ChatSummary* c = chat(chatId);
        if (c && c->lastMessage && c->lastMessage->id > 0) target = c->lastMessage->id;
    }
    if (!target) return;
    // A read mark only moves forward and is sent once per message.
    const auto sent = m_lastReadSent.constFind(chatId);
    if (sent != m_lastReadSent.constEnd() && *sent >= *target) return;
    const auto r = route(chatId);
    if (!r) return;
    if (r->server == 0) {
        m_lastReadSent[chatId] = *target;
        sendWS({{QStringLiteral("type"), QStringLiteral("read")},
                {QStringLiteral("chatId"), QJsonValue(chatId)},
                {QStringLiteral("messageId"), QJsonValue(*target)}});
    } else {
        const qint64 realMessage = IDCodec::decode(*target).real;
        if (sendOnLink(r->server, {{QStringLiteral("type"), QStringLiteral("read")},
                                   {QStringLiteral("chatId"), QJsonValue(r->real)},
                                   {QStringLiteral("messageId"), QJsonValue(realMessage)}})) {
            m_lastReadSent[chatId] = *target;
        } else {
            // No live link: the REST form, and the mark counts only once it succeeded.
            [](QPointer<Store> self, Api restApi, qint64 realChat, qint64 realMsg, qint64 chatId,
               qint64 id) -> QCoro::Task<> {
                auto call = restApi.markRead(realChat, realMsg);
                const bool ok = co_await call;
                if (self && ok) self->m_lastReadSent[chatId] = id;
            }(QPointer<Store>(this), r->api, r->real, realMessage, chatId, *target);
        }
    }
    if (m_me) {
        m_reads[chatId][m_me->id] = *target;
        m_readAt[chatId][m_me->id] = nowMs();
        emit readsChanged(chatId);
    }
}

int Store::unreadChatCount() const {
    int count = 0;
    for (const ChatSummary& c : m_chats)
        if (!isSavedMessages(c)) count += int(c.unread.value_or(0));
    return count;
}
