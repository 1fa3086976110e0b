#include "Files.h"

#include "Http.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSaveFile>

namespace files {
namespace {

// Below 2^53, so the number survives any JSON reader.
constexpr qint64 kNumberRange = qint64(1) << 52;

QString folder(const QString& dataDir, const QString& name) {
    const QString path = QDir(dataDir).filePath(name);
    if (!QDir().mkpath(path)) throw std::runtime_error("cannot create " + path.toStdString());
    return path;
}

void write(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw std::runtime_error("cannot write " + path.toStdString());
}

std::optional<QByteArray> read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll();
}

} // namespace

bool isValidExt(const QString& ext) {
    static const QRegularExpression pattern(QStringLiteral("^[a-z0-9]{1,10}$"));
    return pattern.match(ext).hasMatch();
}

qint64 storeMedia(const QString& dataDir, const QByteArray& bytes, const QString& ext) {
    if (!isValidExt(ext))
        throw HttpError(400, QStringLiteral("ext must be 1 to 10 letters or digits"));
    const QString dir = folder(dataDir, QStringLiteral("media"));
    for (;;) {
        const qint64 number = 1 + QRandomGenerator::system()->bounded(kNumberRange - 1);
        if (mediaExt(dataDir, number)) continue;
        write(QDir(dir).filePath(QStringLiteral("%1.%2").arg(number).arg(ext)), bytes);
        return number;
    }
}

std::optional<QString> mediaExt(const QString& dataDir, qint64 number) {
    const QDir dir(QDir(dataDir).filePath(QStringLiteral("media")));
    const QStringList found =
        dir.entryList({QStringLiteral("%1.*").arg(number)}, QDir::Files | QDir::NoDotAndDotDot);
    if (found.isEmpty()) return std::nullopt;
    return found.first().section(u'.', 1);
}

std::optional<QByteArray> loadMedia(const QString& dataDir, qint64 number) {
    const auto ext = mediaExt(dataDir, number);
    if (!ext) return std::nullopt;
    return read(QDir(dataDir).filePath(QStringLiteral("media/%1.%2").arg(number).arg(*ext)));
}

void removeMedia(const QString& dataDir, qint64 number) {
    if (const auto ext = mediaExt(dataDir, number))
        QFile::remove(QDir(dataDir).filePath(QStringLiteral("media/%1.%2").arg(number).arg(*ext)));
}

QString mediaUrl(qint64 number) {
    return QStringLiteral("/media/%1").arg(number);
}

void storeAvatar(const QString& dataDir, const QString& name, const QByteArray& jpeg) {
    write(QDir(folder(dataDir, QStringLiteral("avatars"))).filePath(name + QStringLiteral(".jpg")),
          jpeg);
}

std::optional<QByteArray> loadAvatar(const QString& dataDir, const QString& name) {
    return read(QDir(dataDir).filePath(QStringLiteral("avatars/%1.jpg").arg(name)));
}

QByteArray contentType(const QString& ext) {
    static const QHash<QString, QByteArray> types{
        {QStringLiteral("jpg"), "image/jpeg"},        {QStringLiteral("jpeg"), "image/jpeg"},
        {QStringLiteral("png"), "image/png"},         {QStringLiteral("gif"), "image/gif"},
        {QStringLiteral("webp"), "image/webp"},       {QStringLiteral("heic"), "image/heic"},
        {QStringLiteral("m4a"), "audio/mp4"},         {QStringLiteral("mp3"), "audio/mpeg"},
        {QStringLiteral("mp4"), "video/mp4"},         {QStringLiteral("mov"), "video/quicktime"},
        {QStringLiteral("pdf"), "application/pdf"},   {QStringLiteral("txt"), "text/plain"},
        {QStringLiteral("json"), "application/json"},
    };
    return types.value(ext, "application/octet-stream");
}

ByteRange byteRange(const QByteArray& rangeHeader, qint64 size) {
    const ByteRange whole{200, 0, size - 1};
    static const QRegularExpression pattern(QStringLiteral("^bytes=(\\d{0,18})-(\\d{0,18})$"));
    const auto match = pattern.match(QString::fromLatin1(rangeHeader.trimmed()));
    if (!match.hasMatch()) return whole;
    const QString from = match.captured(1), to = match.captured(2);
    if (from.isEmpty() && to.isEmpty()) return whole;
    if (from.isEmpty()) { // the last n bytes
        const qint64 n = to.toLongLong();
        if (n == 0 || size == 0) return ByteRange{416, 0, -1};
        return ByteRange{206, std::max<qint64>(0, size - n), size - 1};
    }
    const qint64 first = from.toLongLong();
    qint64 last = to.isEmpty() ? size - 1 : to.toLongLong();
    if (!to.isEmpty() && last < first) return whole;
    if (first >= size) return ByteRange{416, 0, -1};
    return ByteRange{206, first, std::min(last, size - 1)};
}

} // namespace files
