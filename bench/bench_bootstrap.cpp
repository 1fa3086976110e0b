// Decoding (and merging) a 5 MB bootstrap against the raw JSON parse of the
// same bytes. Target: decode + merge within 2x of the parse.
#include "BenchRatio.h"
#include "core/Prefs.h"
#include "model/Models.h"
#include "store/Store.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {

QJsonObject user(qint64 id) {
    return {{"id", id},
            {"username", QString("person %1").arg(id)},
            {"avatarAt", 1700000000000 + id},
            {"email", QString("p%1@example.org").arg(id)},
            {"lastSeen", 1700000000000 + id}};
}

QJsonObject message(qint64 id, qint64 chatId, qint64 sender) {
    return {{"id", id},
            {"chatId", chatId},
            {"senderId", sender},
            {"senderName", QString("person %1").arg(sender)},
            {"text", QString("Message %1: the build is green, deploying the preview now.").arg(id)},
            {"createdAt", 1700000000000 + id * 1000}};
}

// About 5 MB: 2,000 users and 7,000 conversations with members and a last message.
QByteArray bootstrapBytes() {
    QJsonArray users;
    for (qint64 i = 1; i <= 2000; ++i)
        users.append(user(i));
    QJsonArray chats;
    for (qint64 c = 1; c <= 7000; ++c) {
        QJsonArray members{user(1), user(1 + c % 1999), user(2 + c % 1997)};
        chats.append(QJsonObject{
            {"id", c},
            {"kind", c % 3 ? "direct" : "group"},
            {"title", QString("Conversation %1").arg(c)},
            {"members", members},
            {"lastMessage", message(c * 100, c, 1 + c % 1999)},
            {"createdAt", 1690000000000 + c},
            {"tavikAgent", false},
            {"unread", c % 4},
            {"reads", QJsonArray{QJsonObject{{"userId", 1}, {"lastReadId", c * 100}}}}});
    }
    QJsonObject root{
        {"me", user(1)}, {"users", users}, {"chats", chats}, {"botIds", QJsonArray{2, 3}}};
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

const QByteArray& bytes() {
    static const QByteArray data = bootstrapBytes();
    return data;
}

void RawParse(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(bytes()));
    state.SetBytesProcessed(qint64(state.iterations()) * bytes().size());
}

void Decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(json::decode<BootstrapResponse>(bytes()));
    state.SetBytesProcessed(qint64(state.iterations()) * bytes().size());
}

void DecodeAndMerge(benchmark::State& state) {
    Store store;
    for (auto _ : state)
        store.mergeBootstrap(json::decode<BootstrapResponse>(bytes()));
    state.SetBytesProcessed(qint64(state.iterations()) * bytes().size());
}

BENCHMARK(RawParse)->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeAndMerge)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Prefs::useFile(dir.filePath("bench.conf"));
    std::printf("bootstrap size: %.1f MB\n", bytes().size() / 1e6);
    return runWithRatios(argc, argv, {{"Decode", "RawParse"}, {"DecodeAndMerge", "RawParse"}});
}
