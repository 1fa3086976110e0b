// Claude accounts and the machines that hold them: the client's picture of
// hosts and accounts, the sign-in flows over the control channel, and moving
// a conversation to another account, across hosts if need be.

#include "core/Localisation.h"
#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "core/PrefsMaps.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QJsonArray>

namespace {
QString noResponse() {
    return QStringLiteral("No response from the Mac");
}

QString stringField(const QJsonObject& o, const char* key) {
    return o.value(QLatin1String(key)).toString();
}

bool okField(const QJsonObject& o) {
    return o.value(QLatin1String("ok")) == QJsonValue(true);
}

bool sameEmail(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

bool holds(const QList<ClaudeNamedAccount>& accounts, const QString& email) {
    return std::any_of(accounts.begin(), accounts.end(),
                       [&](const ClaudeNamedAccount& a) { return sameEmail(a.email, email); });
}

QString blanksTrimmed(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text[begin] == u' ' || text[begin] == u'\t'))
        ++begin;
    while (end > begin && (text[end - 1] == u' ' || text[end - 1] == u'\t'))
        --end;
    return text.mid(begin, end - begin);
}
} // namespace

// MARK: Fields with side effects

void Store::setServerClaudeEmail(const QHash<int, QString>& emails) {
    if (m_serverClaudeEmail == emails) return;
    m_serverClaudeEmail = emails;
    prefsmaps::writeIntMap(PrefKey::serverClaudeEmail, emails);
    emit accountsChanged();
}

void Store::setServerClaudeUsage(const QHash<int, ClaudeUsage>& usage) {
    if (m_serverClaudeUsage == usage) return;
    m_serverClaudeUsage = usage;
    prefsmaps::writeIntMap(PrefKey::serverClaudeUsage, usage);
    emit accountsChanged();
}

void Store::loadServerClaudeEmail() {
    m_serverClaudeEmail = prefsmaps::readIntMap<QString>(PrefKey::serverClaudeEmail);
}

void Store::loadServerClaudeUsage() {
    m_serverClaudeUsage = prefsmaps::readIntMap<ClaudeUsage>(PrefKey::serverClaudeUsage);
}

// MARK: Sign-in on a host

QCoro::Task<std::optional<CCAuthStatus>> Store::ccAuthStatus(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("authstatus"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return std::nullopt;
    co_return CCAuthStatus{reply->value(QLatin1String("loggedIn")).toBool(false),
                           stringField(*reply, "email"), stringField(*reply, "plan"),
                           stringField(*reply, "org")};
}

QCoro::Task<bool> Store::ccAuthLogout(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("authlogout"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    co_return reply&& okField(*reply);
}

QCoro::Task<std::optional<CCLoginStart>> Store::ccAuthLoginStart(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("authlogin"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply || stringField(*reply, "url").isEmpty()) co_return std::nullopt;
    co_return CCLoginStart{stringField(*reply, "url"), stringField(*reply, "loginId")};
}

QCoro::Task<CCLoginResult> Store::ccAuthLoginSubmit(QString loginId, QString code, qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("loginId"), loginId},
                            {QStringLiteral("code"), code}};
    auto request = ccRequest(QStringLiteral("authcode"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return CCLoginResult{false, {}, {}, noResponse()};
    co_return CCLoginResult{okField(*reply), stringField(*reply, "email"),
                            stringField(*reply, "plan"), stringField(*reply, "err")};
}

QCoro::Task<QList<CCAccountListEntry>> Store::ccAccountList() {
    auto request = ccRequest(QStringLiteral("acctlist"), QString());
    const std::optional<QJsonObject> reply = co_await request;
    QList<CCAccountListEntry> accounts;
    if (!reply) co_return accounts;
    for (const QJsonValue& item : reply->value(QLatin1String("accounts")).toArray()) {
        const QJsonObject o = item.toObject();
        const QString email = stringField(o, "email");
        if (!email.isEmpty())
            accounts.push_back({email, o.value(QLatin1String("default")).toBool(false)});
    }
    co_return accounts;
}

QCoro::Task<std::optional<CCLoginStart>> Store::ccAccountLoginStart() {
    auto request = ccRequest(QStringLiteral("acctlogin"), QString());
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply || stringField(*reply, "url").isEmpty()) co_return std::nullopt;
    co_return CCLoginStart{stringField(*reply, "url"), stringField(*reply, "loginId")};
}

QCoro::Task<CCLoginResult> Store::ccAccountLoginSubmit(QString loginId, QString code) {
    const QJsonObject extra{{QStringLiteral("loginId"), loginId}, {QStringLiteral("code"), code}};
    auto request = ccRequest(QStringLiteral("acctcode"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return CCLoginResult{false, {}, {}, noResponse()};
    co_return CCLoginResult{
        okField(*reply), stringField(*reply, "email"), {}, stringField(*reply, "err")};
}

QCoro::Task<std::optional<QString>> Store::ccSetAccount(qint64 chatId, QString email) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("email"), email}};
    auto request = ccRequest(QStringLiteral("setaccount"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return noResponse();
    if (okField(*reply)) co_return std::nullopt;
    const QString err = stringField(*reply, "err");
    co_return err.isEmpty() ? QStringLiteral("Could not switch the account") : err;
}

QCoro::Task<std::optional<QString>> Store::ccAccountExport(QString email,
                                                           std::optional<qint64> viaChatId) {
    QJsonObject extra{{QStringLiteral("email"), email}};
    if (viaChatId) extra.insert(QStringLiteral("chatId"), QJsonValue(*viaChatId));
    auto request = ccRequest(QStringLiteral("acctexport"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply || !okField(*reply)) co_return std::nullopt;
    const QString credentials = stringField(*reply, "credentials");
    if (credentials.isEmpty()) co_return std::nullopt;
    co_return credentials;
}

// MARK: Moving a conversation

QCoro::Task<bool> Store::ccSetAccountOn(qint64 chatId, QString email) {
    QPointer<Store> self(this);
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("email"), email}};
    auto request = ccRequest(QStringLiteral("setaccount"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!self || !reply || !okField(*reply)) co_return false;
    m_serverChatAccounts[IDCodec::serverId(chatId)].insert(chatId, email);
    emit accountsChanged();
    co_return true;
}

QCoro::Task<bool> Store::ccImportAccount(std::optional<qint64> chatId, QString email,
                                         QString credentials) {
    QJsonObject extra{{QStringLiteral("email"), email},
                      {QStringLiteral("credentials"), credentials}};
    if (chatId) extra.insert(QStringLiteral("chatId"), QJsonValue(*chatId));
    auto request = ccRequest(QStringLiteral("acctimport"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    co_return reply&& okField(*reply);
}

QCoro::Task<std::optional<QString>> Store::switchChatAccount(qint64 chatId,
                                                             std::optional<QString> toEmail) {
    QPointer<Store> self(this);
    const QString target = blanksTrimmed(toEmail.value_or(QString()));
    const int server = IDCodec::serverId(chatId);
    const QString macDefault = claudeUsage() && claudeUsage()->email ? *claudeUsage()->email
                                                                     : m_serverClaudeEmail.value(0);
    if (const auto current = chatAccountEmail(chatId); current && sameEmail(target, *current))
        co_return std::nullopt;
    if (target.isEmpty())
        co_return L(QStringLiteral("Pick a specific account for this conversation"));

    if (holds(m_serverNamedAccounts.value(server), target)) {
        auto set = ccSetAccountOn(chatId, target);
        if (co_await set) co_return std::nullopt;
        co_return L(QStringLiteral("Could not switch the account"));
    }
    if (server != 0 && (sameEmail(target, macDefault) || holds(m_macNamedAccounts, target))) {
        // The credentials pass through here in memory only.
        auto exported = ccAccountExport(target, std::nullopt);
        const std::optional<QString> credentials = co_await exported;
        if (!self) co_return std::nullopt;
        if (!credentials)
            co_return L(QStringLiteral("Could not export this account's credentials"));
        auto imported = ccImportAccount(chatId, target, *credentials);
        if (!co_await imported || !self)
            co_return L(QStringLiteral("The server's runner did not accept the account"));
        m_serverChatAccounts[server].insert(chatId, target);
        emit accountsChanged();
        co_return std::nullopt;
    }
    if (const auto it = m_serverClaudeEmail.constFind(server);
        it != m_serverClaudeEmail.constEnd() && sameEmail(*it, target)) {
        auto set = ccSetAccountOn(chatId, QString());
        if (co_await set) co_return std::nullopt;
        co_return L(QStringLiteral("Could not switch the account"));
    }
    if (server != 0) co_return L(QStringLiteral("Could not switch the account"));

    if (holds(m_macNamedAccounts, target)) {
        auto set = ccSetAccount(chatId, target);
        co_return co_await set;
    }
    std::optional<qint64> via;
    for (auto it = m_serverClaudeEmail.constBegin(); it != m_serverClaudeEmail.constEnd() && !via;
         ++it) {
        if (it.key() == 0 || !sameEmail(*it, target)) continue;
        const QList<ChatSummary> sessions = chatsOnServers({it.key()});
        if (!sessions.isEmpty()) via = sessions.first().id;
    }
    if (!via)
        co_return L(QStringLiteral("This account isn't available on the Mac yet — add it first"));
    auto exported = ccAccountExport(target, via);
    const std::optional<QString> credentials = co_await exported;
    if (!self) co_return std::nullopt;
    if (!credentials) co_return L(QStringLiteral("Could not export the account from its server"));
    auto imported = ccImportAccount(std::nullopt, target, *credentials);
    if (!co_await imported || !self)
        co_return L(QStringLiteral("Could not import the account on the Mac"));
    auto set = ccSetAccount(chatId, target);
    co_return co_await set;
}

QCoro::Task<> Store::realignTailnetAccount() {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary || !m_me) co_return;
    const qint64 myId = m_me->id;
    LoginResponse reply;
    try {
        // The private network names the caller; the server answers with that account.
        const Api anonymous(primary->base, std::nullopt);
        auto call = anonymous.login(QString());
        reply = co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcAgent) << "the private network did not name this caller:" << e.what();
        co_return;
    }
    if (!self || reply.user.id == myId) co_return;
    auto adopt = adoptLogin(reply);
    co_await adopt;
}

// MARK: The picture of machines and accounts

QString Store::primaryClientSubtitle() const {
    return serverPlatform().value(0) == QLatin1String("linux") ? L(QStringLiteral("Linux server"))
                                                               : L(QStringLiteral("Local Mac"));
}

QList<ClaudeClient> Store::claudeClients() const {
    QList<ClaudeClient> clients;
    const auto usage = claudeUsage();
    if (m_claudeHostOnline || claudeHostName() || usage) {
        const bool linux = serverPlatform().value(0) == QLatin1String("linux");
        ClaudeClient primary;
        primary.serverId = 0;
        primary.name = claudeHostName().value_or(linux ? L(QStringLiteral("Server"))
                                                       : L(QStringLiteral("This Mac")));
        primary.subtitle = primaryClientSubtitle();
        primary.email = usage && usage->email ? usage->email : std::optional<QString>();
        if (!primary.email && m_serverClaudeEmail.contains(0))
            primary.email = m_serverClaudeEmail[0];
        primary.answering = m_claudeHostOnline;
        primary.platform = hostPlatform(0);
        clients.push_back(primary);
    }
    for (const ServerProfile& profile : extraServers()) {
        const int n = profile.serverId;
        if (!m_serverClaudeEmail.contains(n) && !m_serverClaudeUsage.contains(n) &&
            !m_serverAnswering.contains(n))
            continue;
        ClaudeClient client;
        client.serverId = n;
        client.name = profile.name;
        client.platform = hostPlatform(n);
        client.subtitle = client.platform;
        if (m_serverClaudeEmail.contains(n))
            client.email = m_serverClaudeEmail[n];
        else if (m_serverClaudeUsage.contains(n))
            client.email = m_serverClaudeUsage[n].email;
        client.answering = m_serverAnswering.value(n, false);
        clients.push_back(client);
    }
    return clients;
}

QList<ClaudeAccount> Store::claudeAccounts() const {
    QList<ClaudeAccount> accounts;
    const auto usageOf = [this](int server) -> std::optional<ClaudeUsage> {
        if (server == 0) return claudeUsage();
        const auto it = m_serverClaudeUsage.constFind(server);
        return it == m_serverClaudeUsage.constEnd() ? std::nullopt : std::optional(*it);
    };
    const auto groupFor = [&accounts](const std::optional<QString>& email) -> ClaudeAccount* {
        for (ClaudeAccount& a : accounts)
            if (a.email.has_value() == email.has_value() && (!email || sameEmail(*a.email, *email)))
                return &a;
        return nullptr;
    };
    const QList<ClaudeClient> clients = claudeClients();
    for (const ClaudeClient& client : clients) {
        const std::optional<QString> email =
            client.email && !client.email->isEmpty() ? client.email : std::nullopt;
        if (ClaudeAccount* group = groupFor(email)) {
            group->clients.push_back(client);
            continue;
        }
        accounts.push_back({email, {client}, usageOf(client.serverId)});
    }
    // Accounts a machine holds beside its main sign-in.
    for (const ClaudeClient& client : clients) {
        const QList<ClaudeNamedAccount> named = client.serverId == 0
                                                    ? m_macNamedAccounts
                                                    : m_serverNamedAccounts.value(client.serverId);
        for (const ClaudeNamedAccount& account : named) {
            if (ClaudeAccount* group = groupFor(account.email)) {
                if (!group->clients.contains(client)) group->clients.push_back(client);
                if (!group->usage) group->usage = account.usage;
                continue;
            }
            accounts.push_back({account.email, {client}, account.usage});
        }
    }
    return accounts;
}

bool Store::hasMacRunner() const {
    const QList<ClaudeClient> clients = claudeClients();
    return std::any_of(clients.begin(), clients.end(),
                       [](const ClaudeClient& c) { return c.isMac(); });
}

QList<ChatSummary> Store::chatsOnServers(const QSet<int>& servers) const {
    QList<ChatSummary> out;
    for (const ChatSummary& c : m_chats)
        if (servers.contains(IDCodec::serverId(c.id)) && isClaudeSessionChat(c)) out.push_back(c);
    return out;
}

QList<ChatSummary> Store::allSessionChats() const {
    QList<ChatSummary> out;
    for (const ChatSummary& c : m_chats)
        if (isClaudeSessionChat(c)) out.push_back(c);
    return out;
}

QList<ChatSummary> Store::chatsOnAccount(const QString& email) const {
    QList<ChatSummary> out;
    for (const ChatSummary& c : m_chats) {
        if (!isClaudeSessionChat(c)) continue;
        const auto account = chatAccountEmail(c.id);
        if (account && sameEmail(*account, email)) out.push_back(c);
    }
    return out;
}

QStringList Store::knownAccountEmails() const {
    QStringList out;
    const auto note = [&out](const QString& email) {
        if (email.isEmpty()) return;
        if (std::none_of(out.begin(), out.end(),
                         [&](const QString& e) { return sameEmail(e, email); }))
            out.push_back(email);
    };
    QList<int> servers = m_serverClaudeEmail.keys();
    std::sort(servers.begin(), servers.end());
    for (int n : servers)
        note(m_serverClaudeEmail.value(n));
    for (const ClaudeNamedAccount& a : m_macNamedAccounts)
        note(a.email);
    QList<int> holders = m_serverNamedAccounts.keys();
    std::sort(holders.begin(), holders.end());
    for (int n : holders)
        for (const ClaudeNamedAccount& a : m_serverNamedAccounts.value(n))
            note(a.email);
    if (const auto usage = claudeUsage(); usage && usage->email) note(*usage->email);
    return out;
}

bool Store::chatClientAnswering(qint64 chatId) const {
    const int server = IDCodec::serverId(chatId);
    if (server == 0) return m_claudeHostOnline;
    return m_serverAnswering.value(server, false);
}

std::optional<QString> Store::chatAccountEmail(qint64 chatId) const {
    const int server = IDCodec::serverId(chatId);
    if (server == 0) {
        if (const QString own = m_macChatAccounts.value(chatId); !own.isEmpty()) return own;
        if (const auto usage = claudeUsage(); usage && usage->email) return usage->email;
    } else if (const QString own = m_serverChatAccounts.value(server).value(chatId);
               !own.isEmpty()) {
        return own;
    }
    const auto it = m_serverClaudeEmail.constFind(server);
    if (it == m_serverClaudeEmail.constEnd()) return std::nullopt;
    return *it;
}
