// Folding the host's markers into per-conversation state. A capture sees the
// same message many times (live, history, resync) and old messages after new
// ones, so each one only moves its state forward and saves only on change.

#include "agent/Markers.h"
#include "agent/Persist.h"
#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <limits>

namespace {
constexpr qint64 lowestId = std::numeric_limits<qint64>::min();
} // namespace

void Store::captureCCMarkers(const Message& message) {
    const qint64 chatId = message.chatId;
    bool changed = false;
    // Every capture below reads a line marker; a text without "CC" holds none.
    if (mayHoldLineMarkers(message.text)) {
        changed |= captureCCContext(message);
        changed |= captureCCModel(message);
        changed |= captureCCEffort(message);
        changed |= captureCCChrome(message);
        changed |= captureCCScreenshot(message);
        changed |= captureCCSeen(message);
        changed |= captureCCProcessed(message);
        changed |= captureCCAccount(message);
    }
    // Any sign of life from the other side ends the client's own guess.
    if (!m_me || message.senderId != m_me->id) changed |= m_ccOptimisticWorking.remove(chatId) > 0;
    if (changed) emit ccStateChanged(chatId);
}

bool Store::captureCCContext(const Message& message) {
    const auto tokens = message.ccContextTokens();
    if (!tokens || message.id <= m_ccContextFloor.value(message.chatId, 0)) return false;
    const CCContextStat stat{tokens->ctx, tokens->warm, tokens->fresh, tokens->create};
    const auto current = m_ccContextStats.constFind(message.chatId);
    if (current != m_ccContextStats.constEnd() && *current == stat) return false;
    m_ccContextStats.insert(message.chatId, stat);
    saveCCContext();
    return true;
}

bool Store::captureCCModel(const Message& message) {
    const auto model = message.ccModel();
    if (!model) return false;
    const qint64 chatId = message.chatId;
    bool changed = false;
    if (const auto it = m_ccOptimisticModel.constFind(chatId);
        it != m_ccOptimisticModel.constEnd() && it->sinceMsgId < message.id) {
        m_ccOptimisticModel.erase(it);
        changed = true;
    }
    if (const auto it = m_ccModels.constFind(chatId);
        it == m_ccModels.constEnd() || *it != *model) {
        m_ccModels.insert(chatId, *model);
        saveCCModels();
        changed = true;
    }
    return changed;
}

bool Store::captureCCEffort(const Message& message) {
    const auto raw = message.ccEffort();
    const auto effort = raw ? Config::effortFromRaw(*raw) : std::nullopt;
    if (!effort) return false; // an unknown value is ignored whole
    const qint64 chatId = message.chatId;
    bool changed = false;
    if (const auto it = m_ccOptimisticEffort.constFind(chatId);
        it != m_ccOptimisticEffort.constEnd() && it->sinceMsgId < message.id) {
        m_ccOptimisticEffort.erase(it);
        changed = true;
    }
    if (const auto it = m_ccReportedEfforts.constFind(chatId);
        it == m_ccReportedEfforts.constEnd() || *it != *effort) {
        m_ccReportedEfforts.insert(chatId, *effort);
        saveCCReportedEfforts();
        changed = true;
    }
    return changed;
}

bool Store::captureCCChrome(const Message& message) {
    if (!message.ccChromeActive() || m_ccChromeUsedChats.value(message.chatId)) return false;
    m_ccChromeUsedChats.insert(message.chatId, true);
    saveCCChromeUsed();
    return true;
}

bool Store::captureCCScreenshot(const Message& message) {
    if (!message.ccScreenshotActive() || m_ccScreenshotUsedChats.value(message.chatId))
        return false;
    m_ccScreenshotUsedChats.insert(message.chatId, true);
    saveCCScreenshotUsed();
    return true;
}

bool Store::captureCCSeen(const Message& message) {
    const auto seen = message.ccSeenMsgId();
    if (!seen || *seen <= m_ccSeenHighWater.value(message.chatId, lowestId)) return false;
    m_ccSeenHighWater.insert(message.chatId, *seen);
    saveCCSeenHighWater();
    return true;
}

bool Store::captureCCProcessed(const Message& message) {
    const qint64 chatId = message.chatId;
    const QSet<qint64> known = m_ccProcessedIds.value(chatId);
    // Everything at or below the seen mark is settled anyway: such ids are
    // pruned, and a replay that names them again changes nothing.
    const qint64 mark = m_ccSeenHighWater.value(chatId, lowestId);
    QSet<qint64> fresh;
    const auto consider = [&](qint64 id) {
        if (id > 0 && id > mark && !known.contains(id)) fresh.insert(id);
    };
    for (qint64 id : message.ccDoneIds())
        consider(id);
    if (const auto working = message.ccWorkingMsgId()) consider(*working);
    if (fresh.isEmpty()) return false;
    QSet<qint64> next = fresh;
    for (qint64 id : known)
        if (id > mark) next.insert(id);
    m_ccProcessedIds.insert(chatId, next);
    saveCCProcessedIds();
    return true;
}

bool Store::captureCCAccount(const Message& message) {
    const auto account = message.ccAccount();
    if (!account) return false;
    const int server = IDCodec::serverId(message.chatId);
    if (const auto it = m_serverClaudeEmail.constFind(server);
        it != m_serverClaudeEmail.constEnd() && *it == *account)
        return false;
    auto emails = m_serverClaudeEmail;
    emails.insert(server, *account);
    setServerClaudeEmail(emails);
    return true;
}

QCoro::Task<> Store::captureServerOS() {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    Api::ServerIdentityResponse identity;
    try {
        auto call = primary->serverIdentity();
        identity = co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcAgent) << "server identity unavailable; the platform stays unknown:" << e.what();
        co_return;
    }
    if (!self || !identity.platform || identity.platform->isEmpty()) co_return;
    if (const auto it = serverOS().constFind(0);
        it != serverOS().constEnd() && *it == *identity.platform)
        co_return;
    auto os = serverOS();
    os.insert(0, *identity.platform);
    setServerOS(os);
}

// MARK: Persistence

void Store::loadCCSeenHighWater() {
    m_ccSeenHighWater = prefsmaps::readIdMap<qint64>(PrefKey::ccSeenHighWater);
}

void Store::saveCCSeenHighWater() const {
    prefsmaps::writeIdMap(PrefKey::ccSeenHighWater, m_ccSeenHighWater);
}

void Store::loadCCProcessedIds() {
    m_ccProcessedIds = agentprefs::readIdSetMap(PrefKey::ccProcessedIds);
}

void Store::saveCCProcessedIds() const {
    agentprefs::writeIdSetMap(PrefKey::ccProcessedIds, m_ccProcessedIds);
}

void Store::loadCCChromeUsed() {
    m_ccChromeUsedChats = prefsmaps::readIdMap<bool>(PrefKey::ccChromeUsedChats);
}

void Store::saveCCChromeUsed() const {
    prefsmaps::writeIdMap(PrefKey::ccChromeUsedChats, m_ccChromeUsedChats);
}

void Store::loadCCScreenshotUsed() {
    m_ccScreenshotUsedChats = prefsmaps::readIdMap<bool>(PrefKey::ccScreenshotUsedChats);
}

void Store::saveCCScreenshotUsed() const {
    prefsmaps::writeIdMap(PrefKey::ccScreenshotUsedChats, m_ccScreenshotUsedChats);
}

void Store::loadServerPlatform() {
    m_serverPlatform = prefsmaps::readIntMap<QString>(PrefKey::serverPlatform);
}

void Store::loadServerOS() {
    m_serverOS = prefsmaps::readIntMap<QString>(PrefKey::serverOSByServer);
}
