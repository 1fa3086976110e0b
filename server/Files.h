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

} // namespace files
