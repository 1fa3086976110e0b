// The host poll: whether each machine's runner answers, what it is, which
// accounts it holds, and how much of its Claude quota is used. The last
// figures are kept for cold starts.

#include "agent/Usage.h"
#include "core/Logging.h"
#include "core/PrefKeys.h"

#include "core/Prefs.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QLocale>
#include <cmath>

namespace {
// One missed poll is forgiven; every third one looks for another way in.
constexpr int offlineAfterMisses = 2;
constexpr int reselectEveryMisses = 3;
constexpr qint64 nearResetSeconds = 86400;

QHash<qint64, QString> chatAccountsFrom(const QMap<QString, QString>& wire, int server) {
    QHash<qint64, QString> out;
    for (auto it = wire.begin(); it != wire.end(); ++it) {
        bool ok = false;
        const qint64 id = it.key().toLongLong(&ok);
        if (ok) out.insert(IDCodec::encode(id, server), it.value());
    }
    return out;
}
} // namespace

// MARK: Pace

namespace UsagePace {

double util(const ClaudeUsageWindow& w) {
    return std::clamp(w.utilization.value_or(0.0), 0.0, 100.0);
}

std::optional<double> expected(const ClaudeUsageWindow& w, double windowSeconds,
                               const QDateTime& now) {
    const auto reset = w.resetDate();
    if (!reset || windowSeconds <= 0) return std::nullopt;
    const double remaining = double(now.msecsTo(*reset)) / 1000.0;
    return 100.0 * std::clamp(1.0 - remaining / windowSeconds, 0.0, 1.0);
}

bool overPace(const ClaudeUsageWindow& w, double windowSeconds, const QDateTime& now) {
    const auto elapsed = expected(w, windowSeconds, now);
    if (!elapsed) return false;
    return std::lround(*elapsed) < std::lround(util(w));
}

QString statusPill(bool over) {
    return over ? QStringLiteral("Ahead of pace") : QStringLiteral("On track");
}

QString countdown(qint64 secondsToGo) {
    const qint64 s = std::max<qint64>(0, secondsToGo);
    const qint64 d = s / 86400;
    const qint64 h = (s % 86400) / 3600;
    const qint64 m = (s % 3600) / 60;
    if (d > 0) return QStringLiteral("%1d %2h").arg(d).arg(h);
    if (h > 0) return QStringLiteral("%1h %2m").arg(h).arg(m);
    return QStringLiteral("%1m").arg(m);
}

QString countdown(const QDateTime& reset, const QDateTime& now) {
    return countdown(now.secsTo(reset));
}

QString resetClock(const QDateTime& reset, const QDateTime& now) {
    const QLocale locale;
    const QDateTime local = reset.toLocalTime();
    const QString time = locale.toString(local.time(), QLocale::ShortFormat);
    if (now.secsTo(reset) < nearResetSeconds) return time;
    return locale.toString(local.date(), QStringLiteral("MMM d")) + QLatin1Char(' ') + time;
}

} // namespace UsagePace

// MARK: Host poll

QCoro::Task<> Store::refreshClaudeUsage() {
    QPointer<Store> self(this);
    std::optional<ClaudeHost> record;
    if (const auto primary = api()) {
        try {
            auto call = primary->claudeHostStatus();
            record = co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcAgent) << "host status unavailable; usage keeps its cached value:"
                             << e.what();
        }
        if (!self) co_return;
    }
    if (record) {
        applyHostRecord(*record);
    } else {
        ++m_hostPollFails;
        if (m_hostPollFails >= offlineAfterMisses && m_claudeHostOnline) {
            m_claudeHostOnline = false;
            emit hostChanged();
        }
        if (m_hostPollFails % reselectEveryMisses == 0) {
            auto reselect = selectPrimaryBase();
            co_await reselect;
            if (!self) co_return;
        }
    }
    QList<int> servers;
    for (const ServerProfile& p : extraServers())
        servers.push_back(p.serverId);
    for (int server : servers) {
        const auto serverApi = apiFor(server);
        if (!serverApi) continue;
        std::optional<ClaudeHost> extra;
        try {
            auto call = serverApi->claudeHostStatus();
            extra = co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcAgent) << "an extra server's host status is unavailable:" << e.what();
        }
        if (!self) co_return;
        if (extra) {
            applyExtraHostRecord(server, *extra);
        } else if (m_serverAnswering.value(server, true)) {
            m_serverAnswering.insert(server, false);
            emit accountsChanged();
        }
    }
}

void Store::applyHostRecord(const ClaudeHost& host) {
    m_hostPollFails = 0;
    m_claudeHostOnline = host.online;
    if (host.mac) setClaudeHostName(host.mac);
    if (host.platform && hostPlatform(0) != host.platform) {
        auto platforms = serverPlatform();
        platforms.insert(0, *host.platform);
        setServerPlatform(platforms);
    }
    m_claudeRescueOnline = host.rescueOnline.value_or(false);
    m_claudeInputHelperOnline = host.inputHelperOnline.value_or(false);
    if (host.usage) {
        setClaudeUsage(host.usage);
        if (host.usage->email && !host.usage->email->isEmpty()) {
            auto emails = serverClaudeEmail();
            emails.insert(0, *host.usage->email);
            setServerClaudeEmail(emails);
        }
    }
    if (host.accounts) m_macNamedAccounts = *host.accounts;
    // Ids of the primary server are global already.
    if (host.chatAccounts) m_macChatAccounts = chatAccountsFrom(*host.chatAccounts, 0);
    emit hostChanged();
    emit accountsChanged();
}

void Store::applyExtraHostRecord(int server, const ClaudeHost& host) {
    m_serverAnswering.insert(server, host.online);
    if (host.usage) {
        if (host.usage->email && !host.usage->email->isEmpty()) {
            auto emails = serverClaudeEmail();
            emails.insert(server, *host.usage->email);
            setServerClaudeEmail(emails);
        }
        auto usage = serverClaudeUsage();
        usage.insert(server, *host.usage);
        setServerClaudeUsage(usage);
    }
    if (host.platform && hostPlatform(server) != host.platform) {
        auto platforms = serverPlatform();
        platforms.insert(server, *host.platform);
        setServerPlatform(platforms);
    }
    if (host.accounts) m_serverNamedAccounts.insert(server, *host.accounts);
    if (host.chatAccounts)
        m_serverChatAccounts.insert(server, chatAccountsFrom(*host.chatAccounts, server));
    emit accountsChanged();
}

void Store::loadCachedUsage() {
    // The usage screen is never empty after a restart.
    m_claudeUsage = Prefs::shared().readJson<ClaudeUsage>(PrefKey::claudeUsageCache);
    const auto name = Prefs::shared().string(PrefKey::claudeHostName);
    m_claudeHostName = name && !name->isEmpty() ? name : std::nullopt;
}
