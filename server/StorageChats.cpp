#include "Storage.h"

#include <QSqlQuery>

namespace {

const char* const kChatColumns =
    "id, kind, title, created_at, tavik_agent, avatar_at, invite_code, pinned_message_id";

ChatRow readChat(const QSqlQuery& q) {
    ChatRow c;
    c.id = q.value(0).toLongLong();
    c.kind = q.value(1).toString();
    c.title = q.value(2).toString();
    c.createdAt = q.value(3).toLongLong();
    c.tavikAgent = q.value(4).toBool();
    if (!q.value(5).isNull()) c.avatarAt = q.value(5).toLongLong();
    c.inviteCode = q.value(6).toString();
    if (!q.value(7).isNull()) c.pinnedMessageId = q.value(7).toLongLong();
    return c;
}

} // namespace

std::optional<ChatRow> Storage::chat(qint64 id) {
    QSqlQuery q = run(QStringLiteral("SELECT %1 FROM chats WHERE id=?").arg(kChatColumns), {id});
    if (!q.next()) return std::nullopt;
    return readChat(q);
}

QList<ChatRow> Storage::chatsOf(qint64 userId) {
    QSqlQuery q = run(QStringLiteral("SELECT %1 FROM chats WHERE id IN "
                                     "(SELECT chat_id FROM members WHERE user_id=?) ORDER BY id")
                          .arg(kChatColumns),
                      {userId});
    QList<ChatRow> out;
    while (q.next())
        out.push_back(readChat(q));
    return out;
}

QList<MemberRow> Storage::members(qint64 chatId) {
    QSqlQuery q = run(QStringLiteral("SELECT user_id, role FROM members WHERE chat_id=? "
                                     "ORDER BY joined_at, user_id"),
                      {chatId});
    QList<MemberRow> out;
    while (q.next())
        out.push_back(MemberRow{q.value(0).toLongLong(), q.value(1).toString()});
    return out;
}

QList<qint64> Storage::memberIds(qint64 chatId) {
    QList<qint64> out;
    for (const MemberRow& m : members(chatId))
        out.push_back(m.userId);
    return out;
}

std::optional<QString> Storage::role(qint64 chatId, qint64 userId) {
    QSqlQuery q = run(QStringLiteral("SELECT role FROM members WHERE chat_id=? AND user_id=?"),
                      {chatId, userId});
    if (!q.next()) return std::nullopt;
    return q.value(0).toString();
}

// A direct conversation of a user with themselves has that one member.
std::optional<qint64> Storage::directChat(qint64 a, qint64 b) {
    QSqlQuery q = run(QStringLiteral(R"(SELECT c.id FROM chats c WHERE c.kind='direct'
        AND EXISTS (SELECT 1 FROM members WHERE chat_id=c.id AND user_id=?)
        AND EXISTS (SELECT 1 FROM members WHERE chat_id=c.id AND user_id=?)
        AND (SELECT COUNT(*) FROM members WHERE chat_id=c.id) = ?
        ORDER BY c.id LIMIT 1)"),
                      {a, b, a == b ? 1 : 2});
    if (!q.next()) return std::nullopt;
    return q.value(0).toLongLong();
}

qint64 Storage::createChat(const QString& kind, const QString& title, qint64 creatorId,
                           const QList<qint64>& otherMembers) {
    qint64 chatId = 0;
    transaction([&] {
        const qint64 at = now();
        QSqlQuery q = run(QStringLiteral("INSERT INTO chats (kind, title, created_at, creator_id) "
                                         "VALUES (?, ?, ?, ?)"),
                          {kind, title.isEmpty() ? QVariant(QMetaType::fromType<QString>()) : title,
                           at, creatorId});
        chatId = q.lastInsertId().toLongLong();
        const QString creatorRole =
            kind == QLatin1String("group") ? QStringLiteral("Owner") : QStringLiteral("User");
        addMember(chatId, creatorId, creatorRole);
        for (qint64 id : otherMembers)
            if (id != creatorId) addMember(chatId, id, QStringLiteral("User"));
    });
    return chatId;
}

void Storage::addMember(qint64 chatId, qint64 userId, const QString& role) {
    run(QStringLiteral("INSERT OR IGNORE INTO members (chat_id, user_id, role, joined_at) "
                       "VALUES (?, ?, ?, ?)"),
        {chatId, userId, role, now()});
}

void Storage::removeMember(qint64 chatId, qint64 userId) {
    run(QStringLiteral("DELETE FROM members WHERE chat_id=? AND user_id=?"), {chatId, userId});
}

void Storage::setRole(qint64 chatId, qint64 userId, const QString& role) {
    run(QStringLiteral("UPDATE members SET role=? WHERE chat_id=? AND user_id=?"),
        {role, chatId, userId});
}

std::optional<ChatRow> Storage::chatByInviteCode(const QString& code) {
    if (code.isEmpty()) return std::nullopt;
    QSqlQuery q =
        run(QStringLiteral("SELECT %1 FROM chats WHERE invite_code=?").arg(kChatColumns), {code});
    if (!q.next()) return std::nullopt;
    return readChat(q);
}

void Storage::setInviteCode(qint64 chatId, const QString& code) {
    run(QStringLiteral("UPDATE chats SET invite_code=? WHERE id=?"),
        {code.isEmpty() ? QVariant(QMetaType::fromType<QString>()) : code, chatId});
}

void Storage::updateChat(qint64 chatId, const QVariantMap& columns) {
    transaction([&] {
        for (auto it = columns.begin(); it != columns.end(); ++it)
            run(QStringLiteral("UPDATE chats SET %1=? WHERE id=?").arg(it.key()),
                {it.value(), chatId});
    });
}

void Storage::deleteChat(qint64 chatId) {
    run(QStringLiteral("DELETE FROM chats WHERE id=?"), {chatId});
}
