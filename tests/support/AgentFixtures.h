#pragma once

// Shared pieces of the agent tests: conversations, messages and a store that
// talks to a HostEcho peer. Ids: the signed-in user is 1, the session's agent
// member 2; conversation 42 is a session, 7 the self-conversation.

#include "store/Store.h"
#include "support/HostEcho.h"
#include "support/StoreSeam.h"

#include <QJsonDocument>
#include <memory>

namespace fixtures {

inline constexpr qint64 meId = 1;
inline constexpr qint64 agentMember = 2;
inline constexpr qint64 sessionId = 42;
inline constexpr qint64 selfId = 7;

inline User user(qint64 id, const QString& name) {
    User u;
    u.id = id;
    u.username = name;
    return u;
}

inline Message message(qint64 id, qint64 sender, const QString& text, qint64 chatId = sessionId) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = sender;
    m.senderName = sender == meId ? QStringLiteral("me") : QStringLiteral("Claude Code");
    m.text = text;
    m.createdAt = 1000 * id;
    return m;
}

inline ChatSummary chatWith(qint64 id, QList<User> members) {
    ChatSummary c;
    c.id = id;
    c.kind = QStringLiteral("direct");
    c.members = std::move(members);
    c.createdAt = 1;
    return c;
}

inline ChatSummary session(qint64 id = sessionId) {
    return chatWith(id, {user(meId, "me"), user(agentMember, "Claude Code")});
}

inline ChatSummary selfChat() {
    return chatWith(selfId, {user(meId, "me")});
}

// A signed-in store with a session and the self-conversation, no server.
inline std::unique_ptr<Store> offlineStore(double timeScale = 0.01) {
    auto store = std::make_unique<Store>(StoreOptions{timeScale});
    seam(store).me() = user(meId, "me");
    seam(store).chats() = {session(), selfChat()};
    return store;
}

// The same store, pointed at a HostEcho peer.
inline std::unique_ptr<Store> storeOn(const HostEcho& echo, double timeScale = 0.01) {
    auto store = offlineStore(timeScale);
    seam(store).setServerURLString(echo.url());
    seam(store).setToken(QStringLiteral("t"));
    return store;
}

// The control requests of one op that reached the host.
inline QList<QJsonObject> requestsFor(const HostEcho& echo, const QString& op) {
    QList<QJsonObject> out;
    for (const QJsonObject& r : echo.requests)
        if (r.value("op").toString() == op) out.push_back(r);
    return out;
}

} // namespace fixtures
