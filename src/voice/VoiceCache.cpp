#include "voice/VoiceCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <algorithm>

namespace voice {

QString voiceCacheDir() {
    const QString dir =
        QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/voice");
    QDir().mkpath(dir);
    return dir;
}

int pruneVoiceCache(const QString& dir, const CacheBudget& budget, const QDateTime& now) {
    QFileInfoList files = QDir(dir).entryInfoList({QStringLiteral("*.m4a")}, QDir::Files);
    // Newest first: what is kept is a prefix of the list.
    std::sort(files.begin(), files.end(), [](const QFileInfo& a, const QFileInfo& b) {
        return a.lastModified() > b.lastModified();
    });
    const QDateTime oldest = now.addDays(-budget.maxAgeDays);
    qint64 kept = 0;
    bool full = false;
    int removed = 0;
    for (const QFileInfo& file : files) {
        full = full || file.lastModified() < oldest || kept + file.size() > budget.maxBytes;
        if (!full)
            kept += file.size();
        else if (QFile::remove(file.absoluteFilePath()))
            ++removed;
    }
    return removed;
}

void touchCachedFile(const QString& path, const QDateTime& now) {
    QFile file(path);
    // Opening for append leaves the content alone; the time is all that changes.
    if (file.open(QIODevice::Append)) file.setFileTime(now, QFileDevice::FileModificationTime);
}

} // namespace voice
