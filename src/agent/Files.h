#pragma once

// Pure helpers of the remote file views: byte counts, icons, entry paths and
// the plan of a chunked write.

#include "model/AgentTypes.h"

#include <QJsonObject>
#include <QString>

// "1023 B", "1.5 KB", "10 KB", up to GB.
QString sizeString(qint64 bytes);

// The symbol for a file name, by its lower-cased extension.
QString fileIcon(const QString& name);
inline QString folderIcon() {
    return QStringLiteral("folder.fill");
}

// A listing's path and an entry name, with one "/" between them.
QString entryPath(const QString& listingPath, const QString& name);

// The requests of a chunked write: at most `maxBytes` UTF-8 bytes each, the
// first replacing and the rest appending; an empty text is one empty request
// so that an emptied file really is emptied.
QList<CCWriteStep> ccWritePlan(const QString& content, int maxBytes = 28000);

// The name typed for a new env file, trimmed of blanks and tabs, if it may be
// one: it starts with ".env" and stays in the folder root.
std::optional<QString> validEnvFileName(const QString& typed);

inline constexpr qint64 fileViewerCap = 524288;

// Readers of host replies; lenient on purpose, the host's fields are optional.
CCListing listingFromReply(const QJsonObject& reply, const QString& askedPath);
std::optional<CCDirListing> dirListingFromReply(const QJsonObject& reply, const QString& askedPath);
CCFileChunk fileChunkFromReply(const QJsonObject& reply);
