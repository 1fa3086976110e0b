#include "Storage.h"

#include <QRegularExpression>
#include <QSqlQuery>
#include <algorithm>
#include <limits>

namespace {

const char* const kMessageColumns =
    "id, chat_id, sender_id, sender_name, text, reply_to, media, album, forwarded_from, "
    "transcript, created_at, edited_at";

QVariant nullableText(const QByteArray& json) {
    return json.isEmpty() ? QVariant(QMetaType::fromType<QString>()) : QString::fromUtf8(json);
}

MessageRow readMessage(const QSqlQuery& q) {
    MessageRow m;
    m.id = q.value(0).toLongLong();
    m.chatId = q.value(1).toLongLong();
    m.senderId = q.value(2).toLongLong();
    m.senderName = q.value(3).toString();
    m.text = q.value(4).toString();
    if (!q.value(5).isNull()) m.replyTo = q.value(5).toLongLong();
    m.media = q.value(6).toString().toUtf8();
    m.album = q.value(7).toString().toUtf8();
    m.forwardedFrom = q.value(8).toString().toUtf8();
    if (!q.value(9).isNull()) m.transcript = q.value(9).toString();
    m.createdAt = q.value(10).toLongLong();
    if (!q.value(11).isNull()) m.editedAt = q.value(11).toLongLong();
    return m;
}

} // namespace

MessageRow Storage::insertMessage(const MessageRow& draft) {
    MessageRow m = draft;
    // Only seeded history comes with its own time.
    if (m.createdAt <= 0) m.createdAt = now();
    QSqlQuery q =
        run(QStringLiteral("INSERT INTO messages (chat_id, sender_id, sender_name, text, reply_to, "
                           "media, album, forwarded_from, transcript, created_at) "
                           "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
            {m.chatId, m.senderId, m.senderName, m.text,
             m.replyTo ? QVariant(*m.replyTo) : QVariant(QMetaType::fromType<qint64>()),
             nullableText(m.media), nullableText(m.album), nullableText(m.forwardedFrom),
             m.transcript ? QVariant(*m.transcript) : QVariant(QMetaType::fromType<QString>()),
             m.createdAt});
    m.id = q.lastInsertId().toLongLong();
    return m;
}

std::optional<MessageRow> Storage::message(qint64 id) {
    QSqlQuery q =
        run(QStringLiteral("SELECT %1 FROM messages WHERE id=? AND deleted=0").arg(kMessageColumns),
            {id});
    if (!q.next()) return std::nullopt;
    return readMessage(q);
}

// Newest `limit` messages below `before`, returned oldest first.
QList<MessageRow> Storage::messagesPage(qint64 chatId, std::optional<qint64> before, int limit) {
    QSqlQuery q = run(QStringLiteral("SELECT %1 FROM messages WHERE chat_id=? AND deleted=0 "
                                     "AND id<? ORDER BY id DESC LIMIT ?")
                          .arg(kMessageColumns),
                      {chatId, before.value_or(std::numeric_limits<qint64>::max()), limit});
    QList<MessageRow> out;
    while (q.next())
        out.push_back(readMessage(q));
    std::reverse(out.begin(), out.end());
    return out;
}

std::optional<MessageRow> Storage::lastMessage(qint64 chatId) {
    const QList<MessageRow> page = messagesPage(chatId, std::nullopt, 1);
    if (page.isEmpty()) return std::nullopt;
    return page.front();
}

qint64 Storage::unreadCount(qint64 chatId, qint64 userId) {
    QSqlQuery q = run(QStringLiteral(R"(SELECT COUNT(*) FROM messages WHERE chat_id=?
        AND deleted=0 AND sender_id<>? AND substr(text, 1, 6)<>char(2)||'CCCTL'
        AND substr(text, 1, 19)<>'💭 Claude is working' AND id > COALESCE(
            (SELECT last_read_id FROM reads WHERE chat_id=? AND user_id=?), 0))"),
                      {chatId, userId, chatId, userId});
    return q.next() ? q.value(0).toLongLong() : 0;
}

void Storage::editMessage(qint64 id, const QString& text, qint64 at) {
    run(QStringLiteral("UPDATE messages SET text=?, edited_at=? WHERE id=?"), {text, at, id});
}

QList<qint64> Storage::deleteMessage(qint64 id) {
    QList<qint64> orphans;
    transaction([&] {
        QSqlQuery q =
            run(QStringLiteral("SELECT COALESCE(media, '') || COALESCE(album, '') FROM messages "
                               "WHERE id=?"),
                {id});
        const QString attached = q.next() ? q.value(0).toString() : QString();
        q.finish();
        run(QStringLiteral("UPDATE messages SET deleted=1, text='', media=NULL, album=NULL, "
                           "forwarded_from=NULL, transcript=NULL WHERE id=?"),
            {id});
        run(QStringLiteral("UPDATE chats SET pinned_message_id=NULL WHERE pinned_message_id=?"),
            {id});
        // A forwarded copy names the same file; it stays while one does.
        static const QRegularExpression mediaPath(QStringLiteral("/media/(\\d+)\""));
        for (const auto& match : mediaPath.globalMatch(attached)) {
            const QString pattern = QStringLiteral("%") + match.captured(0) + u'%';
            QSqlQuery used = run(QStringLiteral("SELECT 1 FROM messages WHERE deleted=0 AND "
                                                "(media LIKE ? OR album LIKE ?) LIMIT 1"),
                                 {pattern, pattern});
            if (!used.next()) orphans.push_back(match.captured(1).toLongLong());
        }
    });
    // The log still holds the old page until it is folded into the file.
    run(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    return orphans;
}

void Storage::setTranscript(qint64 id, const QString& transcript) {
    run(QStringLiteral("UPDATE messages SET transcript=? WHERE id=?"), {transcript, id});
}

QList<ReadRow> Storage::reads(qint64 chatId) {
    QSqlQuery q = run(QStringLiteral("SELECT user_id, last_read_id, updated_at FROM reads "
                                     "WHERE chat_id=? ORDER BY user_id"),
                      {chatId});
    QList<ReadRow> out;
    while (q.next())
        out.push_back(
            ReadRow{q.value(0).toLongLong(), q.value(1).toLongLong(), q.value(2).toLongLong()});
    return out;
}

QList<ReactionRow> Storage::reactions(qint64 messageId) {
    QSqlQuery q = run(QStringLiteral("SELECT emoji, user_id FROM reactions WHERE message_id=? "
                                     "ORDER BY created_at, rowid"),
                      {messageId});
    QList<ReactionRow> out;
    while (q.next()) {
        const QString emoji = q.value(0).toString();
        auto row = std::find_if(out.begin(), out.end(),
                                [&](const ReactionRow& r) { return r.emoji == emoji; });
        if (row == out.end()) row = out.insert(out.end(), ReactionRow{emoji, {}});
        row->userIds.push_back(q.value(1).toLongLong());
    }
    return out;
}

void Storage::addReaction(qint64 messageId, qint64 userId, const QString& emoji, qint64 at) {
    run(QStringLiteral("INSERT OR IGNORE INTO reactions (message_id, user_id, emoji, created_at) "
                       "VALUES (?, ?, ?, ?)"),
        {messageId, userId, emoji, at});
}

bool Storage::advanceRead(qint64 chatId, qint64 userId, qint64 messageId, qint64 at) {
    QSqlQuery q =
        run(QStringLiteral(R"(INSERT INTO reads (chat_id, user_id, last_read_id, updated_at)
        VALUES (?, ?, ?, ?)
        ON CONFLICT (chat_id, user_id) DO UPDATE SET last_read_id=excluded.last_read_id,
            updated_at=excluded.updated_at WHERE excluded.last_read_id >= reads.last_read_id)"),
            {chatId, userId, messageId, at});
    return q.numRowsAffected() > 0;
}
