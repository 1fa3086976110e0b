#pragma once

// Strict JSON decoding: a required key that is missing, null or of the wrong
// type throws DecodeError; optional keys may be missing or null; unknown keys
// are ignored. Records implement `static T fromJson(const QJsonObject&)` and
// `QJsonObject toJson() const`. Records decoded on hot paths also implement
// `static bool read(json::JsonReader&, T&)` (model/JsonFields.h), which
// decode<T> then uses instead of building a QJsonDocument.

#include "model/Errors.h"
#include "model/JsonFields.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <optional>
#include <type_traits>

namespace json {

[[noreturn]] void fail(QLatin1StringView key, const char* problem);

template <typename T>
struct Codec;

template <>
struct Codec<qint64> {
    static qint64 decode(const QJsonValue& v, QLatin1StringView key);
    static QJsonValue encode(qint64 v) { return QJsonValue(v); }
};
template <>
struct Codec<int> {
    static int decode(const QJsonValue& v, QLatin1StringView key);
    static QJsonValue encode(int v) { return QJsonValue(v); }
};
template <>
struct Codec<double> {
    static double decode(const QJsonValue& v, QLatin1StringView key);
    static QJsonValue encode(double v) { return QJsonValue(v); }
};
template <>
struct Codec<bool> {
    static bool decode(const QJsonValue& v, QLatin1StringView key);
    static QJsonValue encode(bool v) { return QJsonValue(v); }
};
template <>
struct Codec<QString> {
    static QString decode(const QJsonValue& v, QLatin1StringView key);
    static QJsonValue encode(const QString& v) { return QJsonValue(v); }
};

template <typename T>
struct Codec<QList<T>> {
    static QList<T> decode(const QJsonValue& v, QLatin1StringView key) {
        if (!v.isArray()) fail(key, "is not an array");
        const QJsonArray arr = v.toArray();
        QList<T> out;
        out.reserve(arr.size());
        for (const QJsonValue& item : arr)
            out.push_back(Codec<T>::decode(item, key));
        return out;
    }
    static QJsonValue encode(const QList<T>& list) {
        QJsonArray arr;
        for (const T& item : list)
            arr.append(Codec<T>::encode(item));
        return arr;
    }
};

template <typename T>
struct Codec<QMap<QString, T>> {
    static QMap<QString, T> decode(const QJsonValue& v, QLatin1StringView key) {
        if (!v.isObject()) fail(key, "is not an object");
        const QJsonObject obj = v.toObject();
        QMap<QString, T> out;
        for (auto it = obj.begin(); it != obj.end(); ++it)
            out.insert(it.key(), Codec<T>::decode(it.value(), key));
        return out;
    }
    static QJsonValue encode(const QMap<QString, T>& map) {
        QJsonObject obj;
        for (auto it = map.begin(); it != map.end(); ++it)
            obj.insert(it.key(), Codec<T>::encode(it.value()));
        return obj;
    }
};

// Records: anything with fromJson/toJson.
template <typename T>
concept Record = requires(const QJsonObject& o, const T& t) {
    { T::fromJson(o) } -> std::same_as<T>;
    { t.toJson() } -> std::same_as<QJsonObject>;
};

template <Record T>
struct Codec<T> {
    static T decode(const QJsonValue& v, QLatin1StringView key) {
        if (!v.isObject()) fail(key, "is not an object");
        return T::fromJson(v.toObject());
    }
    static QJsonValue encode(const T& t) { return t.toJson(); }
};

// Enumerations with fixed wire texts: `static std::optional<E> fromWire(QString)`,
// `QString toWire(E)` found by argument-dependent lookup.
template <typename T>
requires std::is_enum_v<T>
struct Codec<T> {
    static T decode(const QJsonValue& v, QLatin1StringView key) {
        if (!v.isString()) fail(key, "is not a string");
        auto value = enumFromWire(v.toString(), static_cast<T*>(nullptr));
        if (!value) fail(key, "has an unknown value");
        return *value;
    }
    static QJsonValue encode(T v) { return toWire(v); }
};

template <typename T>
T req(const QJsonObject& o, QLatin1StringView key) {
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull()) fail(key, "is missing");
    return Codec<T>::decode(v, key);
}

template <typename T>
std::optional<T> opt(const QJsonObject& o, QLatin1StringView key) {
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull()) return std::nullopt;
    return Codec<T>::decode(v, key);
}

template <typename T>
void put(QJsonObject& o, QLatin1StringView key, const T& value) {
    o.insert(key, Codec<T>::encode(value));
}

template <typename T>
void put(QJsonObject& o, QLatin1StringView key, const std::optional<T>& value) {
    if (value) o.insert(key, Codec<T>::encode(*value));
}

// Whole documents.
QJsonValue parse(const QByteArray& bytes);

// Through QJsonDocument, whatever the type.
template <typename T>
T decodeViaDocument(const QByteArray& bytes) {
    return Codec<T>::decode(parse(bytes), QLatin1StringView("<root>"));
}

// Straight from the bytes, for records with a reader decoder.
template <Readable T>
T readDocument(QByteArrayView bytes) {
    JsonReader reader(bytes);
    T out;
    if (!T::read(reader, out)) reader.throwProblem();
    reader.finish();
    return out;
}

template <typename T>
T decode(const QByteArray& bytes) {
    if constexpr (Readable<T>)
        return readDocument<T>(bytes);
    else
        return decodeViaDocument<T>(bytes);
}

template <typename T>
std::optional<T> tryDecode(const QByteArray& bytes) {
    try {
        return decode<T>(bytes);
    } catch (const DecodeError&) {
        // Callers that can do without the value asked for exactly this.
        return std::nullopt;
    }
}

template <typename T>
QByteArray encode(const T& value) {
    const QJsonValue v = Codec<T>::encode(value);
    if (v.isArray()) return QJsonDocument(v.toArray()).toJson(QJsonDocument::Compact);
    if (v.isObject()) return QJsonDocument(v.toObject()).toJson(QJsonDocument::Compact);
    QJsonArray wrapper{v};
    QByteArray text = QJsonDocument(wrapper).toJson(QJsonDocument::Compact);
    return text.mid(1, text.size() - 2);
}

} // namespace json
