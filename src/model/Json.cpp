#include "model/Json.h"

#include <QJsonParseError>
#include <limits>

namespace json {

void fail(QLatin1StringView key, const char* problem) {
    throw DecodeError(QStringLiteral("key '%1' %2").arg(key).arg(QLatin1String(problem)));
}

qint64 Codec<qint64>::decode(const QJsonValue& v, QLatin1StringView key) {
    if (!v.isDouble()) fail(key, "is not a number");
    const double d = v.toDouble();
    const qint64 i = v.toInteger();
    if (static_cast<double>(i) != d) fail(key, "is not an integer");
    return i;
}

int Codec<int>::decode(const QJsonValue& v, QLatin1StringView key) {
    const qint64 i = Codec<qint64>::decode(v, key);
    if (i < std::numeric_limits<int>::min() || i > std::numeric_limits<int>::max())
        fail(key, "is out of range");
    return static_cast<int>(i);
}

double Codec<double>::decode(const QJsonValue& v, QLatin1StringView key) {
    if (!v.isDouble()) fail(key, "is not a number");
    return v.toDouble();
}

bool Codec<bool>::decode(const QJsonValue& v, QLatin1StringView key) {
    if (!v.isBool()) fail(key, "is not a boolean");
    return v.toBool();
}

QString Codec<QString>::decode(const QJsonValue& v, QLatin1StringView key) {
    if (!v.isString()) fail(key, "is not a string");
    return v.toString();
}

QJsonValue parse(const QByteArray& bytes) {
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodeError(QStringLiteral("invalid JSON: %1").arg(error.errorString()));
    if (doc.isArray()) return doc.array();
    if (doc.isObject()) return doc.object();
    // QJsonDocument only takes containers; scalars are read through an array.
    const QJsonDocument wrapped = QJsonDocument::fromJson("[" + bytes + "]", &error);
    if (error.error != QJsonParseError::NoError || wrapped.array().size() != 1)
        throw DecodeError(QStringLiteral("invalid JSON"));
    return wrapped.array().first();
}

} // namespace json
