// How conversations and people enter and leave the store.

#include "store/Store.h"

bool Store::isBotUser(qint64 id) const {
    return (agentId && *agentId == id) || botIds.contains(id) || extraBotIds.contains(id);
}

// Live traffic looks conversations up by id for every message: a remembered
// position answers at once, and a position that no longer holds rebuilds the index.
const ChatSummary* Store::chat(qint64 chatId) const {
    auto hit = m_chatIndex.constFind(chatId);
    if (hit == m_chatIndex.constEnd() || *hit >= chats.size() || chats[*hit].id != chatId) {
        reindexChats();
        hit = m_chatIndex.constFind(chatId);
        if (hit == m_chatIndex.constEnd()) return nullptr;
    }
    return &chats[*hit];
}

void Store::reindexChats() const {
    m_chatIndex.clear();
    m_chatIndex.reserve(chats.size());
    for (int i = 0; i < chats.size(); ++i)
        m_chatIndex.insert(chats[i].id, i);
}

bool Store::isSavedMessages(const ChatSummary& c) const {
    // A direct conversation of the person with themselves.
    if (c.isGroup() || !me || c.members.isEmpty()) return false;
    return std::all_of(c.members.begin(), c.members.end(),
                       [this](const User& u) { return u.id == me->id; });
}

void Store::upsertChat(const ChatSummary& c) {
    auto found = std::find_if(chats.begin(), chats.end(),
                              [&](const ChatSummary& existing) { return existing.id == c.id; });
    if (found != chats.end())
        *found = c;
    else
        chats.push_back(c);
    seedReads(c);
    cacheVisiblePreview(c.lastMessage);
    if (c.lastMessage && !isBotUser(c.lastMessage->senderId) && !c.lastMessage->isCCControl())
        bumpUserActivity(c.id, c.lastMessage->createdAt);
    resolveBuriedUserActivity(c);
    emit chatChanged(c.id);
}

void Store::upsertUser(const User& user) {
    auto found =
        std::find_if(users.begin(), users.end(), [&](const User& u) { return u.id == user.id; });
    if (found != users.end())
        *found = user;
    else
        users.push_back(user);
    for (ChatSummary& c : chats) {
        for (User& member : c.members) {
            if (member.id != user.id) continue;
            member = user;
            emit chatChanged(c.id);
        }
    }
    if (me && me->id == user.id) {
        me = user;
        emit sessionChanged();
    }
    emit usersChanged();
}

void Store::removeChat(qint64 chatId) {
    chats.erase(std::remove_if(chats.begin(), chats.end(),
                               [chatId](const ChatSummary& c) { return c.id == chatId; }),
                chats.end());
    m_unorderedTimelines.remove(chatId);
    if (messages.remove(chatId) > 0) emit timelineChanged(chatId, {TimelineChange::reset, 0, 0});
    if (selectedChatId() == chatId) setSelectedChatId(std::nullopt);
    emit chatRemoved(chatId);
}
