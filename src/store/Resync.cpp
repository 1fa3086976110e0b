// The whole picture of the primary server in one merge, and the small
// operations around it: engines, badge, push token, host polling.

#include "core/Logging.h"
#include "core/Notifier.h"
#include "model/IDCodec.h"
#include "store/Store.h"

namespace {
constexpr int pageSize = 50;
constexpr double hostPollInterval = 4.0;
} // namespace

QCoro::Task<> Store::resync() {
    QPointer<Store> self(this);
    if (m_resyncRunning) {
        // The running resync may have asked before what this caller needs to see.
        m_resyncAgain = true;
        co_await waitWhile([](const Store& s) { return s.m_resyncRunning; });
        co_return;
    }
    m_resyncRunning = true;
    do {
        m_resyncAgain = false;
        co_await resyncRound();
        if (!self) co_return;
    } while (m_resyncAgain);
    m_resyncRunning = false;
    emit resyncFinished();
}

QCoro::Task<> Store::resyncRound() {
    QPointer<Store> self(this);
    const std::optional<BootstrapResponse> reply = co_await fetchPrimaryBootstrap();
    if (!self || !reply) co_return;
    mergeBootstrap(*reply);
    co_await refreshSelectedAfterResync();
    if (!self || !token()) co_return;
    startFederationFollowUps(*reply);
}

// The bootstrap to merge. A reply that live events overtook may predate them,
// and merging it would undo what they did: a new conversation would vanish, a
// preview would roll back. Such a reply is dropped and asked for again rather
// than the events replayed after the merge, because replaying would count
// their unread marks and notifications twice; a reply asked for after an
// event carries its effect exactly once. The retries are bounded so that a
// server that never falls quiet still gets merged.
QCoro::Task<std::optional<BootstrapResponse>> Store::fetchPrimaryBootstrap() {
    QPointer<Store> self(this);
    for (int attempt = 1;; ++attempt) {
        const auto primary = api();
        if (!primary || !token()) co_return std::nullopt;
        const QString askedWith = *token();
        const quint64 mark = stateEventCount(0);
        BootstrapResponse reply;
        try {
            auto call = primary->bootstrap();
            reply = co_await call;
        } catch (const std::exception& e) {
            // Everything stays as it was; the person sees why.
            if (self) setLastError(describeError(e));
            co_return std::nullopt;
        }
        if (!self || !token()) co_return std::nullopt;
        // Another account signed in meanwhile: this picture is not theirs.
        if (*token() != askedWith && m_me && reply.me.id != m_me->id) co_return std::nullopt;
        if (stateEventCount(0) == mark || attempt == maxOvertakenFetches) co_return reply;
    }
}

void Store::mergeBootstrap(const BootstrapResponse& reply) {
    m_me = reply.me;
    m_users = reply.users;
    m_agentId = reply.agentId;
    m_didBootstrap = true;
    const QList<qint64> bots = reply.botIds.value_or(QList<qint64>{});
    m_botIds = QSet<qint64>(bots.begin(), bots.end());
    applyAvailableEngines(reply.transcriptionEngines);

    const std::optional<ClaudeHost>& host = reply.claudeHost;
    m_claudeHostOnline = host && host->online;
    setClaudeHostName(host ? host->mac : std::nullopt);
    if (host && host->platform && serverPlatform().value(0) != *host->platform) {
        auto platforms = serverPlatform();
        platforms.insert(0, *host->platform);
        setServerPlatform(platforms);
    }
    [](QPointer<Store> self) -> QCoro::Task<> {
        if (self) co_await self->captureServerOS();
    }(QPointer<Store>(this));
    m_claudeRescueOnline = host && host->rescueOnline.value_or(false);
    m_claudeInputHelperOnline = host && host->inputHelperOnline.value_or(false);
    if (host && host->usage) setClaudeUsage(host->usage);

    // Extra servers' conversations keep their place; the primary's are replaced.
    QList<ChatSummary> next = reply.chats;
    sanitizeLastMessages(next);
    for (const ChatSummary& c : std::as_const(m_chats))
        if (IDCodec::serverId(c.id) != 0) next.push_back(c);
    m_chats = std::move(next);
    sortChats();
    syncBuilds(reply.builds, 0);

    for (const ChatSummary& c : std::as_const(m_chats))
        seedReads(c);
    for (const ChatSummary& c : std::as_const(m_chats)) {
        cacheVisiblePreview(c.lastMessage);
        if (c.lastMessage) captureCCMarkers(*c.lastMessage);
        if (c.lastMessage && !isBotUser(c.lastMessage->senderId) && !c.lastMessage->isCCControl())
            bumpUserActivity(c.id, c.lastMessage->createdAt);
        resolveBuriedUserActivity(c);
    }
    refreshBadge();
    setLastError(std::nullopt);

    // Timelines of this server reload when opened; the selected one and extra servers' stay.
    for (auto it = m_messages.begin(); it != m_messages.end();) {
        const bool keep = it.key() == selectedChatId() || IDCodec::serverId(it.key()) != 0;
        it = keep ? std::next(it) : m_messages.erase(it);
    }
    emit sessionChanged();
    emit usersChanged();
    emit chatsReset();
    emit hostChanged();
}

QCoro::Task<> Store::refreshSelectedAfterResync() {
    QPointer<Store> self(this);
    const auto selected = selectedChatId();
    const auto primary = api();
    if (selected && primary) {
        try {
            auto call = primary->messages(*selected, std::nullopt, pageSize);
            const QList<Message> page = co_await call;
            if (!self) co_return;
            for (const Message& m : page)
                captureCCMarkers(m);
            if (mergeNewestPage(*selected, page, true))
                m_hasMore[*selected] = page.size() >= pageSize;
        } catch (const std::exception& e) {
            qCDebug(lcStore) << "the selected conversation was not refreshed after a resync:"
                             << e.what();
        }
        if (!self) co_return;
    }
    co_await loadGroupRoles();
}

void Store::sanitizeLastMessages(QList<ChatSummary>& list) const {
    for (ChatSummary& c : list) {
        if (!c.lastMessage || !c.lastMessage->isCCControl()) continue;
        // A control message must not stand for the conversation in the list.
        const QList<Message> local = m_messages.value(c.id);
        auto found = std::find_if(local.crbegin(), local.crend(),
                                  [](const Message& m) { return m.id > 0 && !m.isCCControl(); });
        if (found != local.crend()) {
            c.lastMessage = *found;
            continue;
        }
        const ChatSummary* current = chat(c.id);
        if (current && current->lastMessage && !current->lastMessage->isCCControl())
            c.lastMessage = current->lastMessage;
    }
}

void Store::seedReads(const ChatSummary& c) {
    if (!c.reads) return;
    QHash<qint64, qint64> chatReads = m_reads.value(c.id);
    QHash<qint64, qint64> chatReadAt = m_readAt.value(c.id);
    for (const ReadMark& mark : *c.reads) {
        if (mark.lastReadId >= chatReads.value(mark.userId, 0)) {
            chatReads[mark.userId] = mark.lastReadId;
            if (mark.updatedAt) chatReadAt[mark.userId] = *mark.updatedAt;
        }
    }
    m_reads[c.id] = chatReads;
    m_readAt[c.id] = chatReadAt;
    emit readsChanged(c.id);
}

QList<TranscriptionEngine> Store::selectableEngines() const {
    // No on-device recogniser exists on this platform, so only server engines can be chosen.
    return m_availableServerEngines;
}

void Store::applyAvailableEngines(const std::optional<QList<QString>>& names) {
    // An old server that lists nothing still transcribes with whisper.
    const QList<QString> given = names.value_or(QList<QString>{QStringLiteral("whisper")});
    QList<TranscriptionEngine> engines;
    for (const QString& name : given)
        if (const auto engine = engineFromRaw(name); engine && !isOnDevice(*engine))
            engines.push_back(*engine);
    if (engines.isEmpty()) engines = {TranscriptionEngine::whisper};
    m_availableServerEngines = engines;
    if (!selectableEngines().contains(transcriptionEngine()))
        setTranscriptionEngine(TranscriptionEngine::apple);
}

void Store::startHostStatusPolling() {
    if (m_hostPollStarted) return;
    m_hostPollStarted = true;
    [](QPointer<Store> self) -> QCoro::Task<> {
        while (self) {
            if (self->token()) {
                co_await self->refreshClaudeUsage();
                if (!self) co_return;
            }
            co_await self->sleep(hostPollInterval);
        }
    }(QPointer<Store>(this));
}

void Store::refreshBadge() {
    // With notifications off the badge stays empty too.
    const int count = notificationStyle() == NotificationStyle::off ? 0 : unreadChatCount();
    notifier().setBadge(count);
    if (count == m_badgeCount) return;
    m_badgeCount = count;
    emit badgeChanged(count);
}

QCoro::Task<> Store::sendPushToken(QString newToken) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary || !token()) co_return;
    m_pushToken = newToken;
    try {
        auto call = primary->registerPushToken(newToken);
        co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcStore) << "push token not registered:" << e.what();
    }
    if (!self) co_return;
    try {
        auto call = primary->setNotifPrefs(m_notifPrefs, newToken);
        co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcStore) << "notification choices not sent with the push token:" << e.what();
    }
}
