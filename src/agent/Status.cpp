// Whether a session is working, on what, and where each of the user's own
// messages stands. There is no session API: everything is derived from the
// conversation's messages and the markers' memory. The derivations run for
// every visible bubble, so what they need from the history is computed in one
// pass per timeline revision and kept.

#include "agent/Status.h"

#include "agent/Markers.h"
#include "shell/Localisation.h"
#include "store/Store.h"

#include <limits>

namespace {
constexpr qint64 lowestId = std::numeric_limits<qint64>::min();
constexpr double optimisticWindow = 12.0;
} // namespace

QString rawValue(CCMessageStatus status) {
    switch (status) {
    case CCMessageStatus::processing:
        return QStringLiteral("processing");
    case CCMessageStatus::pending:
        return QStringLiteral("pending");
    case CCMessageStatus::done:
        return QStringLiteral("done");
    }
    return {};
}

QString ccStatusLineOf(QStringView text) {
    const QString head = QStringLiteral("💭 Claude is working…");
    QStringView last;
    for (QStringView line : text.tokenize(u'\n')) {
        line = line.trimmed();
        if (line.isEmpty() || line == head || Message::isMarkerLine(line)) continue;
        last = line;
    }
    return last.isEmpty() ? QStringLiteral("Claude is working…") : last.toString();
}

QString backlogBarText(int count) {
    if (count == 1) return L(QStringLiteral("1 message queued — runs next"));
    return Lf(QStringLiteral("%@ messages queued — handled one by one, in order"),
              QString::number(count));
}

// What the status rules need from one conversation's loaded history.
struct Store::SessionScan {
    quint64 revision = 0;
    quint64 epoch = 0;
    std::optional<qint64> meId;
    // The array itself, so a history replaced without a signal is not trusted.
    const Message* data = nullptr;
    qsizetype size = 0;
    bool loaded = false;
    // The live working message, if one is not stale.
    std::optional<Message> working;
    std::optional<qint64> processing;
    std::optional<qint64> seen;
    // The last reply (array order) and the oldest own message above it.
    qint64 lastReplyId = lowestId;
    std::optional<qint64> oldestOwnAfterReply;
};

void Store::wireAgentCaches() {
    connect(this, &Store::timelineChanged, this,
            [this](qint64 chatId, TimelineChange) { ++m_timelineRevision[chatId]; });
    // Sender tests depend on who is signed in; whole reloads replace histories.
    connect(this, &Store::sessionChanged, this, [this] { ++m_scanEpoch; });
    connect(this, &Store::chatsReset, this, [this] { ++m_scanEpoch; });
}

const Store::SessionScan& Store::sessionScan(qint64 chatId) const {
    const quint64 revision = m_timelineRevision.value(chatId);
    const std::optional<qint64> meId = me ? std::optional<qint64>(me->id) : std::nullopt;
    std::shared_ptr<SessionScan>& slot = m_sessionScans[chatId];
    const auto list = messages.constFind(chatId);
    const bool loaded = list != messages.constEnd() && !list->isEmpty();
    const Message* data = loaded ? list->constData() : nullptr;
    const qsizetype size = loaded ? list->size() : 0;
    if (slot && slot->revision == revision && slot->epoch == m_scanEpoch && slot->meId == meId &&
        slot->loaded == loaded && slot->data == data && slot->size == size)
        return *slot;
    auto scan = std::make_shared<SessionScan>();
    scan->revision = revision;
    scan->epoch = m_scanEpoch;
    scan->meId = meId;
    scan->data = data;
    scan->size = size;
    scan->loaded = loaded;
    if (loaded) {
        const Message* working = nullptr;
        qint64 newestReply = lowestId;
        for (const Message& m : *list) {
            if (m.isCCWorking()) {
                working = &m;
                continue;
            }
            if (m.isCCControl() || (meId && m.senderId == *meId)) continue;
            scan->lastReplyId = m.id;
            newestReply = std::max(newestReply, m.id);
        }
        // A reply newer than the working message ends the work, edited away or not.
        if (working && !(newestReply > working->id)) scan->working = *working;
        for (const Message& m : *list)
            if (m.id > 0 && meId && m.senderId == *meId && m.id > scan->lastReplyId &&
                (!scan->oldestOwnAfterReply || m.id < *scan->oldestOwnAfterReply))
                scan->oldestOwnAfterReply = m.id;
    }
    if (scan->working) {
        scan->processing = scan->working->ccWorkingMsgId();
        scan->seen = scan->working->ccSeenMsgId();
    }
    slot = std::move(scan);
    return *slot;
}

std::optional<Message> Store::liveWorkingMessage(qint64 chatId) const {
    const SessionScan& scan = sessionScan(chatId);
    if (scan.loaded) return scan.working;
    // Unloaded history: the summary's last message is the one place the
    // host's in-place edits reach.
    const ChatSummary* c = chat(chatId);
    if (c && c->lastMessage && c->lastMessage->isCCWorking()) return c->lastMessage;
    return std::nullopt;
}

// MARK: Readings

std::optional<qint64> Store::claudeCodeUserId() const {
    for (const User& u : users)
        if (u.username == claudeCodeUsername()) return u.id;
    return std::nullopt;
}

bool Store::isClaudeCodeChat(const ChatSummary& c) const {
    return std::any_of(c.members.begin(), c.members.end(),
                       [](const User& u) { return u.username == claudeCodeUsername(); });
}

bool Store::isClaudeSessionChat(const ChatSummary& c) const {
    // No bot test on purpose: a direct conversation with a person simply
    // never produces a working message.
    if (c.isGroup() || isSavedMessages(c)) return false;
    return std::any_of(c.members.begin(), c.members.end(), [this](const User& u) {
        return (!me || u.id != me->id) && (!agentId || u.id != *agentId);
    });
}

bool Store::ccWorking(qint64 chatId) const {
    if (liveWorkingMessage(chatId)) return true;
    const auto deadline = ccOptimisticWorking.constFind(chatId);
    return deadline != ccOptimisticWorking.constEnd() && nowMs() < *deadline;
}

std::optional<qint64> Store::ccProcessingMsgId(qint64 chatId) const {
    const SessionScan& scan = sessionScan(chatId);
    if (scan.loaded) return scan.processing;
    const auto w = liveWorkingMessage(chatId);
    return w ? w->ccWorkingMsgId() : std::nullopt;
}

std::optional<qint64> Store::ccSeenMsgId(qint64 chatId) const {
    const SessionScan& scan = sessionScan(chatId);
    if (scan.loaded) return scan.seen;
    const auto w = liveWorkingMessage(chatId);
    return w ? w->ccSeenMsgId() : std::nullopt;
}

bool Store::ccChromeActive(qint64 chatId) const {
    const auto w = liveWorkingMessage(chatId);
    return w && w->ccChromeActive();
}

bool Store::ccScreenshotActive(qint64 chatId) const {
    const auto w = liveWorkingMessage(chatId);
    return w && w->ccScreenshotActive();
}

std::optional<CCMessageStatus> Store::ccStatus(const Message& m) const {
    using S = CCMessageStatus;
    if (!me || m.senderId != me->id || m.id <= 0) return std::nullopt;
    const qint64 chatId = m.chatId;
    const ChatSummary* c = chat(chatId);
    if (!c || !isClaudeSessionChat(*c)) return std::nullopt;
    const SessionScan& scan = sessionScan(chatId);
    const std::optional<qint64> p = scan.loaded ? scan.processing : ccProcessingMsgId(chatId);
    // In work beats below the mark: a message can be both.
    if (p && *p == m.id) return S::processing;
    if (m.id <= ccSeenHighWater.value(chatId, lowestId)) return S::done;
    if (const auto done = ccProcessedIds.constFind(chatId);
        done != ccProcessedIds.constEnd() && done->contains(m.id))
        return S::done;
    const std::optional<qint64> s = scan.loaded ? scan.seen : ccSeenMsgId(chatId);
    if (s) return m.id <= *s ? S::done : S::pending;
    if (p) return m.id < *p ? S::done : S::pending;
    if (m.id < scan.lastReplyId) return S::done;
    if (!ccWorking(chatId)) return std::nullopt;
    // Working, nothing named: the oldest unanswered message is taken to be in work.
    return scan.oldestOwnAfterReply == m.id ? S::processing : S::pending;
}

QList<Message> Store::backloggedMessages(qint64 chatId) const {
    QList<Message> queued;
    for (const Message& m : messages.value(chatId))
        if (ccStatus(m) == CCMessageStatus::pending) queued.push_back(m);
    std::sort(queued.begin(), queued.end(),
              [](const Message& a, const Message& b) { return a.id < b.id; });
    return queued;
}

std::optional<QString> Store::ccStatusText(qint64 chatId) const {
    const ChatSummary* c = chat(chatId);
    if (!c || !c->lastMessage || !c->lastMessage->isCCWorking()) return std::nullopt;
    return c->lastMessage->text;
}

std::optional<QString> Store::ccStatusLine(qint64 chatId) const {
    const auto text = ccStatusText(chatId);
    if (!text) return std::nullopt;
    return ccStatusLineOf(*text);
}

qint64 Store::lastRealMsgId(qint64 chatId) const {
    const auto it = messages.constFind(chatId);
    if (it == messages.constEnd()) return 0;
    for (auto m = it->crbegin(); m != it->crend(); ++m)
        if (m->id > 0) return m->id;
    return 0;
}

// MARK: Acting on the queue

void Store::ccStartOptimisticWorking(qint64 chatId, qint64 sentAtMs) {
    ccOptimisticWorking.insert(chatId, sentAtMs + scaledMs(optimisticWindow));
    emit ccStateChanged(chatId);
}

QCoro::Task<> Store::ccSendNow(qint64 chatId, qint64 msgId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("msgId"), QJsonValue(msgId)}};
    auto request = ccRequest(QStringLiteral("now"), QString(), extra);
    co_await request;
}

QCoro::Task<> Store::ccStopSession(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("stop"), QString(), extra);
    co_await request;
}
