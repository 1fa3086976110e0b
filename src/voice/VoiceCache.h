#pragma once

// Voice messages fetched from a server are kept on disk so that playing one
// again needs no download. The folder is kept small: files not played for a
// month go, then the least recently played until the rest fits the budget.

#include <QDateTime>
#include <QString>

namespace voice {

struct CacheBudget {
    qint64 maxBytes = 256LL * 1024 * 1024;
    int maxAgeDays = 30;
};

// The folder the player caches into; created on first use.
QString voiceCacheDir();
// Removes what falls outside the budget; returns how many files went.
int pruneVoiceCache(const QString& dir, const CacheBudget& budget, const QDateTime& now);
// A cached file just played counts as recent.
void touchCachedFile(const QString& path, const QDateTime& now);

} // namespace voice
