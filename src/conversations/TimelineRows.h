#pragma once

// What a conversation view lists: the visible messages in id order, with a
// separator before each new day and the sender's name over the first message
// of each run by one person in a group.

#include "model/Models.h"

#include <vector>

class Store;

// Neither control traffic nor a working line.
inline bool isVisibleMessage(const Message& m) {
    return !m.isCCControl() && !m.isCCWorking();
}

// The visible messages sorted by id: pending copies (negative ids) come
// first until the server's copy replaces them.
QList<Message> chatViewMessages(const QList<Message>& history);

// A group view names senders: the conversation (or `fallback` when it is
// gone) has at least two members who are not bots.
bool chatShowsSenders(const Store& store, qint64 chatId, const ChatSummary* fallback = nullptr);

// The shape of the rows, from what decides it.
struct RowInput {
    qint64 senderId = 0;
    qint64 dayKey = 0; // the same number for the same calendar day
};
struct RowLayout {
    bool isDay = false;
    int message = 0; // index into the input; for a day, the first message of that day
    bool showSender = false;
};
std::vector<RowLayout> layoutRows(const std::vector<RowInput>& messages, bool showsSenders,
                                  std::optional<qint64> me);

struct ChatRowItem {
    enum class Kind { day, msg };
    Kind kind = Kind::msg;
    QString dayText;
    Message message;
    bool showSender = false;
};

// The rows of `msgs` (as chatViewMessages gives them), oldest first.
QList<ChatRowItem> chatViewRows(const QList<Message>& msgs, bool showsSenders,
                                std::optional<qint64> me);
