#include "Records.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace records {
namespace {

void putText(QJsonObject& obj, const QString& key, const QString& value) {
    if (!value.isEmpty()) obj.insert(key, value);
}

// Stored JSON columns go back on the wire as they were written.
void putJson(QJsonObject& obj, const QString& key, const QByteArray& json) {
    if (json.isEmpty()) return;
    const QJsonDocument doc = QJsonDocument::fromJson(json);
    if (doc.isObject())
        obj.insert(key, doc.object());
    else if (doc.isArray())
        obj.insert(key, doc.array());
}

void putReactions(Storage& db, QJsonObject& obj, qint64 messageId) {
    QJsonArray list;
    for (const ReactionRow& r : db.reactions(messageId)) {
        QJsonArray users;
        for (const qint64 id : r.userIds)
            users.append(id);
        list.append(
            QJsonObject{{QStringLiteral("emoji"), r.emoji}, {QStringLiteral("userIds"), users}});
    }
    if (!list.isEmpty()) obj.insert(QStringLiteral("reactions"), list);
}

void putReply(Storage& db, QJsonObject& obj, const MessageRow& m) {
    if (!m.replyTo) return;
    const auto quoted = db.message(*m.replyTo);
    if (!quoted) return;
    obj.insert(QStringLiteral("replyTo"), QJsonObject{
                                              {QStringLiteral("id"), quoted->id},
                                              {QStringLiteral("senderId"), quoted->senderId},
                                              {QStringLiteral("senderName"), quoted->senderName},
                                              {QStringLiteral("text"), quoted->text},
                                          });
}

QJsonArray readMarks(Storage& db, qint64 chatId) {
    QJsonArray out;
    for (const ReadRow& r : db.reads(chatId))
        out.append(QJsonObject{{QStringLiteral("userId"), r.userId},
                               {QStringLiteral("lastReadId"), r.lastReadId},
                               {QStringLiteral("updatedAt"), r.updatedAt}});
    return out;
}

QJsonArray memberList(Storage& db, qint64 chatId) {
    QJsonArray out;
    for (const MemberRow& m : db.members(chatId))
        if (const auto u = db.user(m.userId)) out.append(user(*u));
    return out;
}

} // namespace

QJsonObject user(const UserRow& u) {
    QJsonObject obj{{QStringLiteral("id"), u.id}, {QStringLiteral("username"), u.username}};
    if (u.avatarAt) obj.insert(QStringLiteral("avatarAt"), *u.avatarAt);
    putText(obj, QStringLiteral("address"), u.address);
    if (u.lat) obj.insert(QStringLiteral("lat"), *u.lat);
    if (u.lon) obj.insert(QStringLiteral("lon"), *u.lon);
    putText(obj, QStringLiteral("competence"), u.competence);
    putText(obj, QStringLiteral("experience"), u.experience);
    putText(obj, QStringLiteral("email"), u.email);
    putText(obj, QStringLiteral("phone"), u.phone);
    if (u.lastSeen) obj.insert(QStringLiteral("lastSeen"), *u.lastSeen);
    if (u.isGuest) obj.insert(QStringLiteral("isGuest"), true);
    return obj;
}

QJsonObject message(Storage& db, const MessageRow& m) {
    QJsonObject obj{
        {QStringLiteral("id"), m.id},
        {QStringLiteral("chatId"), m.chatId},
        {QStringLiteral("senderId"), m.senderId},
        {QStringLiteral("senderName"), m.senderName},
        {QStringLiteral("text"), m.text},
        {QStringLiteral("createdAt"), m.createdAt},
    };
    putReply(db, obj, m);
    putJson(obj, QStringLiteral("media"), m.media);
    putJson(obj, QStringLiteral("album"), m.album);
    putJson(obj, QStringLiteral("forwardedFrom"), m.forwardedFrom);
    if (m.transcript) obj.insert(QStringLiteral("transcript"), *m.transcript);
    if (m.editedAt) obj.insert(QStringLiteral("editedAt"), *m.editedAt);
    putReactions(db, obj, m.id);
    return obj;
}

QJsonObject chat(Storage& db, const ChatRow& c, qint64 viewerId) {
    QJsonObject obj{
        {QStringLiteral("id"), c.id},
        {QStringLiteral("kind"), c.kind},
        {QStringLiteral("members"), memberList(db, c.id)},
        {QStringLiteral("createdAt"), c.createdAt},
        {QStringLiteral("tavikAgent"), c.tavikAgent},
        {QStringLiteral("reads"), readMarks(db, c.id)},
        {QStringLiteral("unread"), db.unreadCount(c.id, viewerId)},
    };
    putText(obj, QStringLiteral("title"), c.title);
    if (c.avatarAt) obj.insert(QStringLiteral("avatarAt"), *c.avatarAt);
    if (const auto last = db.lastMessage(c.id))
        obj.insert(QStringLiteral("lastMessage"), message(db, *last));
    if (c.pinnedMessageId)
        if (const auto pinned = db.message(*c.pinnedMessageId))
            obj.insert(QStringLiteral("pinnedMessage"), message(db, *pinned));
    return obj;
}

} // namespace records
