#pragma once

// Record decoders over JsonReader with the same rules as the QJsonObject
// ones (model/Json.h): a record lists its keys once, members of type
// std::optional are optional and every other member is required.
//
//   bool User::read(json::JsonReader& r, User& out) {
//       static constexpr json::Fields fields{json::field("id", &User::id), ...};
//       return fields.read(r, out);
//   }
//
// Keys are matched on their raw bytes, starting after the previous match
// since senders keep a stable order. As in QJsonObject, a later duplicate
// key replaces an earlier one, so a key that failed is only fatal if no
// later occurrence replaces it; a mismatching value is therefore consumed
// and reported by returning false, and only broken text throws.

#include "model/JsonReader.h"

#include <QList>
#include <QMap>
#include <QSet>
#include <array>
#include <bit>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

namespace json {

template <typename T>
concept Readable = requires(JsonReader& r, T& t) {
    { T::read(r, t) } -> std::same_as<bool>;
};

// Each readValue consumes one value into a default-constructed `out` and
// returns false (having noted the problem) when the value does not fit.
bool readValue(JsonReader& r, qint64& out);
bool readValue(JsonReader& r, double& out);
bool readValue(JsonReader& r, bool& out);
bool readValue(JsonReader& r, QString& out);
template <typename E>
requires std::is_enum_v<E>
bool readValue(JsonReader& r, E& out);
template <Readable T>
bool readValue(JsonReader& r, T& out);
template <typename T>
bool readValue(JsonReader& r, QList<T>& out);
template <typename T>
bool readValue(JsonReader& r, QMap<QString, T>& out);

// Skips a value of the wrong type.
bool mismatch(JsonReader& r, const char* problem);

template <typename E>
requires std::is_enum_v<E>
bool readValue(JsonReader& r, E& out) {
    if (r.peek() != JsonReader::Type::String) return mismatch(r, "is not a string");
    const auto value = enumFromWire(r.readString(), static_cast<E*>(nullptr));
    if (!value) {
        r.noteProblem("has an unknown value");
        return false;
    }
    out = *value;
    return true;
}

template <Readable T>
bool readValue(JsonReader& r, T& out) {
    return T::read(r, out);
}

template <typename T>
bool readValue(JsonReader& r, QList<T>& out) {
    if (r.peek() != JsonReader::Type::Array) return mismatch(r, "is not an array");
    r.beginArray();
    bool ok = true;
    while (r.nextElement()) {
        out.emplace_back();
        ok = readValue(r, out.back()) && ok;
    }
    return ok;
}

template <typename T>
bool readValue(JsonReader& r, QMap<QString, T>& out) {
    if (r.peek() != JsonReader::Type::Object) return mismatch(r, "is not an object");
    r.beginObject();
    QSet<QString> failed; // keys whose last occurrence so far did not fit
    while (r.nextKey()) {
        const QString key = r.key();
        T value{};
        if (readValue(r, value)) {
            failed.remove(key);
            out.insert(key, std::move(value));
        } else {
            failed.insert(key);
        }
    }
    return failed.isEmpty();
}

template <typename T, typename M>
struct Field {
    std::string_view name;
    M T::*member;
};

template <typename T, typename M, size_t N>
constexpr Field<T, M> field(const char (&name)[N], M T::*member) {
    return {std::string_view(name, N - 1), member};
}

template <typename M>
inline constexpr bool isOptional = false;
template <typename M>
inline constexpr bool isOptional<std::optional<M>> = true;

// How one occurrence of a key went.
enum class Got : quint8 { Value, Null, Bad };

template <typename M>
Got readMember(JsonReader& r, M& out) {
    if (r.peek() == JsonReader::Type::Null) {
        r.readNull();
        out = M();
        return Got::Null;
    }
    if constexpr (isOptional<M>) {
        out.emplace();
        return readValue(r, *out) ? Got::Value : Got::Bad;
    } else {
        out = M();
        return readValue(r, out) ? Got::Value : Got::Bad;
    }
}

template <typename T, typename... M>
class Fields {
public:
    static constexpr size_t count = sizeof...(M);
    static_assert(count > 0 && count <= 32);

    constexpr Fields(Field<T, M>... fields) : m_fields(fields...), m_names{fields.name...} {
        size_t i = 0;
        ((m_required |= (isOptional<M> ? 0u : 1u) << i++), ...);
    }

    bool read(JsonReader& r, T& out) const {
        if (r.peek() != JsonReader::Type::Object) return mismatch(r, "is not an object");
        r.beginObject();
        quint32 seen = 0;
        quint32 bad = 0;
        size_t hint = 0;
        while (r.nextKey()) {
            const int i = find(r, hint);
            if (i < 0) {
                r.skipValue();
                continue;
            }
            const quint32 bit = 1u << i;
            const Got got = readAt(r, out, size_t(i), std::make_index_sequence<count>());
            if (got == Got::Bad) {
                r.noteKey(m_names[size_t(i)]);
                bad |= bit;
                seen &= ~bit;
                continue;
            }
            if (bad & bit) {
                bad &= ~bit;
                if (!bad) r.clearProblem(); // a later duplicate replaced the failed one
            }
            seen = got == Got::Value ? seen | bit : seen & ~bit;
        }
        return check(r, seen, bad);
    }

private:
    int find(const JsonReader& r, size_t& hint) const {
        if (r.keyEscaped()) return findDecoded(r.key());
        const std::string_view key = r.rawKey();
        for (size_t n = 0; n < count; ++n) {
            const size_t i = hint + n < count ? hint + n : hint + n - count;
            if (m_names[i] == key) {
                hint = i + 1;
                return int(i);
            }
        }
        return -1;
    }

    int findDecoded(const QString& key) const {
        for (size_t i = 0; i < count; ++i)
            if (key == QLatin1StringView(m_names[i].data(), qsizetype(m_names[i].size())))
                return int(i);
        return -1;
    }

    template <size_t... I>
    Got readAt(JsonReader& r, T& out, size_t i, std::index_sequence<I...>) const {
        Got got = Got::Bad;
        (void)((i == I && (got = readMember(r, out.*std::get<I>(m_fields).member), true)) || ...);
        return got;
    }

    bool check(JsonReader& r, quint32 seen, quint32 bad) const {
        const quint32 failed = bad | (m_required & ~seen);
        if (!failed) return true;
        const int first = std::countr_zero(failed);
        r.noteProblem(bad & (1u << first) ? "is invalid" : "is missing");
        r.noteKey(m_names[size_t(first)]);
        return false;
    }

    std::tuple<Field<T, M>...> m_fields;
    std::array<std::string_view, count> m_names;
    quint32 m_required = 0;
};

} // namespace json
