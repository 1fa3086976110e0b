#pragma once

// Records and server frames built by hand, for tests that drive a Store
// without a server through its one event dispatcher.

#include "model/Models.h"

#include <QJsonDocument>

inline User person(qint64 id, const QString& name) {
    User u;
    u.id = id;
    u.username = name;
    return u;
}

inline Message textMessage(qint64 id, qint64 chatId, const User& sender, const QString& text,
                           qint64 createdAt) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = sender.id;
    m.senderName = sender.username;
    m.text = text;
    m.createdAt = createdAt;
    return m;
}

inline ChatSummary conversation(qint64 id, const QList<User>& members, bool group = false,
                                const QString& title = {}) {
    ChatSummary c;
    c.id = id;
    c.kind = group ? QStringLiteral("group") : QStringLiteral("direct");
    if (!title.isEmpty()) c.title = title;
    c.members = members;
    c.createdAt = 1000;
    return c;
}

inline QString frameText(const QJsonObject& o) {
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

inline QString messageFrame(const Message& m, const QString& type = QStringLiteral("message")) {
    return frameText({{QStringLiteral("type"), type}, {QStringLiteral("message"), m.toJson()}});
}
