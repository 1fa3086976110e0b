// The one dispatcher for everything a server pushes. Frames are handled one
// at a time in arrival order; an extra server's ids are made global first.

#include "model/IDCodec.h"
#include "store/Store.h"

namespace {
constexpr double typingShownFor = 5.0;
constexpr double typingSweepAfter = 5.2;
constexpr double buildDeadMan = 90.0;

// Events whose effect a bootstrap reply also carries. Typing and presence are
// kept as they are by every merge, so they cannot be undone by one.
bool carriedByBootstrap(const QString& type) {
    static const QStringList types{
        QStringLiteral("message"),       QStringLiteral("buildStatus"),
        QStringLiteral("read"),          QStringLiteral("messageDeleted"),
        QStringLiteral("messageEdited"), QStringLiteral("messageUpdated"),
        QStringLiteral("chatCreated"),   QStringLiteral("chatUpdated"),
        QStringLiteral("chatRemoved"),   QStringLiteral("userJoined"),
        QStringLiteral("userUpdated")};
    return types.contains(type);
}
} // namespace

void Store::handleEvent(const QString& text, int server) {
    WsEvent event;
    try {
        event = json::decode<WsEvent>(text.toUtf8());
    } catch (const std::exception&) {
        return; // not an event: dropped without a trace
    }
    if (server != 0) {
        if (event.message) remap(*event.message, server);
        if (event.chat) remap(*event.chat, server);
        if (event.user) remap(*event.user, server);
        if (event.chatId) event.chatId = IDCodec::encode(*event.chatId, server);
        if (event.userId) event.userId = mapUserId(*event.userId, server);
        if (event.messageId) event.messageId = IDCodec::encode(*event.messageId, server);
        if (event.onlineIds)
            for (qint64& id : *event.onlineIds)
                id = mapUserId(id, server);
    }
    const QString& type = event.type;
    if (carriedByBootstrap(type)) ++m_stateEvents[server];
    if (type == QLatin1String("message")) {
        if (event.message) handleNewMessage(*event.message, server);
    } else if (type == QLatin1String("typing")) {
        handleTyping(event);
    } else if (type == QLatin1String("buildStatus")) {
        handleBuildStatus(event);
    } else if (type == QLatin1String("read")) {
        handleRead(event);
    } else if (type == QLatin1String("messageDeleted")) {
        if (event.chatId && event.messageId) removeMessage(*event.chatId, *event.messageId);
    } else if (type == QLatin1String("messageEdited") || type == QLatin1String("messageUpdated")) {
        if (!event.message) return;
        upsertMessage(*event.message);
        refreshChatLastIfNeeded(*event.message);
    } else if (type == QLatin1String("chatCreated") || type == QLatin1String("chatUpdated")) {
        if (!event.chat) return;
        upsertChat(*event.chat);
        // Roles are not part of the record: a change to a group may be one of them.
        if (server == 0 && event.chat->isGroup())
            [](QPointer<Store> self) -> QCoro::Task<> {
                if (self) co_await self->loadGroupRoles();
            }(QPointer<Store>(this));
    } else if (type == QLatin1String("chatRemoved")) {
        if (event.chatId) removeChat(*event.chatId);
    } else if (type == QLatin1String("userJoined")) {
        if (!event.user) return;
        const qint64 id = event.user->id;
        const bool known =
            std::any_of(m_users.begin(), m_users.end(), [id](const User& u) { return u.id == id; });
        upsertUser(*event.user);
        if (!known && (!m_me || m_me->id != id)) notifyUserJoined(*event.user);
    } else if (type == QLatin1String("userUpdated")) {
        if (!event.user) return;
        upsertUser(*event.user);
        // An extra server never replaces the primary identity.
        if (server == 0 && m_me && m_me->id == event.user->id) {
            m_me = *event.user;
            persistMe();
            emit sessionChanged();
        }
    } else if (type == QLatin1String("presence")) {
        handlePresence(event, server);
    } else if (type == QLatin1String("presenceSnapshot")) {
        handlePresenceSnapshot(event, server);
    }
}

void Store::handleNewMessage(const Message& message, int server) {
    const qint64 chatId = message.chatId;
    if (m_typing.contains(chatId) && m_typing[chatId].remove(message.senderId) > 0)
        emit typingChanged(chatId);
    if (!chat(chatId)) {
        // The client is out of date: fetch the whole picture instead of storing this.
        if (server == 0) {
            [](QPointer<Store> self) -> QCoro::Task<> {
                if (self) co_await self->resync();
            }(QPointer<Store>(this));
        } else if (const ServerProfile* profile = extraServer(server)) {
            [](QPointer<Store> self, ServerProfile p) -> QCoro::Task<> {
                if (self) co_await self->connectServer(p);
            }(QPointer<Store>(this), *profile);
        }
        return;
    }
    const bool seen = captureCCSeen(message);
    if (captureCCProcessed(message) || seen) emit ccStateChanged(chatId);
    if (m_messages.contains(chatId)) {
        upsertMessage(message);
    } else if (selectedChatId() == chatId) {
        [](QPointer<Store> self, qint64 id) -> QCoro::Task<> {
            if (self) co_await self->openChat(id);
        }(QPointer<Store>(this), chatId);
    }
    updateChatLast(message);
    if (!isBotUser(message.senderId) && message.id > 0 && !message.isCCControl())
        bumpUserActivity(chatId, message.createdAt);
    const bool mine = m_me && message.senderId == m_me->id;
    if (selectedChatId() == chatId && appActive()) {
        markRead(chatId);
    } else if (!mine && !message.isCCControl() && !message.isCCWorking()) {
        for (ChatSummary& c : m_chats) {
            if (c.id != chatId) continue;
            c.unread = c.unread.value_or(0) + 1;
            emit chatChanged(chatId);
            break;
        }
    }
    refreshBadge();
    notifyIfNeeded(message);
    showInAppBanner(message);
    notifyDeployReadyIfNeeded(chatId);
    refreshGlobalDeploy();
}

void Store::handleTyping(const WsEvent& event) {
    if (!event.chatId || !event.user) return;
    // Our own echo carries this device's id; another device of the same person counts.
    if (event.device && !event.device->isEmpty() && *event.device == deviceId()) return;
    const qint64 chatId = *event.chatId;
    const qint64 userId = event.user->id;
    m_typing[chatId][userId] = QDateTime::currentDateTime();
    emit typingChanged(chatId);
    [](QPointer<Store> self, qint64 chatId, qint64 userId) -> QCoro::Task<> {
        co_await self->sleep(typingSweepAfter);
        if (!self) co_return;
        auto chatIt = self->m_typing.find(chatId);
        if (chatIt == self->m_typing.end()) co_return;
        auto entry = chatIt->find(userId);
        if (entry == chatIt->end()) co_return;
        if (entry->msecsTo(QDateTime::currentDateTime()) >= self->scaledMs(typingShownFor)) {
            chatIt->erase(entry);
            emit self->typingChanged(chatId);
        }
    }(QPointer<Store>(this), chatId, userId);
}

void Store::handleBuildStatus(const WsEvent& event) {
    if (!event.chatId || !event.state) return;
    const qint64 chatId = *event.chatId;
    const int generation = m_buildClearGen.value(chatId, 0) + 1;
    m_buildClearGen[chatId] = generation;
    if (*event.state == QLatin1String("done") || *event.state == QLatin1String("idle")) {
        m_builds.remove(chatId);
        emit buildsChanged(chatId);
        // A finished build is often the end of a deploy.
        refreshGlobalDeploy();
        notifyDeployReadyIfNeeded(chatId);
        return;
    }
    m_builds[chatId] = BuildStatus{*event.state, event.percent, event.label};
    emit buildsChanged(chatId);
    // A status that hears nothing for 90 s clears itself.
    [](QPointer<Store> self, qint64 chatId, int generation) -> QCoro::Task<> {
        co_await self->sleep(buildDeadMan);
        if (!self || self->m_buildClearGen.value(chatId, 0) != generation) co_return;
        self->m_builds.remove(chatId);
        emit self->buildsChanged(chatId);
    }(QPointer<Store>(this), chatId, generation);
}

void Store::handleRead(const WsEvent& event) {
    if (!event.chatId || !event.userId || !event.messageId) return;
    const qint64 chatId = *event.chatId;
    const qint64 userId = *event.userId;
    if (*event.messageId >= m_reads.value(chatId).value(userId, 0)) {
        m_reads[chatId][userId] = *event.messageId;
        m_readAt[chatId][userId] = event.at.value_or(nowMs());
        emit readsChanged(chatId);
    }
    // Read on another device: the local effect of reading lands here.
    if (m_me && userId == m_me->id) clearUnread(chatId);
}

void Store::handlePresence(const WsEvent& event, int server) {
    if (!event.userId || !event.online) return;
    const qint64 userId = *event.userId;
    // A user folded onto another server's identity is reported by that server only.
    if (IDCodec::serverId(userId) != server) return;
    if (*event.online) {
        m_onlineUserIds.insert(userId);
    } else {
        m_onlineUserIds.remove(userId);
        if (event.lastSeen)
            for (User& u : m_users)
                if (u.id == userId) u.lastSeen = event.lastSeen;
    }
    emit presenceChanged();
}

void Store::handlePresenceSnapshot(const WsEvent& event, int server) {
    QSet<qint64> next;
    for (qint64 id : std::as_const(m_onlineUserIds))
        if (IDCodec::serverId(id) != server) next.insert(id);
    for (qint64 id : event.onlineIds.value_or(QList<qint64>{}))
        if (IDCodec::serverId(id) == server) next.insert(id);
    m_onlineUserIds = std::move(next);
    emit presenceChanged();
}
