// Builds the server tracks per conversation, and deploys the agent announces
// with a "[DEPLOY]" line: a progress bar, a chip that opens the result, and
// one notification once the work is really over.

#include "agent/Builds.h"
#include "core/Logging.h"
#include "core/PrefKeys.h"

#include "core/Localisation.h"
#include "core/PrefsMaps.h"
#include "model/AgentTypes.h"
#include "model/IDCodec.h"
#include "store/Store.h"

namespace {
constexpr double buildPollInterval = 4.0;

QString percentSuffix(const BuildStatus& s) {
    return s.percent ? QStringLiteral(" %1%").arg(*s.percent) : QString();
}
} // namespace

CCDeployRecord CCDeployRecord::fromJson(const QJsonObject& o) {
    return {json::req<qint64>(o, QLatin1StringView("msgId")),
            json::req<DeployTarget>(o, QLatin1StringView("target"))};
}

QJsonObject CCDeployRecord::toJson() const {
    QJsonObject o;
    json::put(o, QLatin1StringView("msgId"), msgId);
    json::put(o, QLatin1StringView("target"), target);
    return o;
}

// MARK: Pure texts

QString buildBarLine(const BuildStatus& s) {
    const QString name = s.label && !s.label->isEmpty() ? *s.label : QStringLiteral("build");
    if (s.state == QLatin1String("waiting"))
        return Lf(QStringLiteral("Waiting for %@ to finish…"), name);
    if (s.state == QLatin1String("queued")) return Lf(QStringLiteral("Queued · %@"), name);
    // A build step that is really a deploy is shown as one.
    if ((s.isBuilding() && s.isShipping()) || s.isDeploying())
        return Lf(QStringLiteral("Deploying %@…"), name) + percentSuffix(s);
    return Lf(QStringLiteral("Compiling %@…"), name) +
           (s.isBuilding() ? percentSuffix(s) : QString());
}

QString buildRowHint(const BuildStatus& s) {
    if (s.state == QLatin1String("waiting"))
        return s.label && !s.label->isEmpty() ? Lf(QStringLiteral("Waiting for %@…"), *s.label)
                                              : L(QStringLiteral("Waiting for a build…"));
    if (s.state == QLatin1String("queued")) return L(QStringLiteral("Build queued…"));
    if (s.isShipping()) return L(QStringLiteral("Deploying…")) + percentSuffix(s);
    return L(QStringLiteral("Compiling…")) + percentSuffix(s);
}

QString buildSymbol(const BuildStatus& s) {
    if (s.isWaiting()) return QStringLiteral("clock");
    if (s.isShipping()) return QStringLiteral("paperplane.fill");
    return QStringLiteral("hammer.fill");
}

std::optional<QUrl> deployURL(const DeployTarget& target) {
    QString text = target.url.trimmed();
    const QString lower = text.toLower();
    if (!lower.startsWith(QLatin1String("http://")) && !lower.startsWith(QLatin1String("https://")))
        text.prepend(QStringLiteral("https://"));
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) return std::nullopt;
    return url;
}

QString prettyURL(const QString& url) {
    QString text = url;
    for (const QLatin1String scheme : {QLatin1String("https://"), QLatin1String("http://")})
        if (text.startsWith(scheme, Qt::CaseInsensitive)) text.remove(0, scheme.size());
    return text;
}

QString deployShownName(const DeployTarget& target) {
    return target.label && !target.label->isEmpty() ? *target.label : prettyURL(target.url);
}

QString deployReadyBody(const DeployTarget& target) {
    return (target.isApp() ? QStringLiteral("✅ Done — update ready to install · ")
                           : QStringLiteral("✅ Done — ready to preview · ")) +
           deployShownName(target);
}

// MARK: Builds

void Store::syncBuilds(const std::optional<QMap<QString, BuildStatus>>& map, int server) {
    QHash<qint64, BuildStatus> fresh;
    if (map) {
        for (auto it = map->begin(); it != map->end(); ++it) {
            bool ok = false;
            const qint64 real = it.key().toLongLong(&ok);
            if (ok) fresh.insert(IDCodec::encode(real, server), it.value());
        }
    }
    // Any delayed clear pending for these loses: the poll is newer.
    for (auto it = fresh.constBegin(); it != fresh.constEnd(); ++it)
        ++m_buildClearGen[it.key()];
    // The poll is the truth for its server; other servers keep theirs.
    QHash<qint64, BuildStatus> next = fresh;
    for (auto it = m_builds.constBegin(); it != m_builds.constEnd(); ++it)
        if (IDCodec::serverId(it.key()) != server) next.insert(it.key(), it.value());
    if (next == m_builds) return;
    QSet<qint64> touched;
    for (auto it = m_builds.constBegin(); it != m_builds.constEnd(); ++it)
        if (next.value(it.key()) != it.value() || !next.contains(it.key()))
            touched.insert(it.key());
    for (auto it = next.constBegin(); it != next.constEnd(); ++it)
        if (!m_builds.contains(it.key()) || m_builds.value(it.key()) != it.value())
            touched.insert(it.key());
    m_builds = std::move(next);
    for (qint64 chatId : std::as_const(touched))
        emit buildsChanged(chatId);
}

void Store::startBuildPolling() {
    if (m_buildPollStarted) return;
    m_buildPollStarted = true;
    [](QPointer<Store> self) -> QCoro::Task<> {
        while (self) {
            const std::optional<QString> startToken = self->token();
            co_await self->sleep(buildPollInterval);
            if (!self) co_return;
            // A sign-in that changed during the wait starts afresh next round.
            if (!self->appActive() || !self->token() || self->token() != startToken) continue;
            QList<int> servers{0};
            for (const ServerProfile& p : self->extraServers())
                servers.push_back(p.serverId);
            for (int server : servers) {
                const auto serverApi = self->apiFor(server);
                if (!serverApi) continue;
                try {
                    auto call = serverApi->builds();
                    const BuildsResponse reply = co_await call;
                    if (!self) co_return;
                    // A logout or another login meanwhile makes this reply stale.
                    if (self->token() != startToken) break;
                    self->syncBuilds(reply.builds, server);
                } catch (const std::exception& e) {
                    qCDebug(lcAgent)
                        << "builds poll failed; the next poll tries again:" << e.what();
                    if (!self) co_return;
                }
            }
        }
    }(QPointer<Store>(this));
}

// MARK: Deploys

// The last deploy announcement of a loaded history, in array order. Every
// message event asks for it, so it is kept and moved along with the changes
// the timeline reports instead of searching the whole history each time.
struct Store::DeployScan {
    const Message* data = nullptr;
    qsizetype size = 0;
    qsizetype index = -1;
    std::optional<CCDeployRecord> record;
};

namespace {
std::optional<CCDeployRecord> deployIn(const Message& m) {
    if (m.isCCControl()) return std::nullopt;
    const auto target = m.deployTarget();
    if (!target) return std::nullopt;
    return CCDeployRecord{m.id, *target};
}
} // namespace

std::optional<CCDeployRecord> Store::lastDeployIn(qint64 chatId) const {
    const auto list = m_messages.constFind(chatId);
    if (list == m_messages.constEnd()) return std::nullopt;
    std::shared_ptr<DeployScan>& slot = m_deployScans[chatId];
    // A history written without a timeline signal is searched again.
    if (slot && slot->data == list->constData() && slot->size == list->size()) return slot->record;
    slot = std::make_shared<DeployScan>();
    slot->data = list->constData();
    slot->size = list->size();
    for (qsizetype i = list->size() - 1; i >= 0; --i) {
        if (auto record = deployIn(list->at(i))) {
            slot->index = i;
            slot->record = record;
            break;
        }
    }
    return slot->record;
}

void Store::followTimelineForDeploys(qint64 chatId, TimelineChange change) {
    const auto found = m_deployScans.find(chatId);
    if (found == m_deployScans.end() || !*found) return;
    DeployScan& scan = **found;
    const auto list = m_messages.constFind(chatId);
    const qsizetype first = change.index;
    const qsizetype end = qsizetype(change.index) + change.count;
    const auto drop = [&] { m_deployScans.erase(found); };
    if (list == m_messages.constEnd() || change.kind == TimelineChange::reset || first < 0)
        return drop();
    const auto takeNewer = [&](qsizetype from, qsizetype to) {
        for (qsizetype i = to - 1; i >= from && i > scan.index; --i) {
            if (auto record = deployIn(list->at(i))) {
                scan.index = i;
                scan.record = record;
                return;
            }
        }
    };
    switch (change.kind) {
    case TimelineChange::inserted:
        if (end > list->size()) return drop();
        if (scan.index >= first) scan.index += change.count;
        takeNewer(first, end);
        break;
    case TimelineChange::replaced:
        if (end > list->size() || (scan.index >= first && scan.index < end)) return drop();
        takeNewer(first, end);
        break;
    case TimelineChange::removed:
        if (scan.index >= first && scan.index < end) return drop();
        if (scan.index >= end) scan.index -= change.count;
        break;
    case TimelineChange::reset:
        break;
    }
    scan.data = list->constData();
    scan.size = list->size();
}

std::optional<CCDeployRecord> Store::latestDeploy(qint64 chatId) const {
    std::optional<CCDeployRecord> found = lastDeployIn(chatId);
    if (const ChatSummary* c = chat(chatId); c && c->lastMessage && !c->lastMessage->isCCControl())
        if (auto target = c->lastMessage->deployTarget();
            target && (!found || c->lastMessage->id >= found->msgId))
            found = CCDeployRecord{c->lastMessage->id, *target};
    // The record outlives history trimming and deleted messages.
    if (const auto it = m_deployByChat.constFind(chatId);
        it != m_deployByChat.constEnd() && (!found || it->msgId > found->msgId))
        found = *it;
    return found;
}

std::optional<DeployTarget> Store::activeDeploy(qint64 chatId) const {
    const auto latest = latestDeploy(chatId);
    if (!latest || m_seenDeploy.value(chatId, 0) >= latest->msgId) return std::nullopt;
    return latest->target;
}

void Store::markDeploySeen(qint64 chatId) {
    const auto latest = latestDeploy(chatId);
    if (!latest || latest->msgId <= m_seenDeploy.value(chatId, 0)) return;
    m_seenDeploy.insert(chatId, latest->msgId);
    saveSeenDeploy();
    emit deploysChanged(chatId);
}

void Store::refreshGlobalDeploy() {
    bool byChatChanged = false;
    bool globalChanged = false;
    QSet<qint64> touched;
    const auto note = [&](qint64 chatId, qint64 msgId, const DeployTarget& target) {
        const auto record = m_deployByChat.constFind(chatId);
        if (record == m_deployByChat.constEnd() || msgId > record->msgId) {
            m_deployByChat.insert(chatId, {msgId, target});
            byChatChanged = true;
            touched.insert(chatId);
        }
        if (msgId > m_lastGlobalDeployId) {
            m_lastGlobalDeployId = msgId;
            m_lastGlobalDeploy = target;
            globalChanged = true;
        }
    };
    for (auto it = m_messages.constBegin(); it != m_messages.constEnd(); ++it)
        if (const auto record = lastDeployIn(it.key()))
            note(it.key(), record->msgId, record->target);
    for (const ChatSummary& c : std::as_const(m_chats))
        if (c.lastMessage && !c.lastMessage->isCCControl())
            if (auto target = c.lastMessage->deployTarget()) note(c.id, c.lastMessage->id, *target);
    if (byChatChanged) saveDeployByChat();
    if (globalChanged) saveGlobalDeploy();
    for (qint64 chatId : std::as_const(touched))
        emit deploysChanged(chatId);
}

bool Store::deploysSilenced() const {
    // The notification style that silences everything.
    if (m_notifPrefs.muteAll) return true;
    for (const CatPref* p :
         {&m_notifPrefs.directMessages, &m_notifPrefs.groupMessages, &m_notifPrefs.mentions})
        if (p->level != NotifLevel::none) return false;
    return true;
}

void Store::notifyDeployReadyIfNeeded(qint64 chatId) {
    if (deploysSilenced()) return;
    const std::optional<CCDeployRecord> last = lastDeployIn(chatId);
    if (!last || m_notifiedDeploy.value(chatId, 0) >= last->msgId) return;
    // A deploy in the middle of a run is not "done".
    if (ccWorking(chatId) || !backloggedMessages(chatId).isEmpty()) return;
    m_notifiedDeploy.insert(chatId, last->msgId);
    saveNotifiedDeploy();
    const DeployTarget target = last->target;
    const ChatSummary* c = chat(chatId);
    const QString title = c ? c->displayTitle(m_me ? std::optional<qint64>(m_me->id) : std::nullopt)
                            : QStringLiteral("Velmarin");
    emit deployReady(chatId, last->msgId, target, title, deployReadyBody(target));
}

// MARK: Persistence

void Store::loadSeenDeploy() {
    m_seenDeploy = prefsmaps::readIdMap<qint64>(PrefKey::ccSeenDeploy);
}

void Store::saveSeenDeploy() const {
    prefsmaps::writeIdMap(PrefKey::ccSeenDeploy, m_seenDeploy);
}

void Store::loadNotifiedDeploy() {
    m_notifiedDeploy = prefsmaps::readIdMap<qint64>(PrefKey::ccNotifiedDeploy);
}

void Store::saveNotifiedDeploy() const {
    prefsmaps::writeIdMap(PrefKey::ccNotifiedDeploy, m_notifiedDeploy);
}

void Store::loadGlobalDeploy() {
    m_lastGlobalDeploy = Prefs::shared().readJson<DeployTarget>(PrefKey::ccGlobalDeploy);
    m_lastGlobalDeployId = Prefs::shared().value(PrefKey::ccGlobalDeployId).toLongLong();
}

void Store::saveGlobalDeploy() const {
    if (m_lastGlobalDeploy) Prefs::shared().writeJson(PrefKey::ccGlobalDeploy, *m_lastGlobalDeploy);
    Prefs::shared().setValue(PrefKey::ccGlobalDeployId, m_lastGlobalDeployId);
}

void Store::loadDeployByChat() {
    m_deployByChat = prefsmaps::readIdMap<CCDeployRecord>(PrefKey::ccDeployByChat);
}

void Store::saveDeployByChat() const {
    prefsmaps::writeIdMap(PrefKey::ccDeployByChat, m_deployByChat);
}
