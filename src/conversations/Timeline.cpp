// Conversation histories: filled from the server in pages, changed one
// message at a time, and the message that stands for a conversation in the
// list. Agent sessions fill conversations with hidden traffic, so most rules
// here separate what a person sees from what merely travels.

#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "core/PrefsMaps.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QTimer>

namespace {
constexpr int pageSize = 50;
constexpr int maxInvisiblePages = 20;

bool isVisible(const Message& m) {
    return !m.isCCControl() && !m.isCCWorking();
}
} // namespace

bool Store::isVisibleInTimeline(const Message& message) const {
    return isVisible(message);
}

// MARK: Paging

QCoro::Task<> Store::openChat(qint64 chatId) {
    QPointer<Store> self(this);
    if (IDCodec::serverId(chatId) == 0) {
        const auto primary = api();
        if (!primary) co_return;
        QList<Message> page;
        try {
            auto call = primary->messages(chatId, std::nullopt, pageSize);
            page = co_await call;
        } catch (const std::exception& e) {
            if (self) setLastError(describeError(e));
            co_return;
        }
        if (!self) co_return;
        for (const Message& m : std::as_const(page))
            captureCCMarkers(m);
        mergeNewestPage(chatId, page, false);
        m_hasMore[chatId] = page.size() >= pageSize;
    } else {
        auto call = refreshExtraChat(chatId);
        co_await call;
        if (!self) co_return;
    }
    bumpUserActivity(chatId, std::nullopt);
    refreshGlobalDeploy();
    co_await ensureVisibleLoaded(chatId);
}

QCoro::Task<> Store::ensureVisibleLoaded(qint64 chatId) {
    QPointer<Store> self(this);
    for (int pages = 0; pages < maxInvisiblePages; ++pages) {
        if (!m_hasMore.value(chatId) || visibleMessageCount(chatId) > 0) co_return;
        const qsizetype before = m_messages.value(chatId).size();
        co_await loadOlder(chatId);
        if (!self || m_messages.value(chatId).size() == before) co_return;
    }
}

int Store::visibleMessageCount(qint64 chatId) const {
    const auto it = m_messages.constFind(chatId);
    if (it == m_messages.constEnd()) return 0;
    // A queued message does not count as conversation yet.
    return int(std::count_if(it->begin(), it->end(), [this](const Message& m) {
        return isVisible(m) && ccStatus(m) != CCMessageStatus::pending;
    }));
}

QCoro::Task<> Store::loadOlder(qint64 chatId) {
    QPointer<Store> self(this);
    if (IDCodec::serverId(chatId) != 0) {
        co_await loadOlderExtra(chatId);
        co_return;
    }
    const auto primary = api();
    if (m_loadingOlder.contains(chatId) || !m_hasMore.value(chatId) || !primary) co_return;
    const QList<Message> local = m_messages.value(chatId);
    const auto first =
        std::find_if(local.begin(), local.end(), [](const Message& m) { return m.id > 0; });
    if (first == local.end()) co_return;
    m_loadingOlder.insert(chatId);
    QList<Message> page;
    bool ok = true;
    try {
        auto call = primary->messages(chatId, first->id, pageSize);
        page = co_await call;
    } catch (const std::exception& e) {
        ok = false;
        if (self) setLastError(describeError(e));
    }
    if (!self) co_return;
    m_loadingOlder.remove(chatId);
    if (!ok) co_return;
    // Markers come only from the newest page and live traffic, not from older pages.
    QList<Message>& target = m_messages[chatId];
    target = page + target;
    m_hasMore[chatId] = page.size() >= pageSize;
    if (!page.isEmpty())
        emit timelineChanged(chatId, {TimelineChange::inserted, 0, int(page.size())});
}

QCoro::Task<> Store::loadOlderExtra(qint64 chatId) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    const QList<Message> local = m_messages.value(chatId);
    const auto first =
        std::find_if(local.begin(), local.end(), [](const Message& m) { return m.id > 0; });
    if (first == local.end()) co_return;
    QList<Message> page;
    try {
        auto call = r->api.messages(r->real, IDCodec::decode(first->id).real, pageSize);
        page = co_await call;
    } catch (const std::exception&) {
        co_return; // background work: dropped
    }
    if (!self) co_return;
    for (Message& m : page)
        remap(m, r->server);
    QList<Message>& target = m_messages[chatId];
    target = page + target;
    m_hasMore[chatId] = page.size() >= pageSize;
    if (!page.isEmpty())
        emit timelineChanged(chatId, {TimelineChange::inserted, 0, int(page.size())});
}

QCoro::Task<> Store::prefetchHistories() {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    QList<qint64> pending;
    for (const ChatSummary& c : std::as_const(m_chats))
        if (!m_messages.contains(c.id)) pending.push_back(c.id);
    // Strictly one at a time, so a long list does not open dozens of requests.
    for (qint64 chatId : std::as_const(pending)) {
        if (IDCodec::serverId(chatId) != 0) continue;
        QList<Message> page;
        try {
            auto call = primary->messages(chatId, std::nullopt, pageSize);
            page = co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcConversations)
                << "prefetch of a conversation failed; it loads when opened:" << e.what();
            if (!self) co_return;
            continue;
        }
        if (!self) co_return;
        for (const Message& m : std::as_const(page))
            captureCCMarkers(m);
        if (m_messages.contains(chatId)) continue; // an openChat won the race
        m_messages.insert(chatId, page);
        m_hasMore[chatId] = page.size() >= pageSize;
        emit timelineChanged(chatId, {TimelineChange::reset, 0, int(page.size())});
        bumpUserActivity(chatId, std::nullopt);
    }
    refreshGlobalDeploy();
}

// MARK: Single messages

int Store::insertionIndex(const QList<Message>& list, const Message& message) const {
    for (int i = 0; i < list.size(); ++i)
        if (list[i].id > 0 && list[i].id > message.id) return i;
    // Real messages land in front of pending ones.
    for (int i = 0; i < list.size(); ++i)
        if (list[i].id < 0) return i;
    return int(list.size());
}

// Where a message goes in a history whose real messages ascend before the
// pending ones: found from the end, where live traffic lands. -1 - index
// means "replace at index".
static int orderedPlace(const QList<Message>& list, qint64 id) {
    int i = int(list.size()) - 1;
    while (i >= 0 && list[i].id < 0)
        --i;
    for (; i >= 0; --i) {
        if (list[i].id == id) return -1 - i;
        if (list[i].id < id) break;
    }
    return i + 1;
}

void Store::upsertMessage(const Message& message) {
    captureCCMarkers(message);
    auto it = m_messages.find(message.chatId);
    // A live message never creates a history: an unloaded one stays unloaded.
    if (it == m_messages.end()) return;
    QList<Message>& list = *it;
    if (!m_unorderedTimelines.contains(message.chatId) && message.id > 0) {
        const int place = orderedPlace(list, message.id);
        if (place < 0) {
            list[-1 - place] = message;
            emit timelineChanged(message.chatId, {TimelineChange::replaced, -1 - place, 1});
        } else {
            list.insert(place, message);
            emit timelineChanged(message.chatId, {TimelineChange::inserted, place, 1});
        }
        return;
    }
    for (int i = 0; i < list.size(); ++i) {
        if (list[i].id != message.id) continue;
        list[i] = message;
        emit timelineChanged(message.chatId, {TimelineChange::replaced, i, 1});
        return;
    }
    const int index = insertionIndex(list, message);
    list.insert(index, message);
    emit timelineChanged(message.chatId, {TimelineChange::inserted, index, 1});
}

bool Store::mergeNewestPage(qint64 chatId, const QList<Message>& page, bool pendingOnlyTakesPage) {
    QList<Message>& local = m_messages[chatId];
    if (local.isEmpty()) {
        local = page;
        m_unorderedTimelines.remove(chatId);
        emit timelineChanged(chatId, {TimelineChange::reset, 0, int(local.size())});
        return true;
    }
    const auto lastReal =
        std::find_if(local.crbegin(), local.crend(), [](const Message& m) { return m.id > 0; });
    if (lastReal == local.crend() && !pendingOnlyTakesPage) return false;
    const qint64 after = lastReal == local.crend() ? 0 : lastReal->id;
    fillHoles(chatId, page, after);
    const int start = int(local.size());
    // Appending behind pending copies leaves real messages after them.
    if (local.last().id < 0) m_unorderedTimelines.insert(chatId);
    for (const Message& m : page)
        if (m.id > after) local.push_back(m);
    if (local.size() > start)
        emit timelineChanged(chatId, {TimelineChange::inserted, start, int(local.size()) - start});
    return false;
}

// Messages the live link missed while it was down but newer ones already
// arrived over it: they belong inside the tail, not behind it. Copies the
// client holds stay as they are.
void Store::fillHoles(qint64 chatId, const QList<Message>& page, qint64 upTo) {
    if (m_unorderedTimelines.contains(chatId)) return;
    QList<Message>& local = m_messages[chatId];
    for (const Message& m : page) {
        if (m.id <= 0 || m.id >= upTo) continue;
        const int place = orderedPlace(local, m.id);
        if (place < 0) continue;
        local.insert(place, m);
        emit timelineChanged(chatId, {TimelineChange::inserted, place, 1});
    }
}

void Store::removeMessage(qint64 chatId, qint64 id) {
    auto it = m_messages.find(chatId);
    if (it != m_messages.end()) {
        for (int i = int(it->size()) - 1; i >= 0; --i) {
            if ((*it)[i].id != id) continue;
            it->removeAt(i);
            emit timelineChanged(chatId, {TimelineChange::removed, i, 1});
        }
    }
    const auto preview = m_visiblePreview.constFind(chatId);
    if (preview == m_visiblePreview.constEnd() || preview->id != id) return;
    const QList<Message> local = m_messages.value(chatId);
    const auto fallback = std::find_if(local.crbegin(), local.crend(),
                                       [](const Message& m) { return m.id > 0 && isVisible(m); });
    if (fallback != local.crend())
        m_visiblePreview[chatId] = *fallback;
    else
        m_visiblePreview.remove(chatId);
    emit chatChanged(chatId);
}

// MARK: What stands for a conversation

void Store::cacheVisiblePreview(const std::optional<Message>& message) {
    if (!message || message->id <= 0 || !isVisible(*message)) return;
    const auto current = m_visiblePreview.constFind(message->chatId);
    if (current != m_visiblePreview.constEnd() && current->id != message->id &&
        current->createdAt > message->createdAt)
        return;
    m_visiblePreview[message->chatId] = *message;
}

void Store::updateChatLast(const Message& message) {
    if (message.isCCControl()) return;
    cacheVisiblePreview(message);
    const ChatSummary* known = chat(message.chatId);
    if (!known) return;
    const int index = int(known - m_chats.constData());
    ChatSummary& found = m_chats[index];
    const std::optional<Message>& current = found.lastMessage;
    if (!current || message.createdAt >= current->createdAt || message.id == current->id)
        found.lastMessage = message;
    repositionChat(index);
    emit chatChanged(message.chatId);
}

void Store::refreshChatLastIfNeeded(const Message& message) {
    const auto preview = m_visiblePreview.constFind(message.chatId);
    if (preview != m_visiblePreview.constEnd() && preview->id == message.id)
        cacheVisiblePreview(message);
    for (ChatSummary& c : m_chats) {
        if (c.id != message.chatId) continue;
        if (c.lastMessage && c.lastMessage->id == message.id) c.lastMessage = message;
        break;
    }
    emit chatChanged(message.chatId);
}

// Keeps `chats` sorted by activity after one conversation changed: it moves
// to its place instead of the whole list being sorted again.
void Store::repositionChat(int index) {
    const qint64 at = m_chats[index].activityAt();
    int target = index;
    while (target > 0 && m_chats[target - 1].activityAt() < at)
        --target;
    while (target + 1 < m_chats.size() && m_chats[target + 1].activityAt() > at)
        ++target;
    if (target == index) return;
    m_chats.move(index, target);
    for (int i = std::min(index, target); i <= std::max(index, target); ++i)
        m_chatIndex.insert(m_chats[i].id, i);
}

void Store::sortChats() {
    std::stable_sort(
        m_chats.begin(), m_chats.end(),
        [](const ChatSummary& a, const ChatSummary& b) { return a.activityAt() > b.activityAt(); });
}

std::optional<Message> Store::latestVisibleMessage(qint64 chatId) const {
    const auto preview = m_visiblePreview.constFind(chatId);
    const auto it = m_messages.constFind(chatId);
    if (it != m_messages.constEnd()) {
        const auto candidate = std::find_if(it->crbegin(), it->crend(), isVisible);
        if (candidate != it->crend()) {
            if (preview != m_visiblePreview.constEnd() && preview->id != candidate->id &&
                candidate->createdAt < preview->createdAt)
                return *preview;
            return *candidate;
        }
    }
    if (preview != m_visiblePreview.constEnd()) return *preview;
    const ChatSummary* c = chat(chatId);
    if (c && c->lastMessage && isVisible(*c->lastMessage)) return c->lastMessage;
    return std::nullopt;
}

// MARK: Human activity

namespace {
std::optional<qint64> lastHumanAt(const QList<Message>& list, const Store& store) {
    for (auto it = list.crbegin(); it != list.crend(); ++it)
        if (!store.isBotUser(it->senderId) && !it->isCCControl()) return it->createdAt;
    return std::nullopt;
}
} // namespace

void Store::bumpUserActivity(qint64 chatId, std::optional<qint64> to) {
    if (!to) to = lastHumanAt(m_messages.value(chatId), *this);
    if (!to) return;
    const auto stored = m_userActivity.constFind(chatId);
    if (stored != m_userActivity.constEnd() && *stored >= *to) return;
    m_userActivity[chatId] = *to;
    storeUserActivity();
    emit chatChanged(chatId);
}

void Store::storeUserActivity() {
    // Written once per turn of the event loop: a burst of messages or a whole
    // bootstrap changes many entries, and the map is encoded as a whole.
    if (m_userActivitySavePending) return;
    m_userActivitySavePending = true;
    QTimer::singleShot(0, this, [this] { flushUserActivity(); });
}

void Store::flushUserActivity() {
    if (!m_userActivitySavePending) return;
    m_userActivitySavePending = false;
    prefsmaps::writeIdMap(PrefKey::userActivity, m_userActivity);
}

void Store::loadUserActivity() {
    m_userActivity = prefsmaps::readIdMap<qint64>(PrefKey::userActivity);
}

void Store::resolveBuriedUserActivity(const ChatSummary& c) {
    if (!c.lastMessage) return;
    const Message& last = *c.lastMessage;
    if (!isBotUser(last.senderId) && !last.isCCControl()) return;
    const auto stored = m_userActivity.constFind(c.id);
    if (stored != m_userActivity.constEnd() && *stored >= last.createdAt) return;
    if (m_buriedActivityResolved.value(c.id) == last.id) return;
    m_buriedActivityResolved[c.id] = last.id;
    // The person's last word is buried behind bot traffic: look for it once per last message.
    [](QPointer<Store> self, qint64 chatId) -> QCoro::Task<> {
        const auto r = self->route(chatId);
        if (!r) co_return;
        QList<Message> page;
        try {
            auto call = r->api.messages(r->real, std::nullopt, pageSize);
            page = co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcConversations)
                << "refresh of a conversation failed; it keeps what it shows:" << e.what();
            co_return;
        }
        if (!self) co_return;
        for (Message& m : page)
            self->remap(m, r->server);
        for (auto it = page.crbegin(); it != page.crend(); ++it) {
            if (it->id > 0 && !it->isCCControl() && !self->isBotUser(it->senderId)) {
                self->bumpUserActivity(chatId, it->createdAt);
                break;
            }
        }
    }(QPointer<Store>(this), c.id);
}

qint64 Store::userActivityAt(const ChatSummary& c) const {
    const auto stored = m_userActivity.constFind(c.id);
    if (stored != m_userActivity.constEnd()) return *stored;
    if (const auto local = lastHumanAt(m_messages.value(c.id), *this)) return *local;
    if (c.lastMessage && !isBotUser(c.lastMessage->senderId)) return c.lastMessage->createdAt;
    return c.activityAt();
}
