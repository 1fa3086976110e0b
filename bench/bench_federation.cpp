// Merging an extra server's bootstrap of 2,000 conversations into a list of
// 2,000 primary conversations, against the raw JSON parse of the same bytes.
#include "BenchRatio.h"
#include "core/Prefs.h"
#include "model/Models.h"
#include "store/Store.h"
#include "support/StoreSeam.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QUuid>

namespace {

constexpr int conversations = 2000;

QJsonObject user(qint64 id) {
    return {
        {"id", id}, {"username", QString("person %1").arg(id)}, {"lastSeen", 1700000000000 + id}};
}

QJsonObject message(qint64 id, qint64 chatId, qint64 sender, QString media = {}) {
    QJsonObject m{{"id", id},
                  {"chatId", chatId},
                  {"senderId", sender},
                  {"senderName", QString("person %1").arg(sender)},
                  {"text", QString("Message %1: the tests pass on this server too.").arg(id)},
                  {"createdAt", 1700000000000 + id * 997 % 86400000}};
    if (!media.isEmpty()) m.insert("media", QJsonObject{{"kind", "image"}, {"url", media}});
    return m;
}

QByteArray bootstrapBytes(qint64 offset) {
    QJsonArray users;
    for (qint64 i = 1; i <= 500; ++i)
        users.append(user(i));
    QJsonArray chats;
    for (qint64 c = 1; c <= conversations; ++c) {
        const QString media = c % 5 ? QString() : QString("/media/%1.jpg").arg(c);
        chats.append(QJsonObject{{"id", c},
                                 {"kind", c % 3 ? "direct" : "group"},
                                 {"title", QString("Conversation %1").arg(c)},
                                 {"members", QJsonArray{user(1), user(2 + c % 498)}},
                                 {"lastMessage", message(c * 10 + offset, c, 2 + c % 498, media)},
                                 {"createdAt", 1690000000000 + c},
                                 {"tavikAgent", false}});
    }
    QJsonObject root{
        {"me", user(1)}, {"users", users}, {"chats", chats}, {"botIds", QJsonArray{2}}};
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

const QByteArray& extraBytes() {
    static const QByteArray data = bootstrapBytes(3);
    return data;
}

// A store holding 2,000 primary conversations and one extra server profile.
Store& primed() {
    static Store* store = [] {
        auto* s = new Store;
        seam(s).setServerURLString("http://127.0.0.1:1");
        s->mergeBootstrap(json::decode<BootstrapResponse>(bootstrapBytes(0)));
        s->setExtraServers(
            {ServerProfile{QUuid::createUuid(), 1, "extra", "http://127.0.0.1:2", QString(), {}}});
        return s;
    }();
    return *store;
}

void RawParse(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(extraBytes()));
    state.SetBytesProcessed(qint64(state.iterations()) * extraBytes().size());
}

void Decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(json::decode<BootstrapResponse>(extraBytes()));
    state.SetBytesProcessed(qint64(state.iterations()) * extraBytes().size());
}

void DecodeAndMergeExtra(benchmark::State& state) {
    Store& store = primed();
    for (auto _ : state)
        store.mergeExtraBootstrap(1, json::decode<BootstrapResponse>(extraBytes()));
    if (store.chats().size() != 2 * conversations) state.SkipWithError("merge lost conversations");
    state.SetBytesProcessed(qint64(state.iterations()) * extraBytes().size());
}

BENCHMARK(RawParse)->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAndMergeExtra)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Prefs::useFile(dir.filePath("bench.conf"));
    std::printf("extra bootstrap size: %.1f MB, %d + %d conversations\n", extraBytes().size() / 1e6,
                conversations, conversations);
    return runWithRatios(argc, argv, {{"Decode", "RawParse"}, {"DecodeAndMergeExtra", "RawParse"}});
}
