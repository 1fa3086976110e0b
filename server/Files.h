#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// Uploaded bytes on disk under the data directory: media and blobs in
// "media/<n>.<ext>" with an unguessable number n, pictures in "avatars/".
namespace files {

// A lower-case extension of 1 to 10 letters or digits.
bool isValidExt(const QString& ext);

// Stores a media file; returns its number, which also names it in URLs.
qint64 storeMedia(const QString& dataDir, const QByteArray& bytes, const QString& ext);
// The extension of a stored media file, if the number names one.
std::optional<QString> mediaExt(const QString& dataDir, qint64 number);
std::optional<QByteArray> loadMedia(const QString& dataDir, qint64 number);
void removeMedia(const QString& dataDir, qint64 number);
// The path a client resolves against the server's address.
QString mediaUrl(qint64 number);

void storeAvatar(const QString& dataDir, const QString& name, const QByteArray& jpeg);
std::optional<QByteArray> loadAvatar(const QString& dataDir, const QString& name);

QByteArray contentType(const QString& ext);

// What a request with this Range header (empty when none) gets of `bytes`:
// the whole file, one satisfiable range as 206, or 416 for a range past its
// end. Several ranges or a malformed header get the whole file.
struct ByteRange {
    int status = 200;
    qint64 first = 0;
    qint64 last = -1; // inclusive; -1 with an empty file
};
ByteRange byteRange(const QByteArray& rangeHeader, qint64 size);

} // namespace files
