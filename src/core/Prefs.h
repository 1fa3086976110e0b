#pragma once

// The preferences store: one INI file under the XDG config dir
// ($XDG_CONFIG_HOME/Velmarin/Velmarin.conf). Every persisted key is a
// top-level key; JSON values are stored as bytes.

#include "model/Json.h"

#include <QSettings>
#include <QVariant>
#include <memory>

class Prefs {
public:
    static Prefs& shared();
    // Tests give every case a file of its own.
    static void useFile(const QString& path);
    static void useDefaultLocation();

    bool contains(const QString& key) const;
    QVariant value(const QString& key) const;
    void setValue(const QString& key, const QVariant& value);
    void remove(const QString& key);
    void sync();
    QString fileName() const;

    std::optional<QString> string(const QString& key) const;
    std::optional<bool> boolean(const QString& key) const;
    std::optional<QByteArray> bytes(const QString& key) const;

    // JSON values: a missing or unreadable value is absent, quietly.
    template <typename T>
    std::optional<T> readJson(const QString& key) const {
        const auto data = bytes(key);
        if (!data) return std::nullopt;
        try {
            return json::decode<T>(*data);
        } catch (const std::exception&) {
            // Unreadable counts as absent; the caller's default applies.
            return std::nullopt;
        }
    }

    // A value that fails to encode writes nothing.
    template <typename T>
    void writeJson(const QString& key, const T& value) {
        QByteArray data;
        try {
            data = json::encode(value);
        } catch (const std::exception&) {
            // Nothing is written rather than a value that would not read back.
            return;
        }
        setValue(key, data);
    }

private:
    explicit Prefs(std::unique_ptr<QSettings> settings);
    std::unique_ptr<QSettings> m_settings;
};
