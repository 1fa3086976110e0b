// Conversations and groups as operations on a server: starting direct
// conversations, groups and their members and roles, renaming, deleting, the
// agent's and the saved-messages conversation.

#include "model/IDCodec.h"
#include "store/Store.h"

#include <QHash>
#include <algorithm>

namespace {
// Only the newest load of a store's group roles lands, and a role set here
// outdates every load already under way: loads may answer out of order.
quint64& rolesGeneration(const Store* store) {
    static QHash<const Store*, quint64> generations;
    return generations[store];
}
} // namespace

QCoro::Task<std::optional<ChatSummary>> Store::createGroup(QString title, QList<qint64> memberIds) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return std::nullopt;
    try {
        auto call = primary->createGroup(title, memberIds);
        const ChatSummary created = co_await call;
        if (!self) co_return std::nullopt;
        upsertChat(created);
        co_return created;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return std::nullopt;
    }
}

QCoro::Task<std::optional<ChatSummary>> Store::startDirect(User user) {
    QPointer<Store> self(this);
    const int server = IDCodec::serverId(user.id);
    const auto target = apiFor(server);
    if (!target) co_return std::nullopt;
    try {
        auto call = target->createDirect(unmapUserId(user.id, server));
        ChatSummary direct = co_await call;
        if (!self) co_return std::nullopt;
        remap(direct, server);
        upsertChat(direct);
        co_return direct;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return std::nullopt;
    }
}

QCoro::Task<> Store::renameGroup(qint64 chatId, QString title) {
    auto call = renameChat(chatId, title);
    co_await call;
}

QCoro::Task<> Store::renameChat(qint64 chatId, QString title) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    try {
        auto call = r->api.renameChat(r->real, title);
        ChatSummary renamed = co_await call;
        if (!self) co_return;
        remap(renamed, r->server);
        upsertChat(renamed);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::deleteChat(qint64 chatId) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    try {
        auto call = r->api.deleteChat(r->real);
        co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    removeChat(chatId);
    // A server joined for one conversation goes with its last one.
    if (r->server == 0) co_return;
    const bool othersRemain =
        std::any_of(m_chats.cbegin(), m_chats.cend(),
                    [&](const ChatSummary& c) { return IDCodec::serverId(c.id) == r->server; });
    if (othersRemain) co_return;
    if (const ServerProfile* profile = extraServer(r->server)) removeServer(*profile);
}

QCoro::Task<> Store::removeChatMember(qint64 chatId, User user) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    try {
        auto call = r->api.removeChatMember(r->real, unmapUserId(user.id, r->server));
        co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    if (m_me && user.id == m_me->id) {
        removeChat(chatId); // leaving the group
        co_return;
    }
    const ChatSummary* known = chat(chatId);
    if (!known) co_return;
    ChatSummary& c = m_chats[int(known - m_chats.constData())];
    c.members.removeIf([&](const User& m) { return m.id == user.id; });
    emit chatChanged(chatId);
}

QCoro::Task<> Store::addGroupMembers(qint64 chatId, QList<qint64> userIds) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->addGroupMembers(chatId, userIds);
        const ChatSummary updated = co_await call;
        if (!self) co_return;
        upsertChat(updated);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

// MARK: Roles

QCoro::Task<> Store::loadGroupRoles() {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary || !token()) co_return;
    const quint64 generation = ++rolesGeneration(this);
    GroupRolesResponse reply;
    try {
        auto call = primary->groupRoles();
        reply = co_await call;
    } catch (const std::exception&) {
        co_return; // part of the background refresh: the next resync tries again
    }
    if (!self || generation != rolesGeneration(this)) co_return;
    QHash<qint64, QHash<qint64, GroupRole>> next;
    for (const GroupRoleEntry& entry : std::as_const(reply.groupRoles))
        next[entry.chatId][entry.userId] = entry.role;
    m_groupRoles = std::move(next);
    emit groupRolesChanged();
}

QCoro::Task<> Store::setGroupRole(qint64 chatId, qint64 userId, GroupRole role) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->setGroupRole(chatId, userId, role);
        co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    ++rolesGeneration(this);
    m_groupRoles[chatId][userId] = role;
    emit groupRolesChanged();
}

GroupRole Store::groupRole(qint64 chatId, qint64 userId) const {
    return m_groupRoles.value(chatId).value(userId, GroupRole::user);
}

bool Store::canManageGroup(qint64 chatId) const {
    if (!m_me) return false;
    const GroupRole role = groupRole(chatId, m_me->id);
    return role == GroupRole::owner || role == GroupRole::admin;
}

// MARK: The agent's and the person's own conversation

bool Store::isAIChannel(const ChatSummary& c) const {
    bool anyOther = false;
    for (const User& member : c.members) {
        if (m_me && member.id == m_me->id) continue;
        if (!isBotUser(member.id)) return false;
        anyOther = true;
    }
    return anyOther;
}

QCoro::Task<> Store::ensureAgentChat() {
    QPointer<Store> self(this);
    const auto holdsAgent = [this](const ChatSummary& c) {
        return m_agentId && std::any_of(c.members.begin(), c.members.end(),
                                        [this](const User& u) { return u.id == *m_agentId; });
    };
    if (m_agentChatId) {
        const ChatSummary* known = chat(*m_agentChatId);
        if (known && holdsAgent(*known)) co_return;
    }
    if (!m_agentId) {
        co_await resync();
        if (!self) co_return;
    }
    const auto primary = api();
    if (!m_agentId || !primary) {
        setLastError(QStringLiteral("AI agent unavailable — check the server"));
        co_return;
    }
    try {
        auto call = primary->createDirect(*m_agentId);
        const ChatSummary direct = co_await call;
        if (!self) co_return;
        upsertChat(direct);
        m_agentChatId = direct.id;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::openAgentChat() {
    QPointer<Store> self(this);
    co_await ensureAgentChat();
    if (self && m_agentChatId && chat(*m_agentChatId)) setSelectedChatId(*m_agentChatId);
}

QCoro::Task<> Store::openSavedMessages() {
    QPointer<Store> self(this);
    if (!m_me) co_return;
    for (const ChatSummary& c : std::as_const(m_chats)) {
        if (!isSavedMessages(c)) continue;
        m_savedChatId = c.id;
        setSelectedChatId(c.id);
        co_return;
    }
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->createDirect(m_me->id);
        const ChatSummary saved = co_await call;
        if (!self) co_return;
        upsertChat(saved);
        m_savedChatId = saved.id;
        setSelectedChatId(saved.id);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::setTavikAgent(qint64 chatId, bool on) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->setTavikAgent(chatId, on);
        const ChatSummary updated = co_await call;
        if (!self) co_return;
        upsertChat(updated);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}
