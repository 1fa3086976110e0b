#pragma once

// Maps keyed by a conversation or server number, persisted as JSON objects
// whose keys are the numbers in decimal text. Only this client reads them.

#include "core/Prefs.h"

#include <QHash>

namespace prefsmaps {

template <typename K, typename T>
QHash<K, T> readMap(const QString& key) {
    QHash<K, T> out;
    const auto stored = Prefs::shared().readJson<QMap<QString, T>>(key);
    if (!stored) return out;
    for (auto it = stored->begin(); it != stored->end(); ++it) {
        bool ok = false;
        const qint64 number = it.key().toLongLong(&ok);
        if (ok) out.insert(K(number), it.value());
    }
    return out;
}

template <typename K, typename T>
void writeMap(const QString& key, const QHash<K, T>& map) {
    QMap<QString, T> out;
    for (auto it = map.begin(); it != map.end(); ++it)
        out.insert(QString::number(it.key()), it.value());
    Prefs::shared().writeJson(key, out);
}

template <typename T>
QHash<int, T> readIntMap(const QString& key) {
    return readMap<int, T>(key);
}

template <typename T>
void writeIntMap(const QString& key, const QHash<int, T>& map) {
    writeMap<int, T>(key, map);
}

template <typename T>
QHash<qint64, T> readIdMap(const QString& key) {
    return readMap<qint64, T>(key);
}

template <typename T>
void writeIdMap(const QString& key, const QHash<qint64, T>& map) {
    writeMap<qint64, T>(key, map);
}

} // namespace prefsmaps
