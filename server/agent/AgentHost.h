#pragma once

#include "Context.h"
#include "agent/Control.h"
#include "agent/HostState.h"
#include "agent/Sandbox.h"

#include <QHash>
#include <QObject>
#include <memory>

class Router;
class TurnRunner;

// Who sent a control request, and in which conversation.
struct Requester {
    qint64 userId = 0;
    qint64 chatId = 0;
};

// The simulated agent host: the user "Claude Code" that runs one session
// conversation per working folder, answers the control channel over a
// sandbox folder, holds Claude accounts and reports usage. It sees every new
// message through observe() and writes its own messages as that user.
class AgentHost : public QObject {
    Q_OBJECT
public:
    static inline const QString kBotName = QStringLiteral("Claude Code");
    // The model a session runs when none was chosen.
    static inline const QString kDefaultModel = QStringLiteral("claude-fable-5");

    // Throws std::runtime_error when the sandbox or the state file cannot be used.
    explicit AgentHost(Context& ctx, QObject* parent = nullptr);
    ~AgentHost() override;

    qint64 botId() const { return m_bot.id; }
    Context& context() { return m_ctx; }
    HostState& state() { return m_state; }
    const Sandbox& sandbox() const { return m_sandbox; }
    TurnRunner& turns() { return *m_turns; }
    void save();
    // Picks up work left over from the last run; after any seeding.
    void start();

    // Every new or changed message of the server passes here.
    void observe(const MessageRow& m, const QString& type);
    // The host record of `api/claude/host` and the bootstrap, for `viewerId`.
    QJsonObject status(qint64 viewerId);
    // Absolute address under which clients reach this server ("http://host:port").
    void setPublicBase(const QString& base) { m_publicBase = base; }
    const QString& publicBase() const { return m_publicBase; }

    // Reads a control message and posts the reply; the reply when one went out.
    std::optional<MessageRow> handleControl(const MessageRow& carrier);
    // The reply fields of one request.
    QJsonObject answer(const ControlRequest& req, const Requester& from);

    bool isSession(qint64 chatId);
    // The session conversation of `userId` for a folder, made when missing.
    qint64 openSession(qint64 userId, const QString& workdir, const QString& perm,
                       bool* created = nullptr);
    SessionState& session(qint64 chatId);
    QString accountOf(const SessionState& s) const;
    QString modelOf(const SessionState& s) const;

    // The host's own messages; `at` backdates a seeded one.
    MessageRow post(qint64 chatId, const QString& text, qint64 at = 0);
    void edit(qint64 messageId, const QString& text);
    void remove(qint64 chatId, qint64 messageId);
    void reportBuild(qint64 chatId, const BuildState& build);

    // A file offered by "getfile", by the token of its address.
    std::optional<QString> offeredFile(const QString& token);
    // The page of a pending sign-in; `email` picks the account it signs in.
    std::optional<QString> signInPage(const QString& loginId, const QString& email);

private:
    using Op = QJsonObject (AgentHost::*)(const ControlRequest&, const Requester&);
    static const QHash<QString, Op>& ops();
    bool mayControl(const UserRow& user) const;
    bool carriesControl(const MessageRow& m);
    // The session a request names by `chatId`, else the one it was sent in.
    SessionState* target(const ControlRequest& req, const Requester& from,
                         qint64* chatId = nullptr);

    // Files (HostFiles.cpp).
    QJsonObject opLs(const ControlRequest& req, const Requester& from);
    QJsonObject opLsDir(const ControlRequest& req, const Requester& from);
    QJsonObject opOpenSettings(const ControlRequest& req, const Requester& from);
    QJsonObject opReadFile(const ControlRequest& req, const Requester& from);
    QJsonObject opReadClaudeMd(const ControlRequest& req, const Requester& from);
    QJsonObject opWriteClaudeMd(const ControlRequest& req, const Requester& from);
    QJsonObject opListEnvFiles(const ControlRequest& req, const Requester& from);
    QJsonObject opReadEnvFile(const ControlRequest& req, const Requester& from);
    QJsonObject opWriteEnvFile(const ControlRequest& req, const Requester& from);
    QJsonObject opGetFile(const ControlRequest& req, const Requester& from);
    QJsonObject opMkdir(const ControlRequest& req, const Requester& from);
    QJsonObject opNew(const ControlRequest& req, const Requester& from);

    // Preferences and work (HostPrefs.cpp).
    QJsonObject opGetPrefs(const ControlRequest& req, const Requester& from);
    QJsonObject opSetPerm(const ControlRequest& req, const Requester& from);
    QJsonObject opSetEffort(const ControlRequest& req, const Requester& from);
    QJsonObject opSetModel(const ControlRequest& req, const Requester& from);
    QJsonObject opSetChrome(const ControlRequest& req, const Requester& from);
    QJsonObject opModels(const ControlRequest& req, const Requester& from);
    QJsonObject opClear(const ControlRequest& req, const Requester& from);
    QJsonObject opNow(const ControlRequest& req, const Requester& from);
    QJsonObject opStop(const ControlRequest& req, const Requester& from);

    // Accounts (HostAccounts.cpp).
    QJsonObject opAuthStatus(const ControlRequest& req, const Requester& from);
    QJsonObject opAuthLogout(const ControlRequest& req, const Requester& from);
    QJsonObject opAuthLogin(const ControlRequest& req, const Requester& from);
    QJsonObject opAuthCode(const ControlRequest& req, const Requester& from);
    QJsonObject opAcctList(const ControlRequest& req, const Requester& from);
    QJsonObject opAcctLogin(const ControlRequest& req, const Requester& from);
    QJsonObject opAcctCode(const ControlRequest& req, const Requester& from);
    QJsonObject opSetAccount(const ControlRequest& req, const Requester& from);
    QJsonObject opAcctExport(const ControlRequest& req, const Requester& from);
    QJsonObject opAcctImport(const ControlRequest& req, const Requester& from);
    QJsonObject startLogin(bool mainAccount);
    // The e-mail a pending login signs in, when `code` is its code.
    std::optional<QString> finishLogin(const QString& loginId, const QString& code,
                                       bool mainAccount);

    struct Offer {
        QString diskPath;
        qint64 expires = 0;
    };
    struct PendingLogin {
        QString email;
        QString code;
        bool mainAccount = false;
        qint64 expires = 0;
    };

    Context& m_ctx;
    UserRow m_bot;
    HostStateFile m_file;
    HostState m_state;
    Sandbox m_sandbox;
    std::unique_ptr<TurnRunner> m_turns;
    QString m_publicBase;
    QHash<QString, Offer> m_offers;        // by token
    QHash<QString, PendingLogin> m_logins; // by login id
};

// `api/claude/host` always; with a host, also the pages and files it hands out.
void addAgentHostRoutes(Router& router, Context& ctx);
