#pragma once

#include <QByteArray>
#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <optional>

class QSqlQuery;

// How a token was earned: by name, as a guest, by a device key (also through
// pairing), or by an empty-name login from this machine.
enum class TokenKind { Name, Guest, Key, Loopback };

struct UserRow {
    qint64 id = 0;
    QString username;
    bool isGuest = false;
    bool isBot = false;
    std::optional<qint64> avatarAt;
    std::optional<qint64> lastSeen;
    // Profile texts; empty means absent.
    QString address, competence, experience, email, phone;
    std::optional<double> lat, lon;
    QString lastDevice, lastClient;
};

struct ChatRow {
    qint64 id = 0;
    QString kind; // "direct" or "group"
    QString title;
    qint64 createdAt = 0;
    bool tavikAgent = false;
    std::optional<qint64> avatarAt;
    QString inviteCode; // empty: none
    std::optional<qint64> pinnedMessageId;
};

struct MemberRow {
    qint64 userId = 0;
    QString role; // "Owner", "Admin" or "User"
};

// Media, album and forwardedFrom are kept as the JSON text the client reads.
struct MessageRow {
    qint64 id = 0;
    qint64 chatId = 0;
    qint64 senderId = 0;
    QString senderName;
    QString text;
    std::optional<qint64> replyTo;
    QByteArray media, album, forwardedFrom;
    std::optional<QString> transcript;
    qint64 createdAt = 0;
    std::optional<qint64> editedAt;
};

struct ReactionRow {
    QString emoji;
    QList<qint64> userIds;
};

struct ReadRow {
    qint64 userId = 0;
    qint64 lastReadId = 0;
    qint64 updatedAt = 0;
};

// Everything the server keeps, in one SQLite file. Every write is its own
// transaction (or an explicit one), so a killed process loses nothing it has
// answered for. Methods throw std::runtime_error on database failures.
class Storage {
public:
    explicit Storage(const QString& dataDir);
    ~Storage();
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    static qint64 now();

    // Users.
    std::optional<UserRow> user(qint64 id);
    std::optional<UserRow> userByName(const QString& name);
    UserRow createUser(const QString& name, bool guest, bool bot);
    QList<UserRow> visibleUsers(qint64 viewerId);
    bool canSee(qint64 viewerId, qint64 subjectId);
    QList<qint64> botIds();
    void setLastSeen(qint64 userId, qint64 at);
    void setClientInfo(qint64 userId, const QString& device, const QString& app);
    void updateProfile(qint64 userId, const QVariantMap& columns);

    // The account of the configured owner, made on first use and kept by id,
    // so a later rename on either side cannot move the owner's rights.
    qint64 ownerAccount(const QString& ownerName);

    // Tokens and device keys. Only a hash of each token is kept; a token
    // unused for `maxIdleMs` no longer signs in.
    QString createToken(qint64 userId, TokenKind kind,
                        std::optional<qint64> deviceKeyId = std::nullopt);
    std::optional<UserRow> userForToken(const QString& token, qint64 maxIdleMs);
    void revokeToken(const QString& token);
    // Ends the tokens a name login gave out, once a device key guards the account.
    void revokeNameTokens(qint64 userId);
    bool hasDeviceKey(qint64 userId);
    // Binds a public key to a user; returns the key's id, or none when another
    // user already holds this key.
    std::optional<qint64> bindDeviceKey(qint64 userId, const QString& pubkey, const QString& label);
    // (key id, user id) of a registered key.
    std::optional<std::pair<qint64, qint64>> deviceKey(const QString& pubkey);

    // Chats and members.
    std::optional<ChatRow> chat(qint64 id);
    QList<ChatRow> chatsOf(qint64 userId);
    QList<MemberRow> members(qint64 chatId);
    QList<qint64> memberIds(qint64 chatId);
    std::optional<QString> role(qint64 chatId, qint64 userId);
    std::optional<qint64> directChat(qint64 a, qint64 b);
    qint64 createChat(const QString& kind, const QString& title, qint64 creatorId,
                      const QList<qint64>& otherMembers);
    void addMember(qint64 chatId, qint64 userId, const QString& role);
    void removeMember(qint64 chatId, qint64 userId);
    void setRole(qint64 chatId, qint64 userId, const QString& role);
    std::optional<ChatRow> chatByInviteCode(const QString& code);
    void setInviteCode(qint64 chatId, const QString& code);
    void updateChat(qint64 chatId, const QVariantMap& columns);
    void deleteChat(qint64 chatId);

    // Messages and reads.
    // Stamped now unless the draft carries a time of its own.
    MessageRow insertMessage(const MessageRow& draft);
    std::optional<MessageRow> message(qint64 id);
    QList<MessageRow> messagesPage(qint64 chatId, std::optional<qint64> before, int limit);
    std::optional<MessageRow> lastMessage(qint64 chatId);
    // Control requests and replies and the agent's working messages do not count.
    qint64 unreadCount(qint64 chatId, qint64 userId);
    void editMessage(qint64 id, const QString& text, qint64 at);
    // Forgets the message's text and attachments; returns the media files
    // (their numbers) that no other message names any more.
    QList<qint64> deleteMessage(qint64 id);
    void setTranscript(qint64 id, const QString& transcript);
    QList<ReadRow> reads(qint64 chatId);
    // Each emoji with the people who gave it, in the order the emoji first came.
    QList<ReactionRow> reactions(qint64 messageId);
    void addReaction(qint64 messageId, qint64 userId, const QString& emoji, qint64 at);
    // Moves a read mark forward; false when the stored mark is already ahead.
    bool advanceRead(qint64 chatId, qint64 userId, qint64 messageId, qint64 at);

    QStringList linkedServers(qint64 userId);
    void addLinkedServer(qint64 userId, const QString& url);
    void removeLinkedServer(qint64 userId, const QString& url);

private:
    QSqlQuery run(const QString& sql, const QVariantList& binds = {});
    void migrate();
    void migrateTokens();
    void transaction(const std::function<void()>& work);

    QString m_connection;
};
