// The host's file system, reached only through control requests: folder
// browsing to start a session, a session's files, downloads, and the two
// small text files a session keeps (CLAUDE.md, .env files). Every byte rides
// in chat messages, so transfers are chunked and bounded.

#include "agent/Files.h"

#include "net/Pinning.h"
#include "store/Store.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTextBoundaryFinder>
#include <QUuid>
#include <qcoro/qcoronetworkreply.h>

namespace {
constexpr int writeChunkBytes = 28000;
constexpr int maxReadRounds = 500;

int utf8Length(QStringView s) {
    int bytes = 0;
    for (qsizetype i = 0; i < s.size(); ++i) {
        const char16_t u = s[i].unicode();
        if (u < 0x80) {
            bytes += 1;
        } else if (u < 0x800) {
            bytes += 2;
        } else if (QChar::isHighSurrogate(u) && i + 1 < s.size() && s[i + 1].isLowSurrogate()) {
            bytes += 4;
            ++i;
        } else {
            bytes += 3;
        }
    }
    return bytes;
}

CCFolder folderFrom(const QJsonValue& value) {
    const QJsonObject o = value.toObject();
    CCFolder folder{o.value(QLatin1String("n")).toString(), o.value(QLatin1String("p")).toString(),
                    std::nullopt};
    if (const QJsonValue d = o.value(QLatin1String("d")); d.isArray()) {
        QList<CCFolder> children;
        for (const QJsonValue& child : d.toArray())
            if (child.isObject()) children.push_back(folderFrom(child));
        folder.children = children;
    }
    return folder;
}

std::optional<QString> optionalString(const QJsonObject& o, QLatin1StringView key) {
    const QJsonValue v = o.value(key);
    if (!v.isString()) return std::nullopt;
    return v.toString();
}

QString errOf(const QJsonObject& reply) {
    return reply.value(QLatin1String("err")).toString();
}
} // namespace

// MARK: Pure helpers

QString sizeString(qint64 bytes) {
    if (bytes < 1024) return QStringLiteral("%1 B").arg(bytes);
    static const char* const units[] = {"KB", "MB", "GB"};
    double value = double(bytes) / 1024.0;
    int unit = 0;
    while (value >= 1024.0 && unit < 2) {
        value /= 1024.0;
        ++unit;
    }
    const QString number = QString::number(value, 'f', value < 10 ? 1 : 0);
    return number + QLatin1Char(' ') + QLatin1String(units[unit]);
}

QString fileIcon(const QString& name) {
    static const QHash<QString, QString> byExtension = [] {
        QHash<QString, QString> table;
        const auto add = [&table](const char* list, const char* symbol) {
            for (const QString& ext : QString::fromLatin1(list).split(QLatin1Char(' ')))
                table.insert(ext, QString::fromLatin1(symbol));
        };
        add("swift rs c h cpp m mm java kt go rb py js jsx ts tsx php cs sh bash zsh pl",
            "chevron.left.forwardslash.chevron.right");
        add("json yml yaml toml xml plist ini cfg conf lock", "doc.text.fill");
        add("md markdown txt rtf log", "doc.plaintext");
        add("png jpg jpeg gif heic webp svg ico bmp", "photo");
        add("pdf", "doc.richtext");
        add("zip gz tar tgz bz2 7z rar", "archivebox");
        add("html htm css scss", "globe");
        return table;
    }();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot >= 0) {
        const auto it = byExtension.constFind(name.mid(dot + 1).toLower());
        if (it != byExtension.constEnd()) return *it;
    }
    return name.startsWith(QLatin1Char('.')) ? QStringLiteral("gearshape") : QStringLiteral("doc");
}

QString entryPath(const QString& listingPath, const QString& name) {
    if (listingPath.endsWith(QLatin1Char('/'))) return listingPath + name;
    return listingPath + QLatin1Char('/') + name;
}

QStringList Store::chunkUTF8(const QString& text, int maxBytes) {
    QStringList pieces;
    QString piece;
    int pieceBytes = 0;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    // Whole user-perceived characters only: a split one would arrive as two halves.
    for (qsizetype end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary()) {
        const QStringView character = QStringView(text).sliced(start, end - start);
        const int bytes = utf8Length(character);
        if (pieceBytes + bytes > maxBytes && !piece.isEmpty()) {
            pieces.push_back(piece);
            piece.clear();
            pieceBytes = 0;
        }
        piece += character;
        pieceBytes += bytes;
        start = end;
    }
    if (!piece.isEmpty()) pieces.push_back(piece);
    return pieces;
}

QList<CCWriteStep> ccWritePlan(const QString& content, int maxBytes) {
    const QStringList pieces = Store::chunkUTF8(content, maxBytes);
    if (pieces.isEmpty()) return {{QString(), false}};
    QList<CCWriteStep> steps;
    for (const QString& piece : pieces)
        steps.push_back({piece, !steps.isEmpty()});
    return steps;
}

std::optional<QString> validEnvFileName(const QString& typed) {
    qsizetype begin = 0;
    qsizetype end = typed.size();
    while (begin < end && (typed[begin] == u' ' || typed[begin] == u'\t'))
        ++begin;
    while (end > begin && (typed[end - 1] == u' ' || typed[end - 1] == u'\t'))
        --end;
    const QString name = typed.mid(begin, end - begin);
    if (!name.startsWith(QLatin1String(".env")) || name.contains(QLatin1Char('/')))
        return std::nullopt;
    return name;
}

CCListing listingFromReply(const QJsonObject& reply, const QString& askedPath) {
    CCListing listing{optionalString(reply, QLatin1StringView("path")).value_or(askedPath),
                      optionalString(reply, QLatin1StringView("parent")),
                      {}};
    for (const QJsonValue& dir : reply.value(QLatin1String("dirs")).toArray())
        if (dir.isObject()) listing.dirs.push_back(folderFrom(dir));
    return listing;
}

std::optional<CCDirListing> dirListingFromReply(const QJsonObject& reply,
                                                const QString& askedPath) {
    CCDirListing listing;
    listing.path = optionalString(reply, QLatin1StringView("path")).value_or(askedPath);
    listing.parent = optionalString(reply, QLatin1StringView("parent"));
    listing.truncated = reply.value(QLatin1String("truncated")).toBool(false);
    listing.blocked = reply.value(QLatin1String("blocked")).toBool(false);
    // A protected folder still opens, empty, so the view can explain why.
    if (listing.blocked) return listing;
    if (!errOf(reply).isEmpty()) return std::nullopt;
    for (const QJsonValue& item : reply.value(QLatin1String("entries")).toArray()) {
        const QJsonObject o = item.toObject();
        const QString name = o.value(QLatin1String("n")).toString();
        listing.entries.push_back({name, entryPath(listing.path, name),
                                   o.value(QLatin1String("d")).toBool(false),
                                   o.value(QLatin1String("s")).toInteger(0)});
    }
    return listing;
}

CCFileChunk fileChunkFromReply(const QJsonObject& reply) {
    CCFileChunk chunk;
    chunk.text = reply.value(QLatin1String("text")).toString();
    chunk.next = reply.value(QLatin1String("next")).toInteger(0);
    chunk.eof = reply.value(QLatin1String("eof")).toBool(false);
    chunk.size = reply.value(QLatin1String("size")).toInteger(0);
    if (const QString err = errOf(reply); !err.isEmpty()) chunk.err = err;
    return chunk;
}

// MARK: Listings

QCoro::Task<std::optional<CCListing>> Store::ccListDirs(QString path) {
    auto request = ccRequest(QStringLiteral("ls"), path);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return std::nullopt;
    co_return listingFromReply(*reply, path);
}

QCoro::Task<std::optional<CCDirListing>> Store::ccListDir(qint64 chatId, QString path) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("lsdir"), path, extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return std::nullopt;
    co_return dirListingFromReply(*reply, path);
}

QCoro::Task<> Store::ccOpenPrivacySettings() {
    auto request = ccRequest(QStringLiteral("opensettings"), QString());
    co_await request;
}

QCoro::Task<std::optional<CCFileChunk>> Store::ccReadFileChunk(QString path, qint64 offset) {
    const QJsonObject extra{{QStringLiteral("offset"), QJsonValue(offset)}};
    auto request = ccRequest(QStringLiteral("readfile"), path, extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return std::nullopt;
    co_return fileChunkFromReply(*reply);
}

QCoro::Task<CCFileView> Store::ccReadFileForViewer(QString path, qint64 cap) {
    QPointer<Store> self(this);
    CCFileView view;
    qint64 offset = 0;
    bool readSomething = false;
    while (true) {
        auto request = ccReadFileChunk(path, offset);
        const std::optional<CCFileChunk> chunk = co_await request;
        if (!self || !chunk) {
            view.error = QStringLiteral("unreachable");
            break;
        }
        if (chunk->err) {
            if (!readSomething) view.error = chunk->err;
            break;
        }
        view.text += chunk->text;
        readSomething = true;
        // A host that does not advance would keep us here for ever.
        if (chunk->eof || chunk->next <= offset) break;
        if (chunk->next >= cap) {
            view.truncated = true;
            break;
        }
        offset = chunk->next;
    }
    co_return view;
}

// MARK: Whole texts

QCoro::Task<std::optional<QString>> Store::ccReadWholeText(QString op, QJsonObject extra) {
    QPointer<Store> self(this);
    QString text;
    qint64 offset = 0;
    for (int round = 0; round < maxReadRounds; ++round) {
        extra.insert(QStringLiteral("offset"), QJsonValue(offset));
        auto request = ccRequest(op, QString(), extra);
        const std::optional<QJsonObject> reply = co_await request;
        if (!self || !reply) co_return std::nullopt;
        if (const QString err = errOf(*reply); !err.isEmpty()) {
            // Nothing written yet is normal.
            if (err == QLatin1String("not a file")) co_return QString();
            co_return std::nullopt;
        }
        text += reply->value(QLatin1String("text")).toString();
        const qint64 next = reply->value(QLatin1String("next")).toInteger(offset);
        if (reply->value(QLatin1String("eof")).toBool(false) || next <= offset) break;
        offset = next;
    }
    co_return text;
}

QCoro::Task<bool> Store::ccWriteChunked(QString op, QJsonObject extra, QString content) {
    QPointer<Store> self(this);
    for (const CCWriteStep& step : ccWritePlan(content, writeChunkBytes)) {
        extra.insert(QStringLiteral("content"), step.content);
        extra.insert(QStringLiteral("append"), step.append);
        auto request = ccRequest(op, QString(), extra);
        const std::optional<QJsonObject> reply = co_await request;
        // No rollback: a failed piece leaves what came before it on the host.
        if (!self || !reply || reply->value(QLatin1String("ok")) != QJsonValue(true))
            co_return false;
    }
    co_return true;
}

QCoro::Task<std::optional<QString>> Store::ccReadClaudeMd(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    return ccReadWholeText(QStringLiteral("readclaudemd"), extra);
}

QCoro::Task<bool> Store::ccWriteClaudeMd(qint64 chatId, QString content) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    return ccWriteChunked(QStringLiteral("writeclaudemd"), extra, content);
}

QCoro::Task<std::optional<QStringList>> Store::ccListEnvFiles(qint64 chatId) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("listenvfiles"), QString(), extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply || !errOf(*reply).isEmpty()) co_return std::nullopt;
    QStringList files;
    const QJsonValue list = reply->value(QLatin1String("files"));
    const QJsonArray items = list.toArray();
    // Anything but an array of strings counts as no files.
    if (std::all_of(items.begin(), items.end(), [](const QJsonValue& v) { return v.isString(); }))
        for (const QJsonValue& v : items)
            files << v.toString();
    co_return files;
}

QCoro::Task<std::optional<QString>> Store::ccReadEnvFile(qint64 chatId, QString name) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("name"), name}};
    return ccReadWholeText(QStringLiteral("readenvfile"), extra);
}

QCoro::Task<bool> Store::ccWriteEnvFile(qint64 chatId, QString name, QString content) {
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)},
                            {QStringLiteral("name"), name}};
    return ccWriteChunked(QStringLiteral("writeenvfile"), extra, content);
}

// MARK: Download, folders, sessions

QCoro::Task<std::optional<QUrl>> Store::ccDownloadFile(qint64 chatId, QString path, QString name) {
    QPointer<Store> self(this);
    const QJsonObject extra{{QStringLiteral("chatId"), QJsonValue(chatId)}};
    auto request = ccRequest(QStringLiteral("getfile"), path, extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!self || !reply || !errOf(*reply).isEmpty()) co_return std::nullopt;
    const QString relative = reply->value(QLatin1String("url")).toString();
    const auto primary = api();
    if (relative.isEmpty() || !primary) co_return std::nullopt;
    QNetworkRequest fetch(QUrl(primary->base.toString() + relative));
    if (primary->token) fetch.setRawHeader("Authorization", "Bearer " + primary->token->toUtf8());
    PinningDelegate::prepare(fetch);
    QNetworkReply* raw = Api::session().get(fetch);
    PinningDelegate::attach(raw);
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> owner(
        raw, [](QNetworkReply* r) { r->deleteLater(); });
    co_await qCoro(raw).waitForFinished();
    if (!self) co_return std::nullopt;
    const int status = raw->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (raw->error() != QNetworkReply::NoError || status != 200) co_return std::nullopt;
    // A directory of its own keeps the original name for the save that follows.
    const QString dir = QDir::temp().filePath(QStringLiteral("ccfiles/") +
                                              QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!QDir().mkpath(dir)) co_return std::nullopt;
    QFile file(QDir(dir).filePath(name.isEmpty() ? QStringLiteral("file") : name));
    if (!file.open(QIODevice::WriteOnly) || file.write(raw->readAll()) < 0) co_return std::nullopt;
    file.close();
    co_return QUrl::fromLocalFile(file.fileName());
}

QCoro::Task<std::optional<QString>> Store::ccCreateFolder(QString parent, QString name) {
    const QJsonObject extra{{QStringLiteral("name"), name}};
    auto request = ccRequest(QStringLiteral("mkdir"), parent, extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!reply) co_return std::nullopt;
    co_return optionalString(*reply, QLatin1StringView("path"));
}

QCoro::Task<std::optional<qint64>> Store::ccCreateSession(QString path,
                                                          Config::CCPermission permission) {
    QPointer<Store> self(this);
    const QJsonObject extra{{QStringLiteral("perm"), Config::rawValue(permission)}};
    auto request = ccRequest(QStringLiteral("new"), path, extra);
    const std::optional<QJsonObject> reply = co_await request;
    if (!self || !reply) co_return std::nullopt;
    const QJsonValue idValue = reply->value(QLatin1String("chatId"));
    std::optional<qint64> chatId;
    if (idValue.isDouble()) {
        chatId = idValue.toInteger();
    } else if (idValue.isString()) {
        bool ok = false;
        const qint64 parsed = idValue.toString().toLongLong(&ok);
        if (ok) chatId = parsed;
    }
    if (!chatId) co_return std::nullopt;
    m_ccPermissions.insert(*chatId, permission);
    saveCCPermissions();
    // The new conversation must exist here before the caller opens it.
    auto refresh = resync();
    co_await refresh;
    co_return chatId;
}

std::optional<QString> Store::ccWorkdir(qint64 chatId) const {
    const QString dir = m_ccWorkdirs.value(chatId);
    if (dir.isEmpty()) return std::nullopt;
    return dir;
}
