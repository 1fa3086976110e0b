// Whether a session is working, on what, and where each of the user's own
// messages stands. There is no session API: everything is derived from the
// conversation's messages and the markers' memory. The derivations run for
// every visible bubble, so what they need from the history is computed in one
// pass per timeline revision and kept.

#include "agent/Status.h"

#include "agent/Markers.h"
#include "core/Localisation.h"
#include "store/Store.h"

#include <limits>

namespace {
constexpr qint64 lowestId = std::numeric_limits<qint64>::min();
constexpr double optimisticWindow = 12.0;

// The scan reads every message of a long history: a first-character test
// spares the prefix comparison for the many messages that cannot match.
bool isWorking(const Message& m) {
    return !m.text.isEmpty() && m.text.front() == Config::ccWorkingPrefix.front() &&
           m.isCCWorking();
}

bool isControl(const Message& m) {
    return !m.text.isEmpty() && m.text.front() == Config::ccControlPrefix.front() &&
           m.isCCControl();
}

qint64 meKeyOf(const std::optional<User>& m_me) {
    return m_me ? m_me->id : lowestId;
}
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

// Everything the status rules read about one conversation, gathered in one
// pass. Valid while the scan epoch stands: every change the rules depend on
// (history, conversation list, sign-in, the markers' memory) moves it.
struct Store::SessionScan {
    quint64 epoch = 0;
    qint64 meKey = lowestId; // the signed-in user's id, lowestId when unknown
    bool isSession = false;
    bool loaded = false;
    // The live working message, if one is not stale.
    std::optional<Message> working;
    std::optional<qint64> processing;
    std::optional<qint64> seen;
    // The last reply (array order), and the oldest own message above it,
    // found only when a rule needs it.
    qint64 lastReplyId = lowestId;
    mutable std::optional<std::optional<qint64>> oldestOwnAfterReply;
    qint64 highWater = lowestId;
    QSet<qint64> processed;
    std::optional<qint64> optimisticUntil;
};

void Store::wireAgentCaches() {
    const auto invalidate = [this] { ++m_scanEpoch; };
    connect(this, &Store::timelineChanged, this, invalidate);
    connect(this, &Store::timelineChanged, this, &Store::followTimelineForDeploys);
    connect(this, &Store::chatChanged, this, invalidate);
    connect(this, &Store::chatRemoved, this, invalidate);
    connect(this, &Store::chatsReset, this, invalidate);
    connect(this, &Store::sessionChanged, this, invalidate);
    connect(this, &Store::usersChanged, this, invalidate);
    connect(this, &Store::ccStateChanged, this, invalidate);
    connect(this, &Store::deployReady, this, &Store::showDeployReady);
}

// Views ask for one conversation many times in a row: that case stays inline.
inline const Store::SessionScan& Store::sessionScan(qint64 chatId) const {
    if (m_lastScan && m_lastScanChat == chatId && m_lastScan->epoch == m_scanEpoch &&
        m_lastScan->meKey == meKeyOf(m_me)) [[likely]]
        return *m_lastScan;
    return findSessionScan(chatId);
}

const Store::SessionScan& Store::findSessionScan(qint64 chatId) const {
    const qint64 meKey = meKeyOf(m_me);
    std::shared_ptr<SessionScan>& slot = m_sessionScans[chatId];
    if (!slot || slot->epoch != m_scanEpoch || slot->meKey != meKey) slot = scanSession(chatId);
    m_lastScan = slot;
    m_lastScanChat = chatId;
    return *slot;
}

std::shared_ptr<Store::SessionScan> Store::scanSession(qint64 chatId) const {
    auto scan = std::make_shared<SessionScan>();
    scan->epoch = m_scanEpoch;
    scan->meKey = meKeyOf(m_me);
    const ChatSummary* c = chat(chatId);
    scan->isSession = c && isClaudeSessionChat(*c);
    scan->highWater = m_ccSeenHighWater.value(chatId, lowestId);
    scan->processed = m_ccProcessedIds.value(chatId);
    if (const auto it = m_ccOptimisticWorking.constFind(chatId);
        it != m_ccOptimisticWorking.constEnd())
        scan->optimisticUntil = *it;
    const auto list = m_messages.constFind(chatId);
    scan->loaded = list != m_messages.constEnd() && !list->isEmpty();
    if (scan->loaded) {
        const Message* working = nullptr;
        qint64 newestReply = lowestId;
        const bool signedIn = m_me.has_value();
        for (const Message& m : *list) {
            if (isWorking(m)) {
                working = &m;
                continue;
            }
            if ((signedIn && m.senderId == scan->meKey) || isControl(m)) continue;
            scan->lastReplyId = m.id;
            newestReply = std::max(newestReply, m.id);
        }
        // A reply newer than the working message ends the work, edited away or not.
        if (working && !(newestReply > working->id)) scan->working = *working;
    } else if (c && c->lastMessage && c->lastMessage->isCCWorking()) {
        // Unloaded history: the summary's last message is the one place the
        // host's in-place edits reach.
        scan->working = c->lastMessage;
    }
    if (scan->working) {
        scan->processing = scan->working->ccWorkingMsgId();
        scan->seen = scan->working->ccSeenMsgId();
    }
    return scan;
}

std::optional<qint64> Store::oldestOwnAfterReply(qint64 chatId) const {
    const SessionScan& scan = sessionScan(chatId);
    if (!scan.oldestOwnAfterReply) {
        std::optional<qint64> oldest;
        for (const Message& m : m_messages.value(chatId))
            if (m_me && m.senderId == m_me->id && m.id > 0 && m.id > scan.lastReplyId &&
                (!oldest || m.id < *oldest))
                oldest = m.id;
        scan.oldestOwnAfterReply = oldest;
    }
    return *scan.oldestOwnAfterReply;
}

std::optional<Message> Store::liveWorkingMessage(qint64 chatId) const {
    return sessionScan(chatId).working;
}

// MARK: Readings

std::optional<qint64> Store::claudeCodeUserId() const {
    for (const User& u : m_users)
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
        return (!m_me || u.id != m_me->id) && (!m_agentId || u.id != *m_agentId);
    });
}

bool Store::ccWorking(qint64 chatId) const {
    const SessionScan& scan = sessionScan(chatId);
    // No timer ends the guess: the deadline is read at each evaluation.
    return scan.working || (scan.optimisticUntil && nowMs() < *scan.optimisticUntil);
}

std::optional<qint64> Store::ccProcessingMsgId(qint64 chatId) const {
    return sessionScan(chatId).processing;
}

std::optional<qint64> Store::ccSeenMsgId(qint64 chatId) const {
    return sessionScan(chatId).seen;
}

bool Store::ccChromeActive(qint64 chatId) const {
    const auto& w = sessionScan(chatId).working;
    return w && w->ccChromeActive();
}

bool Store::ccScreenshotActive(qint64 chatId) const {
    const auto& w = sessionScan(chatId).working;
    return w && w->ccScreenshotActive();
}

std::optional<CCMessageStatus> Store::ccStatus(const Message& m) const {
    using S = CCMessageStatus;
    if (!m_me || m.senderId != m_me->id || m.id <= 0) return std::nullopt;
    const SessionScan& scan = sessionScan(m.chatId);
    if (!scan.isSession) return std::nullopt;
    const std::optional<qint64>& p = scan.processing;
    // In work beats below the mark: a message can be both.
    if (p && *p == m.id) return S::processing;
    if (m.id <= scan.highWater || scan.processed.contains(m.id)) return S::done;
    if (const std::optional<qint64>& s = scan.seen) return m.id <= *s ? S::done : S::pending;
    if (p) return m.id < *p ? S::done : S::pending;
    if (m.id < scan.lastReplyId) return S::done;
    if (!ccWorking(m.chatId)) return std::nullopt;
    // Working, nothing named: the oldest unanswered message is taken to be in work.
    return oldestOwnAfterReply(m.chatId) == m.id ? S::processing : S::pending;
}

QList<Message> Store::backloggedMessages(qint64 chatId) const {
    QList<Message> queued;
    for (const Message& m : m_messages.value(chatId))
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
    const auto it = m_messages.constFind(chatId);
    if (it == m_messages.constEnd()) return 0;
    for (auto m = it->crbegin(); m != it->crend(); ++m)
        if (m->id > 0) return m->id;
    return 0;
}

// MARK: Acting on the queue

void Store::ccStartOptimisticWorking(qint64 chatId, qint64 sentAtMs) {
    m_ccOptimisticWorking.insert(chatId, sentAtMs + scaledMs(optimisticWindow));
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
