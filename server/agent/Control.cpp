#include "agent/Control.h"

#include "agent/HostMarkers.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <cmath>

namespace control {

std::optional<ControlRequest> parse(const QString& text) {
    if (!marker::isControl(text) || text.size() > kMaxRequestLength) return std::nullopt;
    QJsonParseError error{};
    const QJsonDocument doc =
        QJsonDocument::fromJson(QStringView(text).mid(marker::control.size()).toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    const QJsonObject obj = doc.object();
    const QJsonValue id = obj.value(QStringLiteral("id"));
    const QJsonValue op = obj.value(QStringLiteral("op"));
    const QJsonValue path = obj.value(QStringLiteral("path"));
    if (!id.isString() || id.toString().isEmpty() || !op.isString() || op.toString().isEmpty() ||
        obj.value(QStringLiteral("kind")).toString() != QLatin1String("q"))
        return std::nullopt;
    if (!path.isUndefined() && !path.isString()) return std::nullopt;
    return ControlRequest{id.toString(), op.toString(), path.toString(), obj};
}

QString replyText(const QString& id, QJsonObject fields) {
    fields.insert(QStringLiteral("id"), id);
    fields.insert(QStringLiteral("kind"), QStringLiteral("r"));
    return marker::control +
           QString::fromUtf8(QJsonDocument(fields).toJson(QJsonDocument::Compact));
}

std::optional<qint64> id(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isDouble()) {
        const double d = v.toDouble();
        if (std::floor(d) != d || d <= 0 || d > 9007199254740992.0) return std::nullopt;
        return v.toInteger();
    }
    if (!v.isString()) return std::nullopt;
    bool ok = false;
    const qint64 n = v.toString().toLongLong(&ok);
    if (!ok || n <= 0) return std::nullopt;
    return n;
}

QString text(const QJsonObject& obj, const QString& key) {
    return obj.value(key).toString();
}

std::optional<bool> flag(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isBool()) return v.toBool();
    if (v.isDouble()) return v.toDouble() != 0;
    return std::nullopt;
}

qint64 offset(const QJsonObject& obj) {
    const double d = obj.value(QStringLiteral("offset")).toDouble();
    if (!std::isfinite(d) || d < 0) return 0;
    return d > 9.0e15 ? qint64(9.0e15) : qint64(d);
}

QJsonObject ok() {
    return QJsonObject{{QStringLiteral("ok"), true}};
}

QJsonObject failure(const QString& err) {
    return QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("err"), err}};
}

} // namespace control
