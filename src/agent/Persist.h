#pragma once

// Persisted agent maps whose values are no plain JSON records: sets of ids,
// and enumerations stored by their raw text. A value that does not read is
// dropped, the rest of the map stays.

#include "core/PrefsMaps.h"
#include "model/Config.h"

#include <QSet>
#include <algorithm>

namespace agentprefs {

inline QHash<qint64, QSet<qint64>> readIdSetMap(const QString& key) {
    QHash<qint64, QSet<qint64>> out;
    const auto stored = prefsmaps::readIdMap<QList<qint64>>(key);
    for (auto it = stored.begin(); it != stored.end(); ++it)
        out.insert(it.key(), QSet<qint64>(it->begin(), it->end()));
    return out;
}

inline void writeIdSetMap(const QString& key, const QHash<qint64, QSet<qint64>>& map) {
    QHash<qint64, QList<qint64>> lists;
    for (auto it = map.begin(); it != map.end(); ++it) {
        QList<qint64> ids(it->begin(), it->end());
        std::sort(ids.begin(), ids.end());
        lists.insert(it.key(), ids);
    }
    prefsmaps::writeIdMap(key, lists);
}

template <typename E, typename FromRaw>
QHash<qint64, E> readRawMap(const QString& key, FromRaw fromRaw) {
    QHash<qint64, E> out;
    const auto stored = prefsmaps::readIdMap<QString>(key);
    for (auto it = stored.begin(); it != stored.end(); ++it)
        if (const std::optional<E> value = fromRaw(*it)) out.insert(it.key(), *value);
    return out;
}

template <typename E>
void writeRawMap(const QString& key, const QHash<qint64, E>& map) {
    QHash<qint64, QString> raw;
    for (auto it = map.begin(); it != map.end(); ++it)
        raw.insert(it.key(), Config::rawValue(*it));
    prefsmaps::writeIdMap(key, raw);
}

} // namespace agentprefs
