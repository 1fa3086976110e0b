// "message" frames handled by the store, into a loaded conversation of 5,000
// messages, against the raw JSON parse of the same frames.
// Target: handleEvent throughput at least half the raw parse throughput.
#include "BenchRatio.h"
#include "core/Prefs.h"
#include "store/Store.h"
#include "support/StoreSeam.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {
constexpr qint64 chatId = 7;
constexpr int frameCount = 2000;

QJsonObject messageJson(qint64 id) {
    return {{"id", id},
            {"chatId", chatId},
            {"senderId", 2 + id % 2},
            {"senderName", id % 2 ? "bo" : "cy"},
            {"text", QString("Status %1: tests pass, pushing the branch for review now.").arg(id)},
            {"createdAt", 1700000000000 + id * 1000}};
}

QStringList frames() {
    QStringList out;
    for (qint64 i = 0; i < frameCount; ++i) {
        const QJsonObject frame{{"type", "message"}, {"message", messageJson(10000 + i)}};
        out << QString::fromUtf8(QJsonDocument(frame).toJson(QJsonDocument::Compact));
    }
    return out;
}

void loadConversation(Store& store) {
    ChatSummary chat;
    chat.id = chatId;
    chat.kind = "group";
    chat.members = {User{1, "ana"}, User{2, "bo"}, User{3, "cy"}};
    seam(store).me() = User{1, "ana"};
    seam(store).chats() = {chat};
    QList<Message> history;
    for (qint64 i = 1; i <= 5000; ++i)
        history << Message::fromJson(messageJson(i));
    seam(store).messages()[chatId] = history;
}

void RawParse(benchmark::State& state) {
    const QStringList input = frames();
    for (auto _ : state)
        for (const QString& f : input)
            benchmark::DoNotOptimize(QJsonDocument::fromJson(f.toUtf8()));
    state.SetItemsProcessed(qint64(state.iterations()) * frameCount);
}

void DecodeOnly(benchmark::State& state) {
    const QStringList input = frames();
    for (auto _ : state)
        for (const QString& f : input)
            benchmark::DoNotOptimize(json::decode<WsEvent>(f.toUtf8()));
    state.SetItemsProcessed(qint64(state.iterations()) * frameCount);
}

void HandleEvent(benchmark::State& state) {
    const QStringList input = frames();
    std::unique_ptr<Store> store;
    for (auto _ : state) {
        // Building and tearing down the 5,000-message store stays out of the timing.
        state.PauseTiming();
        store.reset();
        store = std::make_unique<Store>();
        loadConversation(*store);
        state.ResumeTiming();
        for (const QString& f : input)
            store->handleEvent(f, 0);
    }
    state.SetItemsProcessed(qint64(state.iterations()) * frameCount);
}

BENCHMARK(RawParse)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(HandleEvent)->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Prefs::useFile(dir.filePath("bench.conf"));
    return runWithRatios(argc, argv, {{"DecodeOnly", "RawParse"}, {"HandleEvent", "RawParse"}});
}
