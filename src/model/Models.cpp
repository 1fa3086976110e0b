#include "model/Models.h"

using json::opt;
using json::put;
using json::req;

#define K(name) QLatin1StringView(name)

// MARK: User

User User::fromJson(const QJsonObject& o) {
    User u;
    u.id = req<qint64>(o, K("id"));
    u.username = req<QString>(o, K("username"));
    u.avatarAt = opt<qint64>(o, K("avatarAt"));
    u.address = opt<QString>(o, K("address"));
    u.lat = opt<double>(o, K("lat"));
    u.lon = opt<double>(o, K("lon"));
    u.competence = opt<QString>(o, K("competence"));
    u.experience = opt<QString>(o, K("experience"));
    u.email = opt<QString>(o, K("email"));
    u.phone = opt<QString>(o, K("phone"));
    u.lastSeen = opt<qint64>(o, K("lastSeen"));
    u.isGuest = opt<bool>(o, K("isGuest"));
    return u;
}

QJsonObject User::toJson() const {
    QJsonObject o;
    put(o, K("id"), id);
    put(o, K("username"), username);
    put(o, K("avatarAt"), avatarAt);
    put(o, K("address"), address);
    put(o, K("lat"), lat);
    put(o, K("lon"), lon);
    put(o, K("competence"), competence);
    put(o, K("experience"), experience);
    put(o, K("email"), email);
    put(o, K("phone"), phone);
    put(o, K("lastSeen"), lastSeen);
    put(o, K("isGuest"), isGuest);
    return o;
}

// MARK: Message parts

ReplySnippet ReplySnippet::fromJson(const QJsonObject& o) {
    return {req<qint64>(o, K("id")), req<qint64>(o, K("senderId")),
            req<QString>(o, K("senderName")), req<QString>(o, K("text"))};
}

QJsonObject ReplySnippet::toJson() const {
    QJsonObject o;
    put(o, K("id"), id);
    put(o, K("senderId"), senderId);
    put(o, K("senderName"), senderName);
    put(o, K("text"), text);
    return o;
}

MediaInfo MediaInfo::fromJson(const QJsonObject& o) {
    MediaInfo m;
    m.kind = req<QString>(o, K("kind"));
    m.url = req<QString>(o, K("url"));
    m.width = opt<qint64>(o, K("width"));
    m.height = opt<qint64>(o, K("height"));
    m.name = opt<QString>(o, K("name"));
    return m;
}

QJsonObject MediaInfo::toJson() const {
    QJsonObject o;
    put(o, K("kind"), kind);
    put(o, K("url"), url);
    put(o, K("width"), width);
    put(o, K("height"), height);
    put(o, K("name"), name);
    return o;
}

Reaction Reaction::fromJson(const QJsonObject& o) {
    return {req<QString>(o, K("emoji")), req<QList<qint64>>(o, K("userIds"))};
}

QJsonObject Reaction::toJson() const {
    QJsonObject o;
    put(o, K("emoji"), emoji);
    put(o, K("userIds"), userIds);
    return o;
}

ForwardInfo ForwardInfo::fromJson(const QJsonObject& o) {
    return {req<qint64>(o, K("senderId")), req<QString>(o, K("senderName"))};
}

QJsonObject ForwardInfo::toJson() const {
    QJsonObject o;
    put(o, K("senderId"), senderId);
    put(o, K("senderName"), senderName);
    return o;
}

// MARK: Message

Message Message::fromJson(const QJsonObject& o) {
    Message m;
    m.id = req<qint64>(o, K("id"));
    m.chatId = req<qint64>(o, K("chatId"));
    m.senderId = req<qint64>(o, K("senderId"));
    m.senderName = req<QString>(o, K("senderName"));
    m.text = req<QString>(o, K("text"));
    m.replyTo = opt<ReplySnippet>(o, K("replyTo"));
    m.reactions = opt<QList<Reaction>>(o, K("reactions"));
    m.media = opt<MediaInfo>(o, K("media"));
    m.album = opt<QList<MediaInfo>>(o, K("album"));
    m.forwardedFrom = opt<ForwardInfo>(o, K("forwardedFrom"));
    m.transcript = opt<QString>(o, K("transcript"));
    m.createdAt = req<qint64>(o, K("createdAt"));
    m.editedAt = opt<qint64>(o, K("editedAt"));
    return m;
}

QJsonObject Message::toJson() const {
    QJsonObject o;
    put(o, K("id"), id);
    put(o, K("chatId"), chatId);
    put(o, K("senderId"), senderId);
    put(o, K("senderName"), senderName);
    put(o, K("text"), text);
    put(o, K("replyTo"), replyTo);
    put(o, K("reactions"), reactions);
    put(o, K("media"), media);
    put(o, K("album"), album);
    put(o, K("forwardedFrom"), forwardedFrom);
    put(o, K("transcript"), transcript);
    put(o, K("createdAt"), createdAt);
    put(o, K("editedAt"), editedAt);
    return o;
}

bool Message::isDecisionPrompt() const {
    // U+1F510 CLOSED LOCK WITH KEY as a surrogate pair.
    static const QString lock = QString::fromUcs4(U"\U0001F510");
    return text.startsWith(lock);
}

// MARK: Reads and chats

ReadMark ReadMark::fromJson(const QJsonObject& o) {
    return {req<qint64>(o, K("userId")), req<qint64>(o, K("lastReadId")),
            opt<qint64>(o, K("updatedAt"))};
}

QJsonObject ReadMark::toJson() const {
    QJsonObject o;
    put(o, K("userId"), userId);
    put(o, K("lastReadId"), lastReadId);
    put(o, K("updatedAt"), updatedAt);
    return o;
}

ChatSummary ChatSummary::fromJson(const QJsonObject& o) {
    ChatSummary c;
    c.id = req<qint64>(o, K("id"));
    c.kind = req<QString>(o, K("kind"));
    c.title = opt<QString>(o, K("title"));
    c.members = req<QList<User>>(o, K("members"));
    c.lastMessage = opt<Message>(o, K("lastMessage"));
    c.createdAt = req<qint64>(o, K("createdAt"));
    c.tavikAgent = req<bool>(o, K("tavikAgent"));
    c.avatarAt = opt<qint64>(o, K("avatarAt"));
    c.reads = opt<QList<ReadMark>>(o, K("reads"));
    c.unread = opt<qint64>(o, K("unread"));
    c.pinnedMessage = opt<Message>(o, K("pinnedMessage"));
    return c;
}

QJsonObject ChatSummary::toJson() const {
    QJsonObject o;
    put(o, K("id"), id);
    put(o, K("kind"), kind);
    put(o, K("title"), title);
    put(o, K("members"), members);
    put(o, K("lastMessage"), lastMessage);
    put(o, K("createdAt"), createdAt);
    put(o, K("tavikAgent"), tavikAgent);
    put(o, K("avatarAt"), avatarAt);
    put(o, K("reads"), reads);
    put(o, K("unread"), unread);
    put(o, K("pinnedMessage"), pinnedMessage);
    return o;
}

QString ChatSummary::displayTitle(std::optional<qint64> me) const {
    if (title && !title->isEmpty()) return *title;
    QStringList others;
    for (const User& m : members)
        if (!me || m.id != *me) others << m.username;
    if (!others.isEmpty()) return others.join(QStringLiteral(", "));
    if (!members.isEmpty()) return members.first().username + QStringLiteral(" (you)");
    return QStringLiteral("Conversation");
}

// MARK: Small replies

LoginResponse LoginResponse::fromJson(const QJsonObject& o) {
    return {req<QString>(o, K("token")), req<User>(o, K("user")), opt<qint64>(o, K("chatId"))};
}

QJsonObject LoginResponse::toJson() const {
    QJsonObject o;
    put(o, K("token"), token);
    put(o, K("user"), user);
    put(o, K("chatId"), chatId);
    return o;
}

InviteResponse InviteResponse::fromJson(const QJsonObject& o) {
    return {opt<QString>(o, K("code"))};
}

QJsonObject InviteResponse::toJson() const {
    QJsonObject o;
    put(o, K("code"), code);
    return o;
}

LinkedServersResponse LinkedServersResponse::fromJson(const QJsonObject& o) {
    return {req<QList<QString>>(o, K("servers"))};
}

QJsonObject LinkedServersResponse::toJson() const {
    QJsonObject o;
    put(o, K("servers"), servers);
    return o;
}

UserClient UserClient::fromJson(const QJsonObject& o) {
    return {opt<QString>(o, K("lastDevice")), opt<QString>(o, K("lastClient")),
            opt<qint64>(o, K("lastSeen")), opt<bool>(o, K("online"))};
}

QJsonObject UserClient::toJson() const {
    QJsonObject o;
    put(o, K("lastDevice"), lastDevice);
    put(o, K("lastClient"), lastClient);
    put(o, K("lastSeen"), lastSeen);
    put(o, K("online"), online);
    return o;
}

// MARK: Agent host and usage

ClaudeUsageWindow ClaudeUsageWindow::fromJson(const QJsonObject& o) {
    return {opt<double>(o, K("utilization")), opt<QString>(o, K("resets_at"))};
}

QJsonObject ClaudeUsageWindow::toJson() const {
    QJsonObject o;
    put(o, K("utilization"), utilization);
    put(o, K("resets_at"), resetsAt);
    return o;
}

std::optional<QDateTime> ClaudeUsageWindow::resetDate() const {
    if (!resetsAt) return std::nullopt;
    // Internet date-time with fractional seconds first, then without.
    QDateTime d = QDateTime::fromString(*resetsAt, Qt::ISODateWithMs);
    if (d.isValid()) return d;
    d = QDateTime::fromString(*resetsAt, Qt::ISODate);
    if (d.isValid()) return d;
    return std::nullopt;
}

ClaudeUsage ClaudeUsage::fromJson(const QJsonObject& o) {
    return {opt<ClaudeUsageWindow>(o, K("fiveHour")), opt<ClaudeUsageWindow>(o, K("sevenDay")),
            opt<QString>(o, K("email"))};
}

QJsonObject ClaudeUsage::toJson() const {
    QJsonObject o;
    put(o, K("fiveHour"), fiveHour);
    put(o, K("sevenDay"), sevenDay);
    put(o, K("email"), email);
    return o;
}

ClaudeNamedAccount ClaudeNamedAccount::fromJson(const QJsonObject& o) {
    return {req<QString>(o, K("email")), opt<ClaudeUsage>(o, K("usage"))};
}

QJsonObject ClaudeNamedAccount::toJson() const {
    QJsonObject o;
    put(o, K("email"), email);
    put(o, K("usage"), usage);
    return o;
}

ClaudeHost ClaudeHost::fromJson(const QJsonObject& o) {
    ClaudeHost h;
    h.online = req<bool>(o, K("online"));
    h.mac = opt<QString>(o, K("mac"));
    h.platform = opt<QString>(o, K("platform"));
    h.usage = opt<ClaudeUsage>(o, K("usage"));
    h.rescueOnline = opt<bool>(o, K("rescueOnline"));
    h.inputHelperOnline = opt<bool>(o, K("inputHelperOnline"));
    h.accounts = opt<QList<ClaudeNamedAccount>>(o, K("accounts"));
    h.chatAccounts = opt<QMap<QString, QString>>(o, K("chatAccounts"));
    return h;
}

QJsonObject ClaudeHost::toJson() const {
    QJsonObject o;
    put(o, K("online"), online);
    put(o, K("mac"), mac);
    put(o, K("platform"), platform);
    put(o, K("usage"), usage);
    put(o, K("rescueOnline"), rescueOnline);
    put(o, K("inputHelperOnline"), inputHelperOnline);
    put(o, K("accounts"), accounts);
    put(o, K("chatAccounts"), chatAccounts);
    return o;
}

// MARK: Notification preferences

std::optional<NotifLevel> enumFromWire(const QString& text, NotifLevel*) {
    if (text == QLatin1String("None")) return NotifLevel::none;
    if (text == QLatin1String("Badge")) return NotifLevel::badge;
    if (text == QLatin1String("Banner")) return NotifLevel::banner;
    return std::nullopt;
}

QString toWire(NotifLevel level) {
    switch (level) {
    case NotifLevel::none: return QStringLiteral("None");
    case NotifLevel::badge: return QStringLiteral("Badge");
    case NotifLevel::banner: return QStringLiteral("Banner");
    }
    return {};
}

CatPref CatPref::fromJson(const QJsonObject& o) {
    return {req<NotifLevel>(o, K("level")), req<bool>(o, K("sound"))};
}

QJsonObject CatPref::toJson() const {
    QJsonObject o;
    put(o, K("level"), level);
    put(o, K("sound"), sound);
    return o;
}

NotifPrefs NotifPrefs::fromJson(const QJsonObject& o) {
    NotifPrefs p;
    p.directMessages = req<CatPref>(o, K("directMessages"));
    p.groupMessages = req<CatPref>(o, K("groupMessages"));
    p.mentions = req<CatPref>(o, K("mentions"));
    p.calls = req<CatPref>(o, K("calls"));
    p.communityPosts = req<CatPref>(o, K("communityPosts"));
    p.muteAll = req<bool>(o, K("muteAll"));
    return p;
}

QJsonObject NotifPrefs::toJson() const {
    QJsonObject o;
    put(o, K("directMessages"), directMessages);
    put(o, K("groupMessages"), groupMessages);
    put(o, K("mentions"), mentions);
    put(o, K("calls"), calls);
    put(o, K("communityPosts"), communityPosts);
    put(o, K("muteAll"), muteAll);
    return o;
}

// MARK: Builds

BuildStatus BuildStatus::fromJson(const QJsonObject& o) {
    return {req<QString>(o, K("state")), opt<qint64>(o, K("percent")),
            opt<QString>(o, K("label"))};
}

QJsonObject BuildStatus::toJson() const {
    QJsonObject o;
    put(o, K("state"), state);
    put(o, K("percent"), percent);
    put(o, K("label"), label);
    return o;
}

bool BuildStatus::labelLooksLikeDeploy() const {
    if (!label) return false;
    static const char* const words[] = {"deploy", "publish", "uploading", "upload",
                                        "shipping", "ship", "ota", "install"};
    const QString lower = label->toLower();
    for (const char* w : words)
        if (lower.contains(QLatin1String(w))) return true;
    return false;
}

BuildsResponse BuildsResponse::fromJson(const QJsonObject& o) {
    return {opt<QMap<QString, BuildStatus>>(o, K("builds"))};
}

QJsonObject BuildsResponse::toJson() const {
    QJsonObject o;
    put(o, K("builds"), builds);
    return o;
}

// MARK: Bootstrap

BootstrapResponse BootstrapResponse::fromJson(const QJsonObject& o) {
    BootstrapResponse b;
    b.me = req<User>(o, K("me"));
    b.users = req<QList<User>>(o, K("users"));
    b.chats = req<QList<ChatSummary>>(o, K("chats"));
    b.agentId = opt<qint64>(o, K("agentId"));
    b.botIds = opt<QList<qint64>>(o, K("botIds"));
    b.notifPrefs = opt<NotifPrefs>(o, K("notifPrefs"));
    b.transcriptionEngines = opt<QList<QString>>(o, K("transcriptionEngines"));
    b.claudeHost = opt<ClaudeHost>(o, K("claudeHost"));
    b.builds = opt<QMap<QString, BuildStatus>>(o, K("builds"));
    b.linkedServers = opt<QList<QString>>(o, K("linkedServers"));
    b.discoveredServers = opt<QList<QString>>(o, K("discoveredServers"));
    return b;
}

QJsonObject BootstrapResponse::toJson() const {
    QJsonObject o;
    put(o, K("me"), me);
    put(o, K("users"), users);
    put(o, K("chats"), chats);
    put(o, K("agentId"), agentId);
    put(o, K("botIds"), botIds);
    put(o, K("notifPrefs"), notifPrefs);
    put(o, K("transcriptionEngines"), transcriptionEngines);
    put(o, K("claudeHost"), claudeHost);
    put(o, K("builds"), builds);
    put(o, K("linkedServers"), linkedServers);
    put(o, K("discoveredServers"), discoveredServers);
    return o;
}

// MARK: Lists

MessagesResponse MessagesResponse::fromJson(const QJsonObject& o) {
    return {req<QList<Message>>(o, K("messages"))};
}

QJsonObject MessagesResponse::toJson() const {
    QJsonObject o;
    put(o, K("messages"), messages);
    return o;
}

TypingUser TypingUser::fromJson(const QJsonObject& o) {
    return {req<qint64>(o, K("userId")), req<QString>(o, K("username"))};
}

QJsonObject TypingUser::toJson() const {
    QJsonObject o;
    put(o, K("userId"), userId);
    put(o, K("username"), username);
    return o;
}

TypingResponse TypingResponse::fromJson(const QJsonObject& o) {
    return {req<QList<TypingUser>>(o, K("typing"))};
}

QJsonObject TypingResponse::toJson() const {
    QJsonObject o;
    put(o, K("typing"), typing);
    return o;
}

// MARK: Group roles

std::optional<GroupRole> enumFromWire(const QString& text, GroupRole*) {
    if (text == QLatin1String("Owner")) return GroupRole::owner;
    if (text == QLatin1String("Admin")) return GroupRole::admin;
    if (text == QLatin1String("User")) return GroupRole::user;
    return std::nullopt;
}

QString toWire(GroupRole role) {
    switch (role) {
    case GroupRole::owner: return QStringLiteral("Owner");
    case GroupRole::admin: return QStringLiteral("Admin");
    case GroupRole::user: return QStringLiteral("User");
    }
    return {};
}

GroupRoleEntry GroupRoleEntry::fromJson(const QJsonObject& o) {
    return {req<qint64>(o, K("chatId")), req<qint64>(o, K("userId")),
            req<GroupRole>(o, K("role"))};
}

QJsonObject GroupRoleEntry::toJson() const {
    QJsonObject o;
    put(o, K("chatId"), chatId);
    put(o, K("userId"), userId);
    put(o, K("role"), role);
    return o;
}

GroupRolesResponse GroupRolesResponse::fromJson(const QJsonObject& o) {
    return {req<QList<GroupRoleEntry>>(o, K("groupRoles"))};
}

QJsonObject GroupRolesResponse::toJson() const {
    QJsonObject o;
    put(o, K("groupRoles"), groupRoles);
    return o;
}

// MARK: WebSocket event

WsEvent WsEvent::fromJson(const QJsonObject& o) {
    WsEvent e;
    e.type = req<QString>(o, K("type"));
    e.message = opt<Message>(o, K("message"));
    e.chat = opt<ChatSummary>(o, K("chat"));
    e.user = opt<User>(o, K("user"));
    e.chatId = opt<qint64>(o, K("chatId"));
    e.userId = opt<qint64>(o, K("userId"));
    e.messageId = opt<qint64>(o, K("messageId"));
    e.device = opt<QString>(o, K("device"));
    e.at = opt<qint64>(o, K("at"));
    e.online = opt<bool>(o, K("online"));
    e.lastSeen = opt<qint64>(o, K("lastSeen"));
    e.onlineIds = opt<QList<qint64>>(o, K("onlineIds"));
    e.state = opt<QString>(o, K("state"));
    e.percent = opt<qint64>(o, K("percent"));
    e.label = opt<QString>(o, K("label"));
    return e;
}

QJsonObject WsEvent::toJson() const {
    QJsonObject o;
    put(o, K("type"), type);
    put(o, K("message"), message);
    put(o, K("chat"), chat);
    put(o, K("user"), user);
    put(o, K("chatId"), chatId);
    put(o, K("userId"), userId);
    put(o, K("messageId"), messageId);
    put(o, K("device"), device);
    put(o, K("at"), at);
    put(o, K("online"), online);
    put(o, K("lastSeen"), lastSeen);
    put(o, K("onlineIds"), onlineIds);
    put(o, K("state"), state);
    put(o, K("percent"), percent);
    put(o, K("label"), label);
    return o;
}

// MARK: Local records

DeployTarget DeployTarget::fromJson(const QJsonObject& o) {
    return {req<QString>(o, K("kind")), req<QString>(o, K("url")), opt<QString>(o, K("label"))};
}

QJsonObject DeployTarget::toJson() const {
    QJsonObject o;
    put(o, K("kind"), kind);
    put(o, K("url"), url);
    put(o, K("label"), label);
    return o;
}

size_t qHash(const DeployTarget& t, size_t seed) noexcept {
    return qHashMulti(seed, t.kind, t.url, t.label.value_or(QString()), t.label.has_value());
}

static QUuid reqUuid(const QJsonObject& o, QLatin1StringView key) {
    const QUuid id = QUuid::fromString(req<QString>(o, key));
    if (id.isNull()) json::fail(key, "is not a UUID");
    return id;
}

static QDateTime reqDate(const QJsonObject& o, QLatin1StringView key) {
    return QDateTime::fromMSecsSinceEpoch(req<qint64>(o, key));
}

ServerProfile ServerProfile::fromJson(const QJsonObject& o) {
    ServerProfile p;
    p.id = reqUuid(o, K("id"));
    p.serverId = req<int>(o, K("serverId"));
    p.name = req<QString>(o, K("name"));
    p.url = req<QString>(o, K("url"));
    p.secret = req<QString>(o, K("secret"));
    p.fingerprint = opt<QString>(o, K("fingerprint"));
    return p;
}

QJsonObject ServerProfile::toJson() const {
    QJsonObject o;
    put(o, K("id"), id.toString(QUuid::WithoutBraces));
    put(o, K("serverId"), serverId);
    put(o, K("name"), name);
    put(o, K("url"), url);
    put(o, K("secret"), secret);
    put(o, K("fingerprint"), fingerprint);
    return o;
}

WorkDoc WorkDoc::fromJson(const QJsonObject& o) {
    WorkDoc d;
    d.id = reqUuid(o, K("id"));
    d.title = req<QString>(o, K("title"));
    d.body = req<QString>(o, K("body"));
    d.updatedAt = reqDate(o, K("updatedAt"));
    return d;
}

QJsonObject WorkDoc::toJson() const {
    QJsonObject o;
    put(o, K("id"), id.toString(QUuid::WithoutBraces));
    put(o, K("title"), title);
    put(o, K("body"), body);
    put(o, K("updatedAt"), updatedAt.toMSecsSinceEpoch());
    return o;
}

WorkTask WorkTask::fromJson(const QJsonObject& o) {
    WorkTask t;
    t.id = reqUuid(o, K("id"));
    t.title = req<QString>(o, K("title"));
    t.done = req<bool>(o, K("done"));
    t.createdAt = reqDate(o, K("createdAt"));
    return t;
}

QJsonObject WorkTask::toJson() const {
    QJsonObject o;
    put(o, K("id"), id.toString(QUuid::WithoutBraces));
    put(o, K("title"), title);
    put(o, K("done"), done);
    put(o, K("createdAt"), createdAt.toMSecsSinceEpoch());
    return o;
}
