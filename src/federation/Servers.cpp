// Extra servers: how a profile comes to exist, is stored, connected with a
// chain of sign-in fallbacks, merged into the one list, and removed.

#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "core/PrefsMaps.h"
#include "model/IDCodec.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"
#include "store/ServerLink.h"
#include "store/Store.h"

#include <QUuid>

namespace {
const QString kFallbackLoginName = QStringLiteral("Ilvar");

// The person's name on the other server, or the fixed fallback before any session.
QString loginName(const std::optional<User>& me) {
    return me ? me->username : kFallbackLoginName;
}

// Every call to an extra server goes to the pinned key once there is one.
Api pinnedApi(const QUrl& base, std::optional<QString> token) {
    return Api(PinRegistry::shared().upgraded(base), std::move(token));
}

QCoro::Task<std::optional<BootstrapResponse>> tryBootstrap(Api api) {
    try {
        auto call = api.bootstrap();
        co_return co_await call;
    } catch (const std::exception&) {
        co_return std::nullopt;
    }
}

QCoro::Task<std::optional<QString>> tryKeyLogin(Api api) {
    try {
        auto call = api.keyLogin();
        const Api::KeyAuthResponse reply = co_await call;
        co_return reply.token;
    } catch (const std::exception&) {
        co_return std::nullopt;
    }
}

QCoro::Task<std::optional<QString>> tryNameLogin(Api api, QString name) {
    try {
        auto call = api.login(name);
        const LoginResponse reply = co_await call;
        co_return reply.token;
    } catch (const std::exception&) {
        co_return std::nullopt;
    }
}
} // namespace

// MARK: Persistence

void Store::setExtraServers(const QList<ServerProfile>& servers) {
    if (m_extraServers == servers) return;
    m_extraServers = servers;
    followExtraServers();
    persistExtraServers();
    emit extraServersChanged();
}

void Store::followExtraServers() {
    for (const ServerProfile& profile : std::as_const(m_extraServers))
        ensureLink(profile.serverId)->setBase(normalizedServerURL(profile.url));
    const QList<int> held = m_links.keys();
    for (int server : held)
        if (server != 0 && !extraServer(server)) forgetLink(server);
}

QHash<int, QString> Store::serverTokens() const {
    QHash<int, QString> tokens;
    for (auto it = m_links.cbegin(); it != m_links.cend(); ++it)
        if (it.key() != 0 && it.value()->token()) tokens.insert(it.key(), *it.value()->token());
    return tokens;
}

void Store::setServerTokens(const QHash<int, QString>& tokens) {
    for (const ServerProfile& profile : std::as_const(m_extraServers)) {
        const auto it = tokens.constFind(profile.serverId);
        setServerToken(profile.serverId,
                       it == tokens.cend() ? std::nullopt : std::optional<QString>(*it));
    }
}

void Store::setServerToken(int server, std::optional<QString> token) {
    ServerLink* serverLink = extraServer(server) ? m_links.value(server) : nullptr;
    if (!serverLink || serverLink->token() == token) return;
    serverLink->setToken(std::move(token));
    persistExtraServers();
    emit extraServersChanged();
}

void Store::persistExtraServers() {
    Prefs::shared().writeJson(PrefKey::extraServers, m_extraServers);
    prefsmaps::writeIntMap(PrefKey::serverTokens, serverTokens());
}

void Store::loadExtraServers() {
    m_extraServers = Prefs::shared()
                         .readJson<QList<ServerProfile>>(PrefKey::extraServers)
                         .value_or(QList<ServerProfile>{});
    followExtraServers();
    const auto tokens = prefsmaps::readIntMap<QString>(PrefKey::serverTokens);
    for (auto it = tokens.cbegin(); it != tokens.cend(); ++it)
        if (ServerLink* serverLink = m_links.value(it.key()); serverLink && it.key() != 0)
            serverLink->setToken(*it);
    // An address that can never move onto TLS has no certificate to pin. A
    // plain http address keeps its pin: the pin is what moves it onto TLS.
    for (const ServerProfile& profile : std::as_const(m_extraServers)) {
        const auto url = normalizedServerURL(profile.url);
        if (url && url->scheme() != QLatin1String("https") && !pinnable(*url))
            PinRegistry::shared().removePin(PinRegistry::hostPort(*url));
    }
}

int Store::nextServerId() const {
    int highest = 0;
    for (const ServerProfile& profile : m_extraServers)
        highest = std::max(highest, profile.serverId);
    return highest + 1;
}

const ServerProfile* Store::extraServer(int server) const {
    for (const ServerProfile& profile : m_extraServers)
        if (profile.serverId == server) return &profile;
    return nullptr;
}

void Store::startExtraServerTasksIfAny() {
    if (m_extraServers.isEmpty()) return;
    [](QPointer<Store> self) -> QCoro::Task<> {
        if (!self) co_return;
        co_await self->connectExtraServers();
        if (self) self->startExtraPolling();
    }(QPointer<Store>(this));
}

// MARK: Connecting

QCoro::Task<> Store::connectServer(ServerProfile profile) {
    QPointer<Store> self(this);
    const int server = profile.serverId;
    if (m_connectingServers.contains(server)) {
        // The running one may have asked before what this caller needs to see.
        m_connectAgain.insert(server);
        co_await waitWhile(
            [server](const Store& s) { return s.m_connectingServers.contains(server); });
        co_return;
    }
    m_connectingServers.insert(server);
    do {
        m_connectAgain.remove(server);
        co_await connectServerRound(profile);
        if (!self) co_return;
        const ServerProfile* current = extraServer(server);
        if (!current) break;
        profile = *current;
    } while (m_connectAgain.contains(server));
    m_connectingServers.remove(server);
    m_connectAgain.remove(server);
    emit serverConnectFinished(server);
}

QCoro::Task<> Store::connectServerRound(ServerProfile profile) {
    QPointer<Store> self(this);
    const auto base = normalizedServerURL(profile.url);
    if (!base) co_return;
    const int server = profile.serverId;
    const QString name = loginName(m_me);
    // A pin learnt from a pairing code moves a plain address onto TLS before
    // any token goes out.
    if (profile.fingerprint && pinnable(*base) &&
        !PinRegistry::shared().pin(PinRegistry::hostPort(*base)))
        PinRegistry::shared().setPin(*profile.fingerprint, PinRegistry::hostPort(*base));
    const auto at = [&base](std::optional<QString> token) { return pinnedApi(*base, token); };
    const auto keep = [this, server](const QString& fresh) { setServerToken(server, fresh); };
    quint64 mark = stateEventCount(server);
    std::optional<BootstrapResponse> reply;
    const ServerLink* serverLink = link(server);
    std::optional<QString> used = serverLink ? serverLink->token() : std::nullopt;
    const bool hadToken = used.has_value();
    if (hadToken) {
        reply = co_await tryBootstrap(at(used));
        if (!self) co_return;
    }
    // Once this device's key guards the account there, the name alone no
    // longer signs in: also for a server removed and added again.
    if (!reply && (hadToken || keyRegistered(*base))) {
        used = co_await tryKeyLogin(at(std::nullopt));
        if (!self) co_return;
        if (used) {
            keep(*used);
            mark = stateEventCount(server);
            reply = co_await tryBootstrap(at(used));
            if (!self) co_return;
        }
    }
    if (!reply) {
        used = co_await tryNameLogin(at(std::nullopt), name);
        if (!self) co_return;
        if (used) {
            keep(*used);
            mark = stateEventCount(server);
            reply = co_await tryBootstrap(at(used));
            if (!self) co_return;
        }
    }
    // Events of this server that overtook the reply would be undone by it: ask
    // again (see fetchPrimaryBootstrap for why this is not a replay).
    for (int attempt = 1; reply && stateEventCount(server) != mark && attempt < maxOvertakenFetches;
         ++attempt) {
        mark = stateEventCount(server);
        auto again = co_await tryBootstrap(at(used));
        if (!self) co_return;
        if (again) reply = std::move(again);
    }
    // The profile may have gone while the calls ran.
    if (!extraServer(server)) co_return;
    if (!reply) {
        m_serverAnswering.insert(server, false);
        emit accountsChanged();
        co_return;
    }
    m_serverAnswering.insert(server, true);
    connectExtraWSIfNeeded(server);
    [](QPointer<Store> s, ServerProfile p) -> QCoro::Task<> {
        if (s) co_await s->upgradeKeyAuthExtra(p);
    }(self, profile);
    mergeExtraBootstrap(server, std::move(*reply));
    emit accountsChanged();
}

bool Store::mergeExtraBootstrap(int server, BootstrapResponse reply) {
    // Before any record is remapped: mapUserId folds the person onto me.id by it.
    m_serverMeId.insert(server, reply.me.id);
    syncBuilds(reply.builds, server);
    if (reply.claudeHost && reply.claudeHost->usage) {
        auto usage = serverClaudeUsage();
        usage.insert(server, *reply.claudeHost->usage);
        setServerClaudeUsage(usage);
        const auto email = reply.claudeHost->usage->email;
        if (email && !email->isEmpty()) {
            auto emails = serverClaudeEmail();
            emails.insert(server, *email);
            setServerClaudeEmail(emails);
        }
    }
    for (qint64 bot : reply.botIds.value_or(QList<qint64>{}))
        m_extraBotIds.insert(mapUserId(bot, server));
    QHash<qint64, qsizetype> userIndex;
    for (qsizetype i = 0; i < m_users.size(); ++i)
        userIndex.insert(m_users[i].id, i);
    for (User& user : reply.users) {
        remap(user, server);
        if (m_me && user.id == m_me->id) continue;
        if (const auto it = userIndex.constFind(user.id); it != userIndex.constEnd()) {
            m_users[*it] = user;
        } else {
            userIndex.insert(user.id, m_users.size());
            m_users.push_back(user);
        }
    }
    QList<ChatSummary>& incoming = reply.chats;
    for (ChatSummary& c : incoming)
        remap(c, server);
    sanitizeLastMessages(incoming);
    QHash<qint64, const ChatSummary*> held;
    bool holdsServer = false;
    for (const ChatSummary& c : std::as_const(m_chats)) {
        if (IDCodec::serverId(c.id) != server) continue;
        held.insert(c.id, &c);
        holdsServer = true;
    }
    // A late bootstrap must not roll a preview back.
    for (ChatSummary& c : incoming) {
        const ChatSummary* old = held.value(c.id);
        if (!old || !old->lastMessage) continue;
        if (!c.lastMessage || (c.lastMessage->id != old->lastMessage->id &&
                               c.lastMessage->createdAt < old->lastMessage->createdAt))
            c.lastMessage = old->lastMessage;
    }
    emit usersChanged();
    if (incoming.isEmpty() && holdsServer) return false;
    m_chats.erase(std::remove_if(
                      m_chats.begin(), m_chats.end(),
                      [server](const ChatSummary& c) { return IDCodec::serverId(c.id) == server; }),
                  m_chats.end());
    // The list is normally in order already: sorting only the newcomers and
    // merging them in gives the order a sort of the joined list would.
    const auto newer = [](const ChatSummary& a, const ChatSummary& b) {
        return a.activityAt() > b.activityAt();
    };
    std::stable_sort(incoming.begin(), incoming.end(), newer);
    const qsizetype kept = m_chats.size();
    m_chats.reserve(kept + incoming.size());
    for (ChatSummary& c : incoming)
        m_chats.push_back(std::move(c));
    if (std::is_sorted(m_chats.begin(), m_chats.begin() + kept, newer))
        std::inplace_merge(m_chats.begin(), m_chats.begin() + kept, m_chats.end(), newer);
    else
        std::stable_sort(m_chats.begin(), m_chats.end(), newer);
    for (const ChatSummary& c : std::as_const(m_chats)) {
        if (IDCodec::serverId(c.id) != server || !c.lastMessage) continue;
        const Message& last = *c.lastMessage;
        captureCCMarkers(last);
        cacheVisiblePreview(last);
        if (!isBotUser(last.senderId) && !last.isCCControl())
            bumpUserActivity(c.id, last.createdAt);
    }
    for (const ChatSummary& c : std::as_const(m_chats))
        if (IDCodec::serverId(c.id) == server) resolveBuriedUserActivity(c);
    emit chatsReset();
    if (const auto selected = selectedChatId(); selected && IDCodec::serverId(*selected) == server)
        markRead(*selected);
    return true;
}

QCoro::Task<> Store::connectExtraServers() {
    QPointer<Store> self(this);
    const QList<ServerProfile> profiles = m_extraServers;
    for (const ServerProfile& profile : profiles) {
        auto call = connectServer(profile);
        co_await call;
        if (!self) co_return;
    }
}

// MARK: Adding

QCoro::Task<bool> Store::addServer(QString name, QString url) {
    QPointer<Store> self(this);
    if (!normalizedServerURL(url)) co_return false;
    const ServerProfile profile{QUuid::createUuid(), nextServerId(), name, url, QString(), {}};
    setExtraServers(m_extraServers + QList<ServerProfile>{profile});
    auto call = connectServer(profile);
    co_await call;
    if (!self) co_return false;
    startExtraPolling();
    co_return true;
}

int Store::adoptServerProfile(const QUrl& base, const QString& fallbackName) {
    const QString wanted = base.toString();
    for (const ServerProfile& profile : std::as_const(m_extraServers)) {
        const auto url = normalizedServerURL(profile.url);
        if (url && url->toString() == wanted) return profile.serverId;
    }
    const QString name = base.host().isEmpty() ? fallbackName : base.host();
    const ServerProfile profile{QUuid::createUuid(), nextServerId(), name,
                                base.toString(),     QString(),      {}};
    setExtraServers(m_extraServers + QList<ServerProfile>{profile});
    return profile.serverId;
}

QCoro::Task<> Store::addServerByName(QUrl base, QString name, bool background) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    LoginResponse reply;
    try {
        const Api anonymous = pinnedApi(base, std::nullopt);
        auto call = anonymous.login(name);
        reply = co_await call;
    } catch (const std::exception& e) {
        if (self && !background) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    auto join = joinExtraServer(base, reply.token);
    co_await join;
    if (!self) co_return;
    if (background) co_return;
    setSelectedChatId(std::nullopt);
    const auto primary = api();
    if (!primary || !token() || primary->base == PinRegistry::shared().upgraded(base)) co_return;
    try {
        auto call = primary->registerLinkedServer(base.toString());
        co_await call;
    } catch (const std::exception&) {
        // Other devices learn of the link at a later try.
    }
}

// A server the person just got a token for: kept as an extra server, joined
// into the list, and polled like the others.
QCoro::Task<> Store::joinExtraServer(QUrl base, QString serverToken) {
    QPointer<Store> self(this);
    const int server = adoptServerProfile(base, QStringLiteral("Conversation"));
    setServerToken(server, serverToken);
    if (const ServerProfile* profile = extraServer(server)) {
        auto call = connectServer(*profile);
        co_await call;
        if (!self) co_return;
    }
    startExtraPolling();
}

QCoro::Task<> Store::addGuestServerByCode(QUrl base, QString rawCode) {
    QPointer<Store> self(this);
    const QString name = m_me ? m_me->username : QStringLiteral("Guest");
    auto call = signInAsGuest(pinnedApi(base, std::nullopt), name, rawCode);
    const auto reply = co_await call;
    if (!self || !reply) co_return;
    auto join = joinExtraServer(base, reply->token);
    co_await join;
    if (!self) co_return;
    setSelectedChatId(std::nullopt);
}

QCoro::Task<> Store::addConversationByCode(QString code) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    const qsizetype at = code.indexOf(QLatin1Char('@'));
    const QString rawCode = (at >= 0 ? code.left(at) : code).trimmed();
    const std::optional<QUrl> named =
        at >= 0 ? normalizedServerURL(code.mid(at + 1)) : std::nullopt;
    const auto primary = api();
    if (!primary || !token()) {
        const QString name = m_me ? m_me->username : QStringLiteral("Guest");
        auto call = loginGuest(name, code);
        co_await call;
        co_return;
    }
    if (named && PinRegistry::shared().upgraded(*named) != primary->base) {
        auto call = addGuestServerByCode(*named, rawCode);
        co_await call;
        co_return;
    }
    try {
        const Api target = named ? pinnedApi(*named, token()) : Api(primary->base, token());
        auto call = target.joinByCode(rawCode);
        co_await call;
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return;
    }
    if (!self) co_return;
    auto call = resync();
    co_await call;
}

QCoro::Task<> Store::connectLinkedServers(QStringList urls) {
    QPointer<Store> self(this);
    if (!m_me || !api()) co_return;
    for (const QString& text : urls) {
        const auto base = normalizedServerURL(text);
        if (!base || !self || !m_me) continue;
        bool known = false;
        for (const ServerProfile& p : std::as_const(m_extraServers))
            known = known || normalizedServerURL(p.url) == base;
        if (known) continue;
        const QString name = m_me->username;
        auto call = addServerByName(*base, name, true);
        co_await call;
        if (!self) co_return;
    }
}

QCoro::Task<> Store::connectDiscoveredServers(QStringList hosts) {
    QPointer<Store> self(this);
    if (!m_me || !api()) co_return;
    for (const QString& text : hosts) {
        const auto base = normalizedServerURL(text);
        const auto primary = api();
        if (!base || !primary || !m_me || primary->base == PinRegistry::shared().upgraded(*base))
            continue;
        bool known = false;
        for (const ServerProfile& p : std::as_const(m_extraServers))
            known = known || normalizedServerURL(p.url) == base;
        if (known) continue;
        // A probe that leaves nothing behind: a server without a conversation is not joined.
        auto login = tryNameLogin(pinnedApi(*base, std::nullopt), m_me->username);
        const auto probeToken = co_await login;
        if (!self) co_return;
        if (!probeToken) continue;
        auto probe = tryBootstrap(pinnedApi(*base, *probeToken));
        const auto reply = co_await probe;
        if (!self) co_return;
        if (!reply || reply->chats.isEmpty() || !m_me) continue;
        const QString name = m_me->username;
        auto call = addServerByName(*base, name, true);
        co_await call;
        if (!self) co_return;
    }
}

// MARK: Removing

void Store::removeServer(ServerProfile profile) {
    const int server = profile.serverId;
    // Its token goes with its link.
    forgetLink(server);
    emit connectionChanged();
    const auto onServer = [server](qint64 id) { return IDCodec::serverId(id) == server; };
    m_chats.erase(std::remove_if(m_chats.begin(), m_chats.end(),
                                 [&](const ChatSummary& c) { return onServer(c.id); }),
                  m_chats.end());
    for (auto it = m_messages.begin(); it != m_messages.end();)
        it = onServer(it.key()) ? m_messages.erase(it) : std::next(it);
    // Nothing that carries the number may outlive it: the number comes back.
    m_serverMeId.remove(server);
    m_serverAnswering.remove(server);
    m_serverNamedAccounts.remove(server);
    m_serverChatAccounts.remove(server);
    m_extraBotIds.removeIf([&](qint64 id) { return onServer(id); });
    const auto without = [server](auto map) {
        map.remove(server);
        return map;
    };
    setServerClaudeEmail(without(serverClaudeEmail()));
    setServerClaudeUsage(without(serverClaudeUsage()));
    setServerOS(without(serverOS()));
    setServerPlatform(without(serverPlatform()));
    QList<ServerProfile> rest = m_extraServers;
    rest.removeIf([server](const ServerProfile& p) { return p.serverId == server; });
    setExtraServers(rest);
    startExtraPolling();
    emit chatsReset();
    const auto removedBase = normalizedServerURL(profile.url);
    const auto primary = api();
    if (!primary || !token() || !removedBase ||
        PinRegistry::shared().upgraded(*removedBase) == primary->base)
        return;
    [](Api a, QString url) -> QCoro::Task<> {
        try {
            auto call = a.unregisterLinkedServer(url);
            co_await call;
        } catch (const std::exception& e) {
            qCDebug(lcFederation)
                << "unlinking on the primary failed; it forgets the link on its own:" << e.what();
        }
    }(*primary, removedBase->toString());
}

// MARK: Device key on an extra server

QCoro::Task<> Store::upgradeKeyAuthExtra(ServerProfile profile) {
    QPointer<Store> self(this);
    const auto base = normalizedServerURL(profile.url);
    if (!base) co_return;
    const int server = profile.serverId;
    const QString hostPort = PinRegistry::hostPort(*base);
    Api::ServerIdentityResponse identity;
    try {
        auto call = pinnedApi(*base, std::nullopt).serverIdentity();
        identity = co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcFederation) << "extra server did not say who it is; connecting later:"
                              << e.what();
        co_return;
    }
    if (!self) co_return;
    if (identity.platform && serverOS().value(server) != *identity.platform) {
        auto os = serverOS();
        os.insert(server, *identity.platform);
        setServerOS(os);
    }
    if (pinnable(*base) && !PinRegistry::shared().pin(hostPort)) {
        // The first answer is trusted.
        PinRegistry::shared().setPin(identity.fingerprint, hostPort);
        QList<ServerProfile> updated = m_extraServers;
        for (ServerProfile& p : updated)
            if (p.serverId == server) p.fingerprint = identity.fingerprint;
        setExtraServers(updated);
        // A link opened before the pin speaks plain: it moves onto TLS too.
        if (linkOpen(server) && extraServer(server)) {
            closeExtraWS(server);
            connectExtraWSIfNeeded(server);
        }
    }
    const QString registered = keyRegisteredKey(*base);
    if (keyRegistered(*base)) co_return;
    co_await DeviceKey::load();
    if (!self) co_return;
    const auto pubkey = DeviceKey::publicKeyB64();
    const auto serverApi = apiFor(server);
    if (!pubkey || !serverApi || !serverApi->token) co_return;
    try {
        auto call = serverApi->keyRegister(*pubkey, clientDeviceName());
        const Api::KeyAuthResponse reply = co_await call;
        if (!self || !extraServer(server)) co_return;
        setServerToken(server, reply.token);
        Prefs::shared().setValue(registered, true);
    } catch (const std::exception& e) {
        qCDebug(lcFederation) << "key registration on an extra server failed; retried next connect:"
                              << e.what();
    }
}

// MARK: After a primary bootstrap

void Store::startFederationFollowUps(const BootstrapResponse& reply) {
    QPointer<Store> self(this);
    if (!m_extraServers.isEmpty()) {
        [](QPointer<Store> s) -> QCoro::Task<> {
            if (s) co_await s->connectExtraServers();
        }(self);
    }
    if (reply.linkedServers && !reply.linkedServers->isEmpty()) {
        [](QPointer<Store> s, QStringList urls) -> QCoro::Task<> {
            if (s) co_await s->connectLinkedServers(urls);
        }(self, *reply.linkedServers);
    }
    if (reply.discoveredServers && !reply.discoveredServers->isEmpty()) {
        [](QPointer<Store> s, QStringList hosts) -> QCoro::Task<> {
            if (s) co_await s->connectDiscoveredServers(hosts);
        }(self, *reply.discoveredServers);
    }
    [](QPointer<Store> s) -> QCoro::Task<> {
        if (s) co_await s->prefetchHistories();
    }(self);
}
