#include "agent/AgentHost.h"

#include "Crypto.h"
#include "Events.h"
#include "agent/HostMarkers.h"
#include "agent/Turns.h"

#include <QDir>
#include <QJsonArray>
#include <QSysInfo>
#include <QTimer>
#include <cstdio>
#include <stdexcept>

namespace {

UserRow botUser(Storage& db) {
    if (const auto existing = db.userByName(AgentHost::kBotName)) {
        if (!existing->isBot)
            throw std::runtime_error("the name \"Claude Code\" belongs to a person on this server");
        return *existing;
    }
    return db.createUser(AgentHost::kBotName, false, true);
}

QString defaultEmail(const QString& owner) {
    QString local;
    for (const QChar c : owner.toLower())
        if ((c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'.') local += c;
    return (local.isEmpty() ? QStringLiteral("claude") : local) + QStringLiteral("@velmarin.test");
}

QString hostName() {
    const QString name = QSysInfo::machineHostName();
    return name.isEmpty() ? QStringLiteral("velmarin-host") : name;
}

QString folderTitle(const QString& workdir) {
    const QString name = workdir.section(u'/', -1, -1, QString::SectionSkipEmpty);
    return name.isEmpty() ? QStringLiteral("Home") : name;
}

} // namespace

AgentHost::AgentHost(Context& ctx, QObject* parent)
    : QObject(parent), m_ctx(ctx),
      m_file(QDir(ctx.options.dataDir).filePath(QStringLiteral("agent-host.json"))),
      m_state(m_file.load()),
      m_sandbox(ctx.options.agentSandbox.isEmpty()
                    ? QDir(ctx.options.dataDir).filePath(QStringLiteral("agent-sandbox"))
                    : ctx.options.agentSandbox),
      m_publicBase(QStringLiteral("http://127.0.0.1:%1").arg(ctx.options.port)) {
    m_bot = botUser(ctx.db);
    if (m_state.main.email.isEmpty()) m_state.main.email = defaultEmail(ctx.options.owner);
    if (m_state.main.secret.isEmpty()) m_state.main.secret = crypto::randomToken();
    m_turns = std::make_unique<TurnRunner>(*this, ctx.options.agentPaceMs);
}

AgentHost::~AgentHost() = default;

void AgentHost::save() {
    m_file.save(m_state);
}

void AgentHost::start() {
    m_turns->resume();
}

void AgentHost::observe(const MessageRow& m, const QString& type) {
    if (type != QLatin1String("message") || m.senderId == m_bot.id) return;
    if (marker::isControl(m.text)) {
        // The request's own reply goes out first.
        QTimer::singleShot(0, this, [this, m] {
            try {
                handleControl(m);
            } catch (const std::exception& e) {
                std::fprintf(stderr, "velmarin-server: control request failed: %s\n", e.what());
            }
        });
        return;
    }
    if (marker::isWorking(m.text) || !isSession(m.chatId)) return;
    m_turns->enqueue(m);
}

bool AgentHost::mayControl(const UserRow& user) const {
    if (user.isGuest || user.isBot) return false;
    return m_ctx.options.owner.isEmpty() || m_ctx.isOwner(user.id);
}

// The host reads control traffic in a person's conversation with themselves
// and in its own session conversations, nowhere else.
bool AgentHost::carriesControl(const MessageRow& m) {
    const auto chat = m_ctx.db.chat(m.chatId);
    if (!chat || chat->kind != QLatin1String("direct")) return false;
    const QList<qint64> members = m_ctx.db.memberIds(m.chatId);
    return members == QList<qint64>{m.senderId} || members.contains(m_bot.id);
}

std::optional<MessageRow> AgentHost::handleControl(const MessageRow& carrier) {
    const auto req = control::parse(carrier.text);
    if (!req || !carriesControl(carrier)) return std::nullopt;
    const auto user = m_ctx.db.user(carrier.senderId);
    if (!user) return std::nullopt;
    const QJsonObject reply =
        mayControl(*user)
            ? answer(*req, Requester{user->id, carrier.chatId})
            : control::failure(QStringLiteral("This host takes requests from its owner only"));
    return post(carrier.chatId, control::replyText(req->id, reply));
}

const QHash<QString, AgentHost::Op>& AgentHost::ops() {
    static const QHash<QString, Op> table{
        {QStringLiteral("ls"), &AgentHost::opLs},
        {QStringLiteral("lsdir"), &AgentHost::opLsDir},
        {QStringLiteral("opensettings"), &AgentHost::opOpenSettings},
        {QStringLiteral("readfile"), &AgentHost::opReadFile},
        {QStringLiteral("readclaudemd"), &AgentHost::opReadClaudeMd},
        {QStringLiteral("writeclaudemd"), &AgentHost::opWriteClaudeMd},
        {QStringLiteral("listenvfiles"), &AgentHost::opListEnvFiles},
        {QStringLiteral("readenvfile"), &AgentHost::opReadEnvFile},
        {QStringLiteral("writeenvfile"), &AgentHost::opWriteEnvFile},
        {QStringLiteral("getfile"), &AgentHost::opGetFile},
        {QStringLiteral("mkdir"), &AgentHost::opMkdir},
        {QStringLiteral("new"), &AgentHost::opNew},
        {QStringLiteral("now"), &AgentHost::opNow},
        {QStringLiteral("stop"), &AgentHost::opStop},
        {QStringLiteral("clear"), &AgentHost::opClear},
        {QStringLiteral("getprefs"), &AgentHost::opGetPrefs},
        {QStringLiteral("setperm"), &AgentHost::opSetPerm},
        {QStringLiteral("seteffort"), &AgentHost::opSetEffort},
        {QStringLiteral("setmodel"), &AgentHost::opSetModel},
        {QStringLiteral("setchrome"), &AgentHost::opSetChrome},
        {QStringLiteral("models"), &AgentHost::opModels},
        {QStringLiteral("authstatus"), &AgentHost::opAuthStatus},
        {QStringLiteral("authlogout"), &AgentHost::opAuthLogout},
        {QStringLiteral("authlogin"), &AgentHost::opAuthLogin},
        {QStringLiteral("authcode"), &AgentHost::opAuthCode},
        {QStringLiteral("acctlist"), &AgentHost::opAcctList},
        {QStringLiteral("acctlogin"), &AgentHost::opAcctLogin},
        {QStringLiteral("acctcode"), &AgentHost::opAcctCode},
        {QStringLiteral("setaccount"), &AgentHost::opSetAccount},
        {QStringLiteral("acctexport"), &AgentHost::opAcctExport},
        {QStringLiteral("acctimport"), &AgentHost::opAcctImport},
    };
    return table;
}

QJsonObject AgentHost::answer(const ControlRequest& req, const Requester& from) {
    const Op op = ops().value(req.op);
    if (!op) return control::failure(QStringLiteral("unknown op"));
    return (this->*op)(req, from);
}

bool AgentHost::isSession(qint64 chatId) {
    const auto chat = m_ctx.db.chat(chatId);
    return chat && chat->kind == QLatin1String("direct") && m_ctx.db.role(chatId, m_bot.id);
}

SessionState* AgentHost::target(const ControlRequest& req, const Requester& from, qint64* chatId) {
    const qint64 id = control::id(req.fields, QStringLiteral("chatId")).value_or(from.chatId);
    if (!isSession(id) || !m_ctx.db.role(id, from.userId)) return nullptr;
    if (chatId) *chatId = id;
    return &session(id);
}

SessionState& AgentHost::session(qint64 chatId) {
    return m_state.sessions[chatId];
}

QString AgentHost::accountOf(const SessionState& s) const {
    return s.account.isEmpty() ? m_state.main.email : s.account;
}

QString AgentHost::modelOf(const SessionState& s) const {
    return s.model.isEmpty() ? kDefaultModel : s.model;
}

qint64 AgentHost::openSession(qint64 userId, const QString& workdir, const QString& perm,
                              bool* created) {
    for (auto it = m_state.sessions.begin(); it != m_state.sessions.end(); ++it)
        if (it->workdir == workdir && isSession(it.key()) && m_ctx.db.role(it.key(), userId)) {
            it->perm = perm;
            save();
            if (created) *created = false;
            return it.key();
        }
    const qint64 chatId =
        m_ctx.db.createChat(QStringLiteral("direct"), folderTitle(workdir), userId, {m_bot.id});
    SessionState& s = session(chatId);
    s.workdir = workdir;
    s.perm = perm;
    save();
    events::chat(m_ctx, chatId, QStringLiteral("chatCreated"));
    if (created) *created = true;
    return chatId;
}

MessageRow AgentHost::post(qint64 chatId, const QString& text, qint64 at) {
    MessageRow draft;
    draft.chatId = chatId;
    draft.senderId = m_bot.id;
    draft.senderName = m_bot.username;
    draft.text = text;
    draft.createdAt = at;
    const MessageRow stored = m_ctx.db.insertMessage(draft);
    events::message(m_ctx, stored);
    return stored;
}

void AgentHost::edit(qint64 messageId, const QString& text) {
    m_ctx.db.editMessage(messageId, text, Storage::now());
    if (const auto edited = m_ctx.db.message(messageId))
        events::message(m_ctx, *edited, QStringLiteral("messageUpdated"));
}

void AgentHost::remove(qint64 chatId, qint64 messageId) {
    m_ctx.db.deleteMessage(messageId);
    events::messageDeleted(m_ctx, chatId, messageId);
}

void AgentHost::reportBuild(qint64 chatId, const BuildState& build) {
    if (!m_ctx.db.chat(chatId)) return;
    // A finished build leaves nothing behind to report.
    if (build.state == QLatin1String("done") || build.state == QLatin1String("idle"))
        m_ctx.builds.remove(chatId);
    else
        m_ctx.builds.insert(chatId, build);
    events::buildStatus(m_ctx, chatId, build);
}

QJsonObject AgentHost::status(qint64 viewerId) {
    const qint64 now = Storage::now();
    QJsonObject host{{QStringLiteral("online"), true},
                     {QStringLiteral("mac"), hostName()},
                     {QStringLiteral("platform"), m_ctx.options.platform},
                     {QStringLiteral("rescueOnline"), false},
                     {QStringLiteral("inputHelperOnline"), false}};
    if (m_state.loggedIn) host.insert(QStringLiteral("usage"), m_state.main.usageJson(now));
    QJsonArray accounts;
    for (HostAccount& a : m_state.named)
        accounts.append(QJsonObject{{QStringLiteral("email"), a.email},
                                    {QStringLiteral("usage"), a.usageJson(now)}});
    host.insert(QStringLiteral("accounts"), accounts);
    QJsonObject chatAccounts;
    for (auto it = m_state.sessions.begin(); it != m_state.sessions.end(); ++it)
        if (!it->account.isEmpty() && m_ctx.db.role(it.key(), viewerId))
            chatAccounts.insert(QString::number(it.key()), it->account);
    host.insert(QStringLiteral("chatAccounts"), chatAccounts);
    return host;
}

std::optional<QString> AgentHost::offeredFile(const QString& token) {
    const qint64 now = Storage::now();
    m_offers.removeIf([now](const auto& it) { return it.value().expires < now; });
    const auto it = m_offers.constFind(token);
    if (it == m_offers.constEnd()) return std::nullopt;
    return it->diskPath;
}
