#include "conversations/TimelineRows.h"

#include "conversations/Fmt.h"
#include "store/Store.h"

#include <limits>

QList<Message> chatViewMessages(const QList<Message>& history) {
    QList<Message> out;
    out.reserve(history.size());
    for (const Message& m : history)
        if (isVisibleMessage(m)) out.push_back(m);
    std::stable_sort(out.begin(), out.end(),
                     [](const Message& a, const Message& b) { return a.id < b.id; });
    return out;
}

bool chatShowsSenders(const Store& store, qint64 chatId, const ChatSummary* fallback) {
    const ChatSummary* c = store.chat(chatId);
    if (!c) c = fallback;
    if (!c) return false;
    const auto people = std::count_if(c->members.begin(), c->members.end(),
                                      [&](const User& u) { return !store.isBotUser(u.id); });
    return people >= 2;
}

std::vector<RowLayout> layoutRows(const std::vector<RowInput>& messages, bool showsSenders,
                                  std::optional<qint64> me) {
    constexpr qint64 noSender = std::numeric_limits<qint64>::min();
    std::vector<RowLayout> rows;
    rows.reserve(messages.size() + messages.size() / 8 + 1);
    std::optional<qint64> previousDay;
    qint64 previousSender = noSender;
    for (int i = 0; i < int(messages.size()); ++i) {
        const RowInput& m = messages[size_t(i)];
        if (previousDay != m.dayKey) {
            rows.push_back({true, i, false});
            previousDay = m.dayKey;
            previousSender = noSender; // a new day names its first sender again
        }
        const bool show =
            showsSenders && (!me || m.senderId != *me) && m.senderId != previousSender;
        rows.push_back({false, i, show});
        previousSender = m.senderId;
    }
    return rows;
}

QList<ChatRowItem> chatViewRows(const QList<Message>& msgs, bool showsSenders,
                                std::optional<qint64> me) {
    std::vector<RowInput> input;
    input.reserve(size_t(msgs.size()));
    for (const Message& m : msgs)
        input.push_back({m.senderId, Fmt::dayKey(m.createdAt)});
    QList<ChatRowItem> out;
    for (const RowLayout& row : layoutRows(input, showsSenders, me)) {
        const Message& m = msgs[row.message];
        if (row.isDay)
            out.push_back({ChatRowItem::Kind::day, Fmt::day(m.createdAt), {}, false});
        else
            out.push_back({ChatRowItem::Kind::msg, {}, m, row.showSender});
    }
    return out;
}
