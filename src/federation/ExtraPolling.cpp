// Servers without a live link are followed by polling: the selected
// conversation's newest page, the typing state of the others, a full
// bootstrap now and then, and a burst of refreshes right after a send. Each
// server's link keeps the schedule; what a round fetches and merges is here.

#include "core/Logging.h"
#include "model/IDCodec.h"
#include "store/ServerLink.h"
#include "store/Store.h"

namespace {
constexpr int pageSize = 50;
} // namespace

void Store::startExtraPolling() {
    stopExtraPolling();
    for (const ServerProfile& profile : std::as_const(m_extraServers)) {
        const int server = profile.serverId;
        // The link runs a round only while it and so this store exist.
        ensureLink(server)->startPolling(
            [this, server](bool bootstrap, std::function<bool()> current) {
                return pollExtraServer(server, bootstrap, std::move(current));
            });
    }
}

void Store::stopExtraPolling() {
    for (auto it = m_links.cbegin(); it != m_links.cend(); ++it)
        if (it.key() != 0) it.value()->stopPolling();
}

bool Store::extraPolling() const {
    for (auto it = m_links.cbegin(); it != m_links.cend(); ++it)
        if (it.key() != 0 && it.value()->isPolling()) return true;
    return false;
}

// A server whose link is up sends its events there: its rounds fetch nothing.
QCoro::Task<> Store::pollExtraServer(int server, bool bootstrap, std::function<bool()> current) {
    const auto selected = selectedChatId();
    if (selected && IDCodec::serverId(*selected) == server && !linkUp(server)) {
        auto call = refreshExtraChat(*selected);
        co_await call;
        if (!current()) co_return;
    }
    auto sweep = sweepExtraTyping(server);
    co_await sweep;
    if (!current() || !bootstrap || linkUp(server)) co_return;
    if (const ServerProfile* profile = extraServer(server)) {
        auto call = connectServer(*profile);
        co_await call;
    }
}

QCoro::Task<> Store::refreshExtraChat(qint64 chatId) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    QList<Message> page;
    // The page replaces what it spans: a page that live events overtook is
    // asked for again, so a message they brought is not dropped by it.
    for (int attempt = 1;; ++attempt) {
        const quint64 mark = stateEventCount(r->server);
        try {
            auto call = r->api.messages(r->real, std::nullopt, pageSize);
            page = co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcFederation) << "page of an extra server failed; the next poll tries again:"
                                  << e.what();
            co_return;
        }
        if (!self || !route(chatId)) co_return;
        if (stateEventCount(r->server) == mark || attempt == maxOvertakenFetches) break;
    }
    for (Message& m : page) {
        remap(m, r->server);
        captureCCMarkers(m);
    }
    const auto firstReal =
        std::find_if(page.cbegin(), page.cend(), [](const Message& m) { return m.id > 0; });
    const std::optional<qint64> oldest =
        firstReal == page.cend() ? std::nullopt : std::optional<qint64>(firstReal->id);
    QList<Message> older;
    QList<Message> pending;
    for (const Message& m : m_messages.value(chatId)) {
        if (m.id < 0)
            pending.push_back(m);
        else if (m.id > 0 && (!oldest || m.id < *oldest))
            older.push_back(m);
    }
    m_messages[chatId] = older + page + pending;
    m_hasMore[chatId] = page.size() >= pageSize;
    emit timelineChanged(chatId, TimelineChange{});
    if (!page.isEmpty() && page.last().id > 0 && !page.last().isCCControl()) {
        for (ChatSummary& c : m_chats) {
            if (c.id != chatId) continue;
            c.lastMessage = page.last();
            break;
        }
        sortChats();
        emit chatsReset();
    }
    // A preview inside the page's span that the page no longer holds was deleted.
    if (const auto preview = m_visiblePreview.constFind(chatId);
        preview != m_visiblePreview.constEnd() && oldest && preview->id >= *oldest &&
        std::none_of(page.cbegin(), page.cend(),
                     [id = preview->id](const Message& m) { return m.id == id; }))
        m_visiblePreview.erase(preview);
    cacheVisiblePreview(latestVisibleMessage(chatId));
    const auto human = std::find_if(page.crbegin(), page.crend(), [this](const Message& m) {
        return !isBotUser(m.senderId) && !m.isCCControl();
    });
    if (human != page.crend()) bumpUserActivity(chatId, human->createdAt);
    refreshGlobalDeploy();
    notifyDeployReadyIfNeeded(chatId);
    if (selectedChatId() != chatId) co_return;
    markRead(chatId);
    if (linkUp(r->server)) co_return;
    auto typingCall = r->api.fetchTyping(r->real, deviceId());
    const QList<TypingUser> typers = co_await typingCall;
    if (self) reconcileTyping(chatId, r->server, typers);
}

QCoro::Task<> Store::sweepExtraTyping(int server) {
    QPointer<Store> self(this);
    if (linkUp(server)) co_return;
    QList<qint64> targets;
    for (const ChatSummary& c : std::as_const(m_chats))
        if (IDCodec::serverId(c.id) == server && c.id != selectedChatId()) targets.push_back(c.id);
    // One after the other, once per round.
    for (qint64 chatId : targets) {
        const auto r = route(chatId);
        if (!r) continue;
        auto call = r->api.fetchTyping(r->real, deviceId());
        const QList<TypingUser> typers = co_await call;
        if (!self) co_return;
        reconcileTyping(chatId, r->server, typers);
    }
}

void Store::reconcileTyping(qint64 chatId, int server, const QList<TypingUser>& typers) {
    QHash<qint64, QDateTime> next;
    const QDateTime now = QDateTime::currentDateTime();
    for (const TypingUser& t : typers)
        next.insert(mapUserId(t.userId, server), now);
    const QHash<qint64, QDateTime> before = m_typing.value(chatId);
    if (next.isEmpty())
        m_typing.remove(chatId);
    else
        m_typing.insert(chatId, next);
    if (before.keys() != next.keys() || !next.isEmpty()) emit typingChanged(chatId);
}

void Store::burstRefreshExtra(qint64 chatId) {
    const int server = IDCodec::serverId(chatId);
    // The primary and linked servers send their events on the link.
    ServerLink* serverLink = server == 0 ? nullptr : link(server);
    if (!serverLink || serverLink->isUp()) return;
    const QPointer<Store> self(this);
    serverLink->burst([self, chatId] { return self && self->selectedChatId() == chatId; },
                      [self, chatId] { return self->refreshExtraChat(chatId); });
}
