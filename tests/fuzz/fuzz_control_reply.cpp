// Control replies come from the agent's host through chat messages: finding
// a reply, and every reader of its fields, must take any text without
// crashing and report only what is there. The same bytes also go through
// the texts the agent side builds from host input (status line, chunks of a
// write, deploy links).
#include "agent/Builds.h"
#include "agent/Files.h"
#include "agent/MarkerConfig.h"
#include "agent/Status.h"
#include "store/Store.h"

#include <QJsonDocument>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

void readReply(const QJsonObject& reply) {
    const CCListing listing = listingFromReply(reply, QStringLiteral("~"));
    check(!listing.path.isEmpty() || reply.value(QLatin1String("path")).isString());
    if (const auto dir = dirListingFromReply(reply, QStringLiteral("/"))) {
        check(!dir->blocked || dir->entries.isEmpty());
        for (const CCEntry& e : dir->entries)
            check(e.path.endsWith(e.name));
    }
    const CCFileChunk chunk = fileChunkFromReply(reply);
    check(!chunk.err || !chunk.err->isEmpty());
}

void checkChunks(const QString& text) {
    const QStringList pieces = Store::chunkUTF8(text, 7);
    check(pieces.join(QString()) == text);
    for (const QString& piece : pieces)
        check(!piece.isEmpty());
    const QList<CCWriteStep> plan = ccWritePlan(text, 7);
    check(!plan.isEmpty() && !plan.first().append);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QString text = QString::fromUtf8(bytes);

    Message m;
    m.id = 7;
    m.senderId = 2;
    m.text = Config::ccControlPrefix.toString() + text;
    const QJsonObject parsed = QJsonDocument::fromJson(text.toUtf8()).object();
    const QString id = parsed.value(QLatin1String("id")).toString();
    const auto reply = Store::ccFindReply({m}, id);
    check(!reply || reply->value(QLatin1String("kind")).toString() == QLatin1String("r"));
    check(!reply || reply->value(QLatin1String("id")).toString() == id);
    readReply(reply.value_or(parsed));

    const QString line = ccStatusLineOf(text);
    check(!line.isEmpty() && (line == QStringLiteral("Claude is working…") || text.contains(line)));
    checkChunks(text);
    if (const auto url = deployURL(DeployTarget{QStringLiteral("web"), text, std::nullopt}))
        check(url->isValid() && !url->host().isEmpty());
    check(prettyURL(text).size() <= text.size());
    return 0;
}
