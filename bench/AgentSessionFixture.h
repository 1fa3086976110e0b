#pragma once

// A direct conversation between "me" and the agent, held in a Store on its own
// preferences file: the setting both agent benches time their work in.
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/StoreSeam.h"

#include <QTemporaryDir>

namespace fixture {

constexpr qint64 me = 1;
constexpr qint64 agent = 2;
constexpr qint64 chatId = 42;
constexpr int count = 5000;

inline Message message(qint64 id, qint64 sender, QString text) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = sender;
    m.senderName = sender == me ? "me" : "Claude Code";
    m.text = std::move(text);
    m.createdAt = 1700000000000 + id * 1000;
    return m;
}

struct AgentSession {
    QTemporaryDir dir;
    std::unique_ptr<Store> store;

    explicit AgentSession(QList<Message> history) {
        Prefs::useFile(dir.filePath("bench.conf"));
        store = std::make_unique<Store>();
        User u;
        u.id = me;
        u.username = "me";
        seam(store).me() = u;
        User a;
        a.id = agent;
        a.username = "Claude Code";
        ChatSummary c;
        c.id = chatId;
        c.kind = "direct";
        c.members = {u, a};
        seam(store).chats() = {c};
        seam(store).messages()[chatId] = std::move(history);
        seam(store).ccSeenHighWater()[chatId] = count / 2; // the older half is settled
    }
};

} // namespace fixture
