// Signing in and out: name logins with the probe of the well-known servers,
// the private-network login, invite logins, and what logout clears.

#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "net/Pinning.h"
#include "store/Store.h"

#include "store/ServerLink.h"

namespace {

QStringList wellKnownLoginOrder() {
    return {Config::macServer(), Config::defaultServer(), Config::publicServer()};
}

QString absoluteText(const QUrl& url) {
    return url.toString();
}
} // namespace

std::optional<QUrl> Store::normalizedServerURL(const QString& text) {
    QString t = text.trimmed();
    while (t.endsWith(QLatin1Char('/')))
        t.chop(1);
    if (t.isEmpty()) return std::nullopt;
    if (!t.contains(QLatin1String("://"))) t.prepend(QStringLiteral("https://"));
    const QUrl url(t, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) return std::nullopt;
    return url;
}

void Store::persistMe() {
    Prefs& prefs = Prefs::shared();
    if (const auto& primaryToken = token()) prefs.setValue(PrefKey::token, *primaryToken);
    if (m_me) prefs.writeJson(PrefKey::me, *m_me);
}

// MARK: Name login

QCoro::Task<> Store::login(QString username, std::optional<QString> server) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    if (server) {
        const auto url = normalizedServerURL(*server);
        if (!url) {
            setLastError(QStringLiteral("Invalid server URL"));
            co_return;
        }
        setPrimaryAddress(absoluteText(*url));
        Prefs::shared().setValue(PrefKey::primaryBaseURL, m_serverURLString);
    }
    if (const auto primary = api()) {
        const Api anonymous(primary->base, std::nullopt);
        try {
            auto call = anonymous.login(username);
            LoginResponse reply = co_await call;
            if (!self) co_return;
            co_await adoptLogin(std::move(reply));
        } catch (const std::exception& e) {
            if (self) setLastError(describeError(e));
        }
        co_return;
    }
    const auto found = co_await probeLogin(username);
    if (!self) co_return;
    if (!found) {
        setLastError(L(QStringLiteral(
            "This name isn't authorized on any reachable server — use an invite code.")));
        co_return;
    }
    co_await adoptLogin(*found);
}

// Tries the well-known servers in order; the winner becomes the primary address.
QCoro::Task<std::optional<LoginResponse>> Store::probeLogin(QString username) {
    QPointer<Store> self(this);
    for (const QString& candidate : wellKnownLoginOrder()) {
        const auto url = normalizedServerURL(candidate);
        if (!url) continue;
        try {
            const Api anonymous(*url, std::nullopt);
            auto call = anonymous.login(username);
            LoginResponse reply = co_await call;
            if (!self) co_return std::nullopt;
            setPrimaryAddress(absoluteText(*url));
            Prefs::shared().setValue(PrefKey::primaryBaseURL, m_serverURLString);
            co_return reply;
        } catch (const std::exception&) {
            if (!self) co_return std::nullopt;
        }
    }
    co_return std::nullopt;
}

QCoro::Task<> Store::adoptLogin(LoginResponse response) {
    QPointer<Store> self(this);
    clearAllDeliveredNotifications();
    setPrimaryToken(response.token);
    m_me = response.user;
    persistMe();
    emit sessionChanged();
    co_await resync();
    if (!self) co_return;
    connectWS();
    registerForPush();
    co_await upgradeKeyAuth();
}

QCoro::Task<bool> Store::tailnetAutoLogin() {
    QPointer<Store> self(this);
    if (token() || api() || m_suppressAutoLogin) co_return false;
    for (const QString& candidate : wellKnownLoginOrder()) {
        const auto url = normalizedServerURL(candidate);
        if (!url) continue;
        try {
            // A server on the private network names the caller by the network itself.
            const Api anonymous(*url, std::nullopt);
            auto call = anonymous.login(QString());
            LoginResponse reply = co_await call;
            if (!self || token()) co_return false;
            setPrimaryAddress(absoluteText(*url));
            Prefs::shared().setValue(PrefKey::primaryBaseURL, m_serverURLString);
            co_await adoptLogin(std::move(reply));
            co_return true;
        } catch (const std::exception&) {
            if (!self) co_return false;
        }
    }
    co_return false;
}

// MARK: Invite logins

// Nothing when the server refused; the reason is shown.
QCoro::Task<std::optional<LoginResponse>> Store::signInAsGuest(Api anonymous, QString name,
                                                               QString code) {
    QPointer<Store> self(this);
    try {
        auto call = anonymous.loginGuest(name, code);
        co_return co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
    co_return std::nullopt;
}

QCoro::Task<> Store::loginGuest(QString name, QString code) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    QString rawCode = code;
    std::optional<QUrl> target;
    const qsizetype at = code.indexOf(QLatin1Char('@'));
    if (at >= 0) {
        rawCode = code.left(at);
        target = normalizedServerURL(code.mid(at + 1));
    } else if (const auto primary = api()) {
        target = primary->base;
    }
    if (!target) {
        setLastError(QStringLiteral("Invalid server URL"));
        co_return;
    }
    const auto primary = api();
    const bool onPrimary = primary && primary->base == *target;
    auto call = signInAsGuest(Api(*target, std::nullopt), name, rawCode);
    const auto reply = co_await call;
    if (!self || !reply) co_return;
    clearAllDeliveredNotifications();
    if (onPrimary) {
        Prefs::shared().remove(PrefKey::guestServerURL);
    } else {
        // The whole client now lives on that server as a guest until logout.
        setPrimaryAddress(absoluteText(*target));
        Prefs::shared().setValue(PrefKey::guestServerURL, m_serverURLString);
    }
    setPrimaryToken(reply->token);
    m_me = reply->user;
    persistMe();
    emit sessionChanged();
    co_await resync();
    if (self) connectWS();
}

QCoro::Task<> Store::joinByCode(QString code) {
    const QString name = m_me ? m_me->username : QStringLiteral("Guest");
    co_await loginGuest(name, code);
}

// MARK: Primary base

QCoro::Task<> Store::selectPrimaryBase() {
    QPointer<Store> self(this);
    if (auto guest = Prefs::shared().string(PrefKey::guestServerURL); guest && !guest->isEmpty())
        co_return;
    const QStringList known = {Config::defaultServer(), Config::publicServer(),
                               Config::macServer()};
    if (!known.contains(m_serverURLString)) co_return; // an address the user chose stays
    if (PinRegistry::shared().pin(PinRegistry::hostPort(QUrl(m_serverURLString)))) co_return;
    for (const QString& candidate :
         {Config::publicServer(), Config::defaultServer(), Config::macServer()}) {
        const QUrl url(candidate);
        Api::ServerIdentityResponse identity;
        try {
            const Api anonymous(url, std::nullopt);
            auto call = anonymous.serverIdentity();
            identity = co_await call;
        } catch (const std::exception&) {
            // An address that does not answer is skipped; the next one is tried.
            if (!self) co_return;
            continue;
        }
        if (!self) co_return;
        if (identity.platform && serverOS().value(0) != *identity.platform) {
            auto os = serverOS();
            os.insert(0, *identity.platform);
            setServerOS(os);
        }
        PinRegistry::shared().setPin(identity.fingerprint, PinRegistry::hostPort(url));
        if (candidate != m_serverURLString) {
            setPrimaryAddress(candidate);
            Prefs::shared().setValue(PrefKey::primaryBaseURL, m_serverURLString);
            emit sessionChanged();
        }
        qCInfo(lcStore).noquote() << "[Velmarin] primary base →" << candidate;
        connectWS();
        co_return;
    }
}

// MARK: Logout

void Store::logout() {
    m_suppressAutoLogin = true;
    if (const auto primary = api(); primary && m_pushToken) {
        [](Api a, QString t) -> QCoro::Task<> {
            try {
                co_await a.unregisterPushToken(t);
            } catch (const std::exception&) {
                // Logging out goes on: the server forgets the token when it expires.
            }
        }(*primary, *m_pushToken);
    }
    clearAllDeliveredNotifications();
    stopExtraPolling();
    for (int server : m_links.keys())
        if (server != 0) forgetLink(server);
    m_extraServers.clear();
    m_serverMeId.clear();
    m_serverAnswering.clear();
    m_serverNamedAccounts.clear();
    m_serverChatAccounts.clear();
    m_pushToken.reset();
    setPrimaryToken(std::nullopt);
    m_me.reset();
    m_users.clear();
    m_chats.clear();
    m_messages.clear();
    m_hasMore.clear();
    setSelectedChatId(std::nullopt);
    m_chatSettingsChatId.reset();
    if (ServerLink* primary = link(0)) primary->close();
    m_claudeHostOnline = m_claudeRescueOnline = m_claudeInputHelperOnline = false;
    setClaudeHostName(std::nullopt); // stores the empty name
    m_claudeUsage.reset();
    m_serverClaudeEmail.clear();
    m_serverClaudeUsage.clear();
    m_macNamedAccounts.clear();
    m_macChatAccounts.clear();
    m_claudeControlChatId.reset();
    Prefs& prefs = Prefs::shared();
    for (const char* key :
         {"token", "me", "guestServerURL", "claudeUsageCache", "serverClaudeEmail",
          "serverClaudeUsage", "extraServers", "serverTokens", "ccWorkdirs", "primaryBaseURL"})
        prefs.remove(QString::fromLatin1(key));
    m_ccWorkdirs.clear();
    setPrimaryAddress(QString());
    emit sessionChanged();
    emit chatsReset();
    emit connectionChanged();
    emit selectionChanged();
    emit hostChanged();
    emit extraServersChanged();
    emit accountsChanged();
}
