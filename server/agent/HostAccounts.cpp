// Control ops on the host's Claude accounts: the main sign-in, further
// named accounts, the account of each conversation, and credentials that
// move an account to another host.
#include "Crypto.h"
#include "agent/AgentHost.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QUuid>

namespace {

constexpr qint64 kLoginLifetimeMs = 15 * 60 * 1000;
constexpr qsizetype kMaxLogins = 50;
const QString kCredentialsPrefix = QStringLiteral("vcred1.");

QString signInCode() {
    static const char alphabet[] = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    QString code;
    for (int i = 0; i < 8; ++i)
        code +=
            QLatin1Char(alphabet[QRandomGenerator::system()->bounded(int(sizeof alphabet) - 1)]);
    return code;
}

QString credentialsOf(const HostAccount& a) {
    const QJsonObject payload{{QStringLiteral("email"), a.email},
                              {QStringLiteral("secret"), a.secret}};
    return kCredentialsPrefix + QString::fromLatin1(QJsonDocument(payload)
                                                        .toJson(QJsonDocument::Compact)
                                                        .toBase64(QByteArray::Base64UrlEncoding |
                                                                  QByteArray::OmitTrailingEquals));
}

// The account that credentials carry, when they are ours and well formed.
std::optional<HostAccount> accountFrom(const QString& credentials) {
    if (!credentials.startsWith(kCredentialsPrefix)) return std::nullopt;
    const auto bytes = QByteArray::fromBase64Encoding(
        credentials.mid(kCredentialsPrefix.size()).toLatin1(),
        QByteArray::Base64UrlEncoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!bytes) return std::nullopt;
    const QJsonObject obj = QJsonDocument::fromJson(bytes.decoded).object();
    const QString email = obj.value(QStringLiteral("email")).toString();
    const QString secret = obj.value(QStringLiteral("secret")).toString();
    if (!email.contains(u'@') || secret.isEmpty()) return std::nullopt;
    return HostAccount{email, secret, {}, {}};
}

} // namespace

QJsonObject AgentHost::startLogin(bool mainAccount) {
    const qint64 now = Storage::now();
    m_logins.removeIf([now](const auto& it) { return it.value().expires < now; });
    if (m_logins.size() >= kMaxLogins) m_logins.clear();
    QString email = m_state.main.email;
    if (!mainAccount)
        for (int n = int(m_state.named.size()) + 2; m_state.account(email); ++n)
            email = QStringLiteral("account%1@velmarin.test").arg(n);
    const QString loginId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_logins.insert(loginId,
                    PendingLogin{email, signInCode(), mainAccount, now + kLoginLifetimeMs});
    return QJsonObject{{QStringLiteral("url"),
                        m_publicBase + QStringLiteral("/api/claude/signin?login=") + loginId},
                       {QStringLiteral("loginId"), loginId}};
}

std::optional<QString> AgentHost::finishLogin(const QString& loginId, const QString& code,
                                              bool mainAccount) {
    const auto it = m_logins.constFind(loginId);
    if (it == m_logins.constEnd() || it->expires < Storage::now() ||
        it->mainAccount != mainAccount ||
        it->code.compare(code.trimmed(), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QString email = it->email;
    m_logins.erase(it);
    return email;
}

std::optional<QString> AgentHost::signInPage(const QString& loginId, const QString& email) {
    const auto it = m_logins.find(loginId);
    if (it == m_logins.end() || it->expires < Storage::now()) return std::nullopt;
    const QString chosen = email.trimmed();
    if (chosen.contains(u'@') && !chosen.contains(u' ') && chosen.size() <= 254) it->email = chosen;
    return QStringLiteral(
               "<!doctype html><html><head><meta charset=\"utf-8\"><title>Claude sign-in</title>"
               "</head><body style=\"font-family:sans-serif;max-width:32em;margin:3em auto\">"
               "<h1>Claude sign-in</h1><p>This host simulates the sign-in. You are signing in as "
               "<b>%1</b>.</p><form><input type=\"hidden\" name=\"login\" value=\"%2\">"
               "<input name=\"email\" value=\"%1\"> <button>Use this account</button></form>"
               "<p>Paste this code in the app:</p><p style=\"font-size:2em;letter-spacing:.2em\">"
               "<code id=\"code\">%3</code></p></body></html>")
        .arg(it->email.toHtmlEscaped(), loginId.toHtmlEscaped(), it->code);
}

QJsonObject AgentHost::opAuthStatus(const ControlRequest&, const Requester&) {
    return QJsonObject{{QStringLiteral("loggedIn"), m_state.loggedIn},
                       {QStringLiteral("email"), m_state.loggedIn ? m_state.main.email : QString()},
                       {QStringLiteral("plan"), m_state.plan},
                       {QStringLiteral("org"), m_state.org}};
}

QJsonObject AgentHost::opAuthLogout(const ControlRequest&, const Requester&) {
    m_state.loggedIn = false;
    save();
    return control::ok();
}

QJsonObject AgentHost::opAuthLogin(const ControlRequest&, const Requester&) {
    return startLogin(true);
}

QJsonObject AgentHost::opAuthCode(const ControlRequest& req, const Requester&) {
    const auto email = finishLogin(control::text(req.fields, QStringLiteral("loginId")),
                                   control::text(req.fields, QStringLiteral("code")), true);
    if (!email) return control::failure(QStringLiteral("That code is not valid"));
    if (email->compare(m_state.main.email, Qt::CaseInsensitive) != 0)
        m_state.main = HostAccount{*email, crypto::randomToken(), {}, {}};
    m_state.loggedIn = true;
    save();
    return QJsonObject{{QStringLiteral("ok"), true},
                       {QStringLiteral("email"), *email},
                       {QStringLiteral("plan"), m_state.plan}};
}

QJsonObject AgentHost::opAcctList(const ControlRequest&, const Requester&) {
    QJsonArray accounts;
    if (m_state.loggedIn)
        accounts.append(QJsonObject{{QStringLiteral("email"), m_state.main.email},
                                    {QStringLiteral("default"), true}});
    for (const HostAccount& a : std::as_const(m_state.named))
        accounts.append(
            QJsonObject{{QStringLiteral("email"), a.email}, {QStringLiteral("default"), false}});
    return QJsonObject{{QStringLiteral("accounts"), accounts}};
}

QJsonObject AgentHost::opAcctLogin(const ControlRequest&, const Requester&) {
    return startLogin(false);
}

QJsonObject AgentHost::opAcctCode(const ControlRequest& req, const Requester&) {
    const auto email = finishLogin(control::text(req.fields, QStringLiteral("loginId")),
                                   control::text(req.fields, QStringLiteral("code")), false);
    if (!email) return control::failure(QStringLiteral("That code is not valid"));
    if (!m_state.account(*email))
        m_state.named.push_back(HostAccount{*email, crypto::randomToken(), {}, {}});
    save();
    return QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("email"), *email}};
}

// Moving a conversation to another account starts its context afresh.
QJsonObject AgentHost::opSetAccount(const ControlRequest& req, const Requester& from) {
    SessionState* s = target(req, from);
    if (!s) return control::failure(QStringLiteral("no such session"));
    const HostAccount* account =
        m_state.account(control::text(req.fields, QStringLiteral("email")).trimmed());
    if (!account) return control::failure(QStringLiteral("This account isn't held on this host"));
    s->account = account == &m_state.main ? QString() : account->email;
    s->contextTokens = 0;
    s->lastTurnAt = 0;
    save();
    return control::ok();
}

QJsonObject AgentHost::opAcctExport(const ControlRequest& req, const Requester&) {
    const HostAccount* account =
        m_state.account(control::text(req.fields, QStringLiteral("email")).trimmed());
    if (!account || (account == &m_state.main && !m_state.loggedIn))
        return control::failure(QStringLiteral("This account isn't held on this host"));
    return QJsonObject{{QStringLiteral("ok"), true},
                       {QStringLiteral("credentials"), credentialsOf(*account)}};
}

QJsonObject AgentHost::opAcctImport(const ControlRequest& req, const Requester& from) {
    const auto imported = accountFrom(control::text(req.fields, QStringLiteral("credentials")));
    const QString email = control::text(req.fields, QStringLiteral("email")).trimmed();
    if (!imported || imported->email.compare(email, Qt::CaseInsensitive) != 0)
        return control::failure(QStringLiteral("These credentials are not readable"));
    if (HostAccount* held = m_state.account(imported->email))
        held->secret = imported->secret;
    else
        m_state.named.push_back(*imported);
    if (req.fields.contains(QStringLiteral("chatId"))) {
        SessionState* s = target(req, from);
        if (!s) return control::failure(QStringLiteral("no such session"));
        const HostAccount* held = m_state.account(imported->email);
        s->account = held == &m_state.main ? QString() : held->email;
        s->contextTokens = 0;
    }
    save();
    return control::ok();
}
