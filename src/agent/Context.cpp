// The context economy: how big the agent's context is, the advice to reset
// it after an idle hour, and a reset that keeps continuity by seeding the
// next turn with a digest of recent messages.

#include "agent/Context.h"
#include "core/PrefKeys.h"

#include "core/PrefsMaps.h"
#include "model/AgentTypes.h"
#include "store/Store.h"

#include <QJsonObject>

CCContextStat CCContextStat::fromJson(const QJsonObject& o) {
    // Records from before `create` call it `cold`.
    const auto create = json::opt<qint64>(o, QLatin1StringView("create"));
    return {json::req<qint64>(o, QLatin1StringView("ctx")),
            json::req<qint64>(o, QLatin1StringView("warm")),
            json::opt<qint64>(o, QLatin1StringView("fresh")).value_or(0),
            create ? *create : json::opt<qint64>(o, QLatin1StringView("cold")).value_or(0)};
}

QJsonObject CCContextStat::toJson() const {
    QJsonObject o;
    json::put(o, QLatin1StringView("ctx"), ctx);
    json::put(o, QLatin1StringView("warm"), warm);
    json::put(o, QLatin1StringView("fresh"), fresh);
    json::put(o, QLatin1StringView("create"), create);
    return o;
}

// MARK: Pure helpers

QString fmtTokens(qint64 tokens) {
    if (tokens >= 10000) return QString::number(double(tokens) / 1000.0, 'f', 0) + QLatin1Char('k');
    if (tokens < 1000) return QString::number(tokens);
    return QString::number(double(tokens) / 1000.0, 'f', 1) + QLatin1Char('k');
}

QColor ccContextColor(double share) {
    const double f = std::clamp(share, 0.0, 1.0);
    return QColor::fromHsvF(float((1.0 - f) * 0.33), 0.85f, 0.8f);
}

bool showIdleReset(bool dismissed, qint64 contextTokens, qint64 activityAtMs, qint64 nowMs) {
    return !dismissed && contextTokens > 0 && activityAtMs > 0 &&
           nowMs - activityAtMs >= ccIdleResetAfterMs;
}

bool isScreenControlChatter(const QString& text) {
    return text.startsWith(QStringLiteral("📸 Capture écran")) ||
           text.startsWith(QStringLiteral("👆 Cliquer ici")) ||
           text.startsWith(QStringLiteral("🎬 Séquence"));
}

QString recentDigestOf(const QList<Message>& visible, int limit,
                       const std::function<QString(const Message&)>& speaker) {
    QStringList lines;
    for (qsizetype i = std::max<qsizetype>(0, visible.size() - limit); i < visible.size(); ++i) {
        const Message& m = visible[i];
        if (isScreenControlChatter(m.text)) continue;
        QString body = m.displayText().trimmed();
        if (body.isEmpty()) body = QStringLiteral("[média]");
        const QString line = speaker(m) + QStringLiteral(": ") + body;
        if (!line.isEmpty()) lines << line;
    }
    // Addressed to the agent, so fixed French rather than translated.
    return QStringLiteral("[Contexte réinitialisé pour économiser le quota. Voici un résumé des ") +
           QString::number(lines.size()) +
           QStringLiteral(" derniers messages de notre conversation, pour garder la continuité — "
                          "le contexte de travail détaillé (fichiers lus, sorties d'outils) a été "
                          "effacé. Reprends le fil à partir de là.]\n\n") +
           lines.join(QStringLiteral("\n\n")) +
           QStringLiteral("\n\n[Fin du résumé. Mon message suivant ci-dessous.]");
}

const QList<HealthPrompt>& healthPrompts() {
    static const QList<HealthPrompt> prompts = {
        {QStringLiteral("Security check"), QStringLiteral("lock.shield"),
         QStringLiteral(
             "🔒 Security check: please run a security audit of this project and its server "
             "setup.\n1) Code — look for real vulnerabilities: injection risks, broken "
             "auth/authorization, secrets or tokens committed in the code or config, unsafe "
             "handling of user input, unprotected endpoints or debug backdoors.\n2) Server "
             "installation — check what this project runs on: exposed ports and services, "
             "TLS/certificate configuration, file and directory permissions, outdated packages, "
             "services running with more privileges than needed.\nRank the findings by severity, "
             "say which are actually exploitable in practice (not just theoretical), and propose a "
             "concrete fix for each of the top issues. Report only — don't change anything yet.")},
        {QStringLiteral("Code health"), QStringLiteral("text.magnifyingglass"),
         QStringLiteral(
             "🩺 Code health check: review this codebase's overall health — dead or duplicated "
             "code, oversized files, missing error handling, fragile patterns likely to cause "
             "bugs, and anything that would surprise a new developer. Rank the 5 most valuable "
             "cleanups by impact. Report only — don't change anything yet.")},
        {QStringLiteral("Server health"), QStringLiteral("server.rack"),
         QStringLiteral("🖥️ Server health check: check the health of the machine and services "
                        "behind this project — disk space, memory, service/process status, recent "
                        "errors in the logs, pending OS or package updates, and whether backups "
                        "exist and are recent. Report anything that needs attention, ranked by "
                        "urgency. Report only — don't change anything yet.")},
    };
    return prompts;
}

// MARK: Store

std::optional<CCContextStat> Store::ccContext(qint64 chatId) const {
    const auto it = m_ccContextStats.constFind(chatId);
    if (it == m_ccContextStats.constEnd()) return std::nullopt;
    return *it;
}

QCoro::Task<> Store::ccClearContext(qint64 chatId, std::optional<QString> seed) {
    // The gauge drops at once; the host's answer is not waited for.
    if (ccContext(chatId) != CCContextStat{}) {
        m_ccContextStats.insert(chatId, CCContextStat{});
        saveCCContext();
    }
    qint64 floor = 0;
    for (const Message& m : m_messages.value(chatId))
        floor = std::max(floor, m.id);
    if (const ChatSummary* c = chat(chatId); c && c->lastMessage)
        floor = std::max(floor, c->lastMessage->id);
    // Replayed history must not bring the old number back.
    if (floor > m_ccContextFloor.value(chatId, 0)) {
        m_ccContextFloor.insert(chatId, floor);
        saveCCContextFloor();
    }
    emit ccStateChanged(chatId);
    QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                      {QStringLiteral("name"), m_me ? m_me->username : QString()}};
    if (seed && !seed->isEmpty()) extra.insert(QStringLiteral("seed"), *seed);
    auto request = ccRequest(QStringLiteral("clear"), QString(), extra);
    co_await request;
}

bool Store::showIdleReset(qint64 chatId, bool dismissed) const {
    const auto stat = ccContext(chatId);
    const ChatSummary* c = chat(chatId);
    const qint64 activity = c ? userActivityAt(*c) : 0;
    return ::showIdleReset(dismissed, stat ? stat->ctx : 0, activity, nowMs());
}

QString Store::recentDigest(qint64 chatId, int limit) const {
    QList<Message> visible;
    for (const Message& m : m_messages.value(chatId))
        if (!m.isCCControl() && !m.isCCWorking()) visible.push_back(m);
    std::sort(visible.begin(), visible.end(),
              [](const Message& a, const Message& b) { return a.id < b.id; });
    const auto speaker = [this](const Message& m) -> QString {
        if (m_me && m.senderId == m_me->id) return QStringLiteral("Moi");
        if (m_agentId && m.senderId == *m_agentId) return QStringLiteral("Claude");
        if (!m.senderName.isEmpty()) return m.senderName;
        for (const User& u : m_users)
            if (u.id == m.senderId) return u.username;
        return QString::number(m.senderId);
    };
    return recentDigestOf(visible, limit, speaker);
}

// MARK: Persistence

void Store::loadCCContext() {
    m_ccContextStats = prefsmaps::readIdMap<CCContextStat>(PrefKey::ccContextStats);
}

void Store::saveCCContext() const {
    prefsmaps::writeIdMap(PrefKey::ccContextStats, m_ccContextStats);
}

void Store::loadCCContextFloor() {
    m_ccContextFloor = prefsmaps::readIdMap<qint64>(PrefKey::ccContextFloor);
}

void Store::saveCCContextFloor() const {
    prefsmaps::writeIdMap(PrefKey::ccContextFloor, m_ccContextFloor);
}
