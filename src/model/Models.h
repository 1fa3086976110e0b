#pragma once

// The wire records every server and the client exchange. Decoding is strict:
// see model/Json.h. Ids are signed 64-bit; times are epoch milliseconds.
// Records with `read` are also decoded straight from the bytes
// (ModelsRead.cpp), with the same rules as their fromJson.

#include "model/Json.h"

#include <QDateTime>
#include <QUuid>

struct User {
    qint64 id = 0;
    QString username;
    std::optional<qint64> avatarAt;
    std::optional<QString> address;
    std::optional<double> lat;
    std::optional<double> lon;
    std::optional<QString> competence;
    std::optional<QString> experience;
    std::optional<QString> email;
    std::optional<QString> phone;
    std::optional<qint64> lastSeen;
    std::optional<bool> isGuest;

    static User fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, User& out);
    QJsonObject toJson() const;
    bool operator==(const User&) const = default;
};

struct ReplySnippet {
    qint64 id = 0;
    qint64 senderId = 0;
    QString senderName;
    QString text;

    static ReplySnippet fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ReplySnippet& out);
    QJsonObject toJson() const;
    bool operator==(const ReplySnippet&) const = default;
};

struct MediaInfo {
    QString kind;
    QString url;
    std::optional<qint64> width;
    std::optional<qint64> height;
    std::optional<QString> name;

    static MediaInfo fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, MediaInfo& out);
    QJsonObject toJson() const;
    bool operator==(const MediaInfo&) const = default;
};

struct Reaction {
    QString emoji;
    QList<qint64> userIds;

    static Reaction fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, Reaction& out);
    QJsonObject toJson() const;
    bool operator==(const Reaction&) const = default;
};

struct ForwardInfo {
    qint64 senderId = 0;
    QString senderName;

    static ForwardInfo fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ForwardInfo& out);
    QJsonObject toJson() const;
    bool operator==(const ForwardInfo&) const = default;
};

struct DeployTarget;

struct Message {
    qint64 id = 0;
    qint64 chatId = 0;
    qint64 senderId = 0;
    QString senderName;
    QString text;
    std::optional<ReplySnippet> replyTo;
    std::optional<QList<Reaction>> reactions;
    std::optional<MediaInfo> media;
    std::optional<QList<MediaInfo>> album;
    std::optional<ForwardInfo> forwardedFrom;
    std::optional<QString> transcript;
    qint64 createdAt = 0;
    std::optional<qint64> editedAt;
    bool isPending = false; // client only: never read from or written to JSON

    static Message fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, Message& out);
    QJsonObject toJson() const;
    bool operator==(const Message&) const = default;

    double date() const { return double(createdAt) / 1000.0; }
    bool isDecisionPrompt() const;

    // In-band agent markers (defined with the marker protocol in agent/).
    bool isCCControl() const;
    bool isCCWorking() const;
    bool isPriority() const;
    bool isSystemNote() const;
    QString systemNoteText() const;
    QString displayText() const;
    std::optional<DeployTarget> deployTarget() const;
    std::optional<qint64> ccWorkingMsgId() const;
    std::optional<qint64> ccWorkingStartId() const;
    std::optional<qint64> ccSeenMsgId() const;
    std::optional<qint64> ccAnswersId() const;
    struct CCTokens {
        qint64 ctx = 0;
        qint64 warm = 0;
        qint64 fresh = 0;
        qint64 create = 0;
        bool operator==(const CCTokens&) const = default;
    };
    std::optional<CCTokens> ccContextTokens() const;
    std::optional<QString> ccModel() const;
    QList<qint64> ccDoneIds() const;
    std::optional<QString> ccAccount() const;
    std::optional<QString> ccEffort() const;
    bool ccChromeActive() const;
    bool ccScreenshotActive() const;
    static bool isMarkerLine(QStringView line);
    static qint64 markerIdToGlobal(qint64 id, qint64 like);
};

struct ReadMark {
    qint64 userId = 0;
    qint64 lastReadId = 0;
    std::optional<qint64> updatedAt;

    static ReadMark fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ReadMark& out);
    QJsonObject toJson() const;
    bool operator==(const ReadMark&) const = default;
};

struct ChatSummary {
    qint64 id = 0;
    QString kind;
    std::optional<QString> title;
    QList<User> members;
    std::optional<Message> lastMessage;
    qint64 createdAt = 0;
    bool tavikAgent = false;
    std::optional<qint64> avatarAt;
    std::optional<QList<ReadMark>> reads;
    std::optional<qint64> unread;
    std::optional<Message> pinnedMessage;

    static ChatSummary fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ChatSummary& out);
    QJsonObject toJson() const;
    bool operator==(const ChatSummary&) const = default;

    bool isGroup() const { return kind == QLatin1String("group"); }
    qint64 activityAt() const { return lastMessage ? lastMessage->createdAt : createdAt; }
    QString displayTitle(std::optional<qint64> me) const;
};

struct LoginResponse {
    QString token;
    User user;
    std::optional<qint64> chatId;

    static LoginResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const LoginResponse&) const = default;
};

struct InviteResponse {
    std::optional<QString> code;

    static InviteResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const InviteResponse&) const = default;
};

struct LinkedServersResponse {
    QList<QString> servers;

    static LinkedServersResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const LinkedServersResponse&) const = default;
};

struct UserClient {
    std::optional<QString> lastDevice;
    std::optional<QString> lastClient;
    std::optional<qint64> lastSeen;
    std::optional<bool> online;

    static UserClient fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const UserClient&) const = default;
};

struct ClaudeUsageWindow {
    std::optional<double> utilization;
    std::optional<QString> resetsAt; // JSON key "resets_at"

    static ClaudeUsageWindow fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ClaudeUsageWindow& out);
    QJsonObject toJson() const;
    bool operator==(const ClaudeUsageWindow&) const = default;

    std::optional<QDateTime> resetDate() const;
};

struct ClaudeUsage {
    std::optional<ClaudeUsageWindow> fiveHour;
    std::optional<ClaudeUsageWindow> sevenDay;
    std::optional<QString> email;

    static ClaudeUsage fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ClaudeUsage& out);
    QJsonObject toJson() const;
    bool operator==(const ClaudeUsage&) const = default;
};

struct ClaudeNamedAccount {
    QString email;
    std::optional<ClaudeUsage> usage;

    static ClaudeNamedAccount fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ClaudeNamedAccount& out);
    QJsonObject toJson() const;
    bool operator==(const ClaudeNamedAccount&) const = default;
};

struct ClaudeHost {
    bool online = false;
    std::optional<QString> mac;
    std::optional<QString> platform;
    std::optional<ClaudeUsage> usage;
    std::optional<bool> rescueOnline;
    std::optional<bool> inputHelperOnline;
    std::optional<QList<ClaudeNamedAccount>> accounts;
    std::optional<QMap<QString, QString>> chatAccounts;

    static ClaudeHost fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, ClaudeHost& out);
    QJsonObject toJson() const;
    bool operator==(const ClaudeHost&) const = default;
};

enum class NotifLevel { none, badge, banner };
std::optional<NotifLevel> enumFromWire(const QString& text, NotifLevel*);
QString toWire(NotifLevel level);

struct CatPref {
    NotifLevel level = NotifLevel::banner;
    bool sound = true;

    static CatPref fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, CatPref& out);
    QJsonObject toJson() const;
    bool operator==(const CatPref&) const = default;
};

struct NotifPrefs {
    CatPref directMessages;
    CatPref groupMessages;
    CatPref mentions;
    CatPref calls;
    CatPref communityPosts;
    bool muteAll = false;

    static NotifPrefs fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, NotifPrefs& out);
    QJsonObject toJson() const;
    bool operator==(const NotifPrefs&) const = default;
};

struct BuildStatus {
    QString state;
    std::optional<qint64> percent;
    std::optional<QString> label;

    static BuildStatus fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, BuildStatus& out);
    QJsonObject toJson() const;
    bool operator==(const BuildStatus&) const = default;

    bool isBuilding() const { return state == QLatin1String("building"); }
    bool isDeploying() const { return state == QLatin1String("deploying"); }
    bool isActive() const { return isBuilding() || isDeploying(); }
    bool isWaiting() const {
        return state == QLatin1String("waiting") || state == QLatin1String("queued");
    }
    bool labelLooksLikeDeploy() const;
    bool isShipping() const { return isDeploying() || (isBuilding() && labelLooksLikeDeploy()); }
};

struct BootstrapResponse {
    User me;
    QList<User> users;
    QList<ChatSummary> chats;
    std::optional<qint64> agentId;
    std::optional<QList<qint64>> botIds;
    std::optional<NotifPrefs> notifPrefs;
    std::optional<QList<QString>> transcriptionEngines;
    std::optional<ClaudeHost> claudeHost;
    std::optional<QMap<QString, BuildStatus>> builds;
    std::optional<QList<QString>> linkedServers;
    std::optional<QList<QString>> discoveredServers;

    static BootstrapResponse fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, BootstrapResponse& out);
    QJsonObject toJson() const;
    bool operator==(const BootstrapResponse&) const = default;
};

struct MessagesResponse {
    QList<Message> messages;

    static MessagesResponse fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, MessagesResponse& out);
    QJsonObject toJson() const;
    bool operator==(const MessagesResponse&) const = default;
};

struct TypingUser {
    qint64 userId = 0;
    QString username;

    static TypingUser fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const TypingUser&) const = default;
};

struct TypingResponse {
    QList<TypingUser> typing;

    static TypingResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
};

enum class GroupRole { owner, admin, user };
std::optional<GroupRole> enumFromWire(const QString& text, GroupRole*);
QString toWire(GroupRole role);

struct GroupRoleEntry {
    qint64 chatId = 0;
    qint64 userId = 0;
    GroupRole role = GroupRole::user;

    static GroupRoleEntry fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const GroupRoleEntry&) const = default;
};

struct GroupRolesResponse {
    QList<GroupRoleEntry> groupRoles;

    static GroupRolesResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
};

struct BuildsResponse {
    std::optional<QMap<QString, BuildStatus>> builds;

    static BuildsResponse fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
};

struct WsEvent {
    QString type;
    std::optional<Message> message;
    std::optional<ChatSummary> chat;
    std::optional<User> user;
    std::optional<qint64> chatId;
    std::optional<qint64> userId;
    std::optional<qint64> messageId;
    std::optional<QString> device;
    std::optional<qint64> at;
    std::optional<bool> online;
    std::optional<qint64> lastSeen;
    std::optional<QList<qint64>> onlineIds;
    std::optional<QString> state;
    std::optional<qint64> percent;
    std::optional<QString> label;

    static WsEvent fromJson(const QJsonObject& o);
    static bool read(json::JsonReader& r, WsEvent& out);
    QJsonObject toJson() const;
    bool operator==(const WsEvent&) const = default;
};

struct DeployTarget {
    QString kind;
    QString url;
    std::optional<QString> label;

    static DeployTarget fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const DeployTarget&) const = default;
    bool isApp() const { return kind == QLatin1String("app"); }
};

struct ServerProfile {
    QUuid id;
    int serverId = 0;
    QString name;
    QString url;
    QString secret;
    std::optional<QString> fingerprint;

    static ServerProfile fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const ServerProfile&) const = default;
};

struct WorkDoc {
    QUuid id = QUuid::createUuid();
    QString title;
    QString body;
    QDateTime updatedAt;

    static WorkDoc fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const WorkDoc&) const = default;
};

struct WorkTask {
    QUuid id = QUuid::createUuid();
    QString title;
    bool done = false;
    QDateTime createdAt;

    static WorkTask fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const WorkTask&) const = default;
};

size_t qHash(const DeployTarget& t, size_t seed = 0) noexcept;
