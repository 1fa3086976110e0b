// How conversations and people enter and leave the store.

#include "store/Store.h"

bool Store::isBotUser(qint64 id) const {
    return (m_agentId && *m_agentId == id) || m_botIds.contains(id) || m_extraBotIds.contains(id);
}

// Live traffic looks conversations up by id for every message: a remembered
// position answers at once, and a position that no longer holds rebuilds the index.
const ChatSummary* Store::chat(qint64 chatId) const {
    auto hit = m_chatIndex.constFind(chatId);
    if (hit == m_chatIndex.constEnd() || *hit >= m_chats.size() || m_chats[*hit].id != chatId) {
        reindexChats();
        hit = m_chatIndex.constFind(chatId);
        if (hit == m_chatIndex.constEnd()) return nullptr;
    }
    return &m_chats[*hit];
}

void Store::reindexChats() const {
    m_chatIndex.clear();
    m_chatIndex.reserve(m_chats.size());
    for (int i = 0; i < m_chats.size(); ++i)
        m_chatIndex.insert(m_chats[i].id, i);
}

bool Store::isSavedMessages(const ChatSummary& c) const {
    // A direct conversation of the person with themselves.
    if (c.isGroup() || !m_me || c.members.isEmpty()) return false;
    return std::all_of(c.members.begin(), c.members.end(),
                       [this](const User& u) { return u.id == m_me->id; });
}

void Store::upsertChat(const ChatSummary& c) {
    auto found = std::find_if(m_chats.begin(), m_chats.end(),
                              [&](const ChatSummary& existing) { return existing.id == c.id; });
    if (found != m_chats.end())
        *found = c;
    else
        m_chats.push_back(c);
    seedReads(c);
    cacheVisiblePreview(c.lastMessage);
    if (c.lastMessage && !isBotUser(c.lastMessage->senderId) && !c.lastMessage->isCCControl())
        bumpUserActivity(c.id, c.lastMessage->createdAt);
    resolveBuriedUserActivity(c);
    emit chatChanged(c.id);
}

void Store::upsertUser(const User& user) {
    auto found = std::find_if(m_users.begin(), m_users.end(),
                              [&](const User& u) { return u.id == user.id; });
    if (found != m_users.end())
        *found = user;
    else
        m_users.push_back(user);
    for (ChatSummary& c : m_chats) {
        for (User& member : c.members) {
            if (member.id != user.id) continue;
            member = user;
            emit chatChanged(c.id);
        }
    }
    if (m_me && m_me->id == user.id) {
        m_me = user;
        emit sessionChanged();
    }
    emit usersChanged();
}

void Store::removeChat(qint64 chatId) {
    m_chats.erase(std::remove_if(m_chats.begin(), m_chats.end(),
                                 [chatId](const ChatSummary& c) { return c.id == chatId; }),
                  m_chats.end());
    m_unorderedTimelines.remove(chatId);
    if (m_messages.remove(chatId) > 0) emit timelineChanged(chatId, {TimelineChange::reset, 0, 0});
    if (selectedChatId() == chatId) setSelectedChatId(std::nullopt);
    emit chatRemoved(chatId);
}
