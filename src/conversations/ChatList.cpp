#include "conversations/ChatList.h"

#include "store/Store.h"

bool listsConversation(const Store& store, const ChatSummary& chat, const QString& search) {
    if (store.isSavedMessages(chat)) return false;
    const QString needle = search.trimmed().toLower();
    if (needle.isEmpty()) return true;
    const std::optional<qint64> me = store.me() ? std::optional(store.me()->id) : std::nullopt;
    return chat.displayTitle(me).toLower().contains(needle);
}

QList<ChatSummary> visibleChats(const Store& store, const QString& search) {
    QList<std::pair<qint64, ChatSummary>> ranked;
    for (const ChatSummary& c : store.chats())
        if (listsConversation(store, c, search)) ranked.push_back({store.userActivityAt(c), c});
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    QList<ChatSummary> out;
    out.reserve(ranked.size());
    for (const auto& entry : std::as_const(ranked))
        out.push_back(entry.second);
    return out;
}
