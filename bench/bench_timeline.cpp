// The conversation view and the conversation list under load:
// - the rows of a 10,000-message conversation, built by the view model and by
//   the rules alone, against one pass over the history;
// - latestVisibleMessage over the same history when its newest half is
//   control traffic, against the same pass;
// - one new message into that conversation with the view model attached;
// - the conversation list's update for one new message, with 100 and with
//   10,000 conversations: the ratio shows whether it grows with the list.
#include "BenchRatio.h"
#include "agent/MarkerConfig.h"
#include "conversations/TimelineRows.h"
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/StoreSeam.h"
#include "ui/ChatListModel.h"
#include "ui/TimelineModel.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {
constexpr qint64 chatId = 7;
constexpr int historySize = 10000;
const qint64 start = 1700000000000;

Message message(qint64 id, const QString& text) {
    Message m;
    m.id = id;
    m.chatId = chatId;
    m.senderId = 2 + id % 3;
    m.senderName = QStringLiteral("user%1").arg(m.senderId);
    m.text = text;
    m.createdAt = start + id * 600000; // ten minutes apart: about 70 days
    return m;
}

void loadConversation(Store& store, bool controlTail) {
    ChatSummary chat;
    chat.id = chatId;
    chat.kind = "group";
    chat.members = {User{1, "ana"}, User{2, "bo"}, User{3, "cy"}, User{4, "di"}};
    seam(store).me() = User{1, "ana"};
    seam(store).chats() = {chat};
    const QString control = Config::ccControlPrefix.toString() + R"({"op":"status"})";
    QList<Message> history;
    history.reserve(historySize);
    for (qint64 i = 1; i <= historySize; ++i)
        history << message(
            i, controlTail && i > historySize / 2 ? control : QStringLiteral("message %1").arg(i));
    seam(store).messages()[chatId] = history;
}

void OnePass(benchmark::State& state) {
    Store store;
    loadConversation(store, false);
    const QList<Message> history = store.messages()[chatId];
    for (auto _ : state) {
        qint64 sum = 0;
        for (const Message& m : history)
            sum += m.id + m.text.size();
        benchmark::DoNotOptimize(sum);
    }
}

void ModelRows(benchmark::State& state) {
    Store store;
    loadConversation(store, false);
    for (auto _ : state) {
        TimelineModel model(&store);
        model.setFollowsSelection(false);
        model.setChatId(chatId);
        benchmark::DoNotOptimize(model.rowCount());
    }
}

void RuleRows(benchmark::State& state) {
    Store store;
    loadConversation(store, false);
    for (auto _ : state)
        benchmark::DoNotOptimize(
            chatViewRows(chatViewMessages(store.messages()[chatId]), true, 1).size());
}

void LatestVisible(benchmark::State& state) {
    Store store;
    loadConversation(store, true);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.latestVisibleMessage(chatId));
}

void NewMessageWithModel(benchmark::State& state) {
    Store store;
    loadConversation(store, false);
    TimelineModel model(&store);
    model.setFollowsSelection(false);
    model.setChatId(chatId);
    qint64 next = historySize + 1;
    for (auto _ : state) {
        state.PauseTiming();
        const Message m = message(next++, QStringLiteral("live"));
        const QString frame = QString::fromUtf8(
            QJsonDocument(QJsonObject{{"type", "message"}, {"message", m.toJson()}})
                .toJson(QJsonDocument::Compact));
        state.ResumeTiming();
        store.handleEvent(frame, 0);
    }
    benchmark::DoNotOptimize(model.rowCount());
}

// The list model's work for one new message: the conversation's activity
// moves to now and the store says that it changed. Conversations are taken
// from all over the list, so each update moves a row to the top.
void listUpdate(benchmark::State& state, int count) {
    Store store;
    seam(store).me() = User{1, "ana"};
    for (int i = 0; i < count; ++i) {
        ChatSummary c;
        c.id = 1000 + i;
        c.kind = "direct";
        c.members = {User{1, "ana"}, User{2 + i, QStringLiteral("peer%1").arg(i)}};
        c.createdAt = start + i;
        seam(store).chats() << c;
        seam(store).userActivity()[c.id] = start + i;
    }
    ChatListModel list(&store);
    qint64 clock = start + count;
    quint32 pick = 12345;
    for (auto _ : state) {
        pick = pick * 1664525u + 1013904223u;
        const qint64 id = 1000 + qint64(pick % quint32(count));
        seam(store).userActivity()[id] = ++clock;
        emit store.chatChanged(id);
    }
    benchmark::DoNotOptimize(list.rowCount());
}

BENCHMARK(OnePass)->Unit(benchmark::kMicrosecond);
BENCHMARK(ModelRows)->Unit(benchmark::kMicrosecond);
BENCHMARK(RuleRows)->Unit(benchmark::kMicrosecond);
BENCHMARK(LatestVisible)->Unit(benchmark::kMicrosecond);
BENCHMARK(NewMessageWithModel)->Unit(benchmark::kMicrosecond);
void ListUpdate100(benchmark::State& state) {
    listUpdate(state, 100);
}
void ListUpdate10000(benchmark::State& state) {
    listUpdate(state, 10000);
}
BENCHMARK(ListUpdate100)->Unit(benchmark::kMicrosecond);
BENCHMARK(ListUpdate10000)->Unit(benchmark::kMicrosecond);
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Prefs::useFile(dir.filePath("bench.conf"));
    return runWithRatios(argc, argv,
                         {{"ModelRows", "OnePass"},
                          {"RuleRows", "OnePass"},
                          {"LatestVisible", "OnePass"},
                          {"NewMessageWithModel", "OnePass"},
                          {"ListUpdate10000", "ListUpdate100"}});
}
