#include "Http.h"

#include <QJsonDocument>
#include <QUrl>
#include <cmath>

bool HttpRequest::fromLoopback() const {
    bool mapped = false;
    const quint32 v4 = peer.toIPv4Address(&mapped);
    if (mapped) return QHostAddress(v4).isLoopback();
    return peer.isLoopback();
}

namespace {

// A Host header or an Origin's host part that names this machine.
bool isLoopbackName(QByteArray host) {
    host = host.trimmed().toLower();
    if (host.startsWith('[')) {
        const qsizetype close = host.indexOf(']');
        return close > 0 && QHostAddress(QString::fromLatin1(host.mid(1, close - 1))).isLoopback();
    }
    const qsizetype colon = host.indexOf(':');
    if (colon >= 0) host.truncate(colon);
    if (host == "localhost") return true;
    QHostAddress address;
    return address.setAddress(QString::fromLatin1(host)) && address.isLoopback();
}

} // namespace

bool HttpRequest::isLocalJson() const {
    if (!fromLoopback() || !isLoopbackName(host)) return false;
    if (!origin.isEmpty()) {
        const QUrl url(QString::fromLatin1(origin));
        if (!url.isValid() || !isLoopbackName(url.host().toLatin1())) return false;
    }
    return contentType.trimmed().toLower().startsWith("application/json");
}

HttpReply HttpReply::json(const QJsonObject& obj, int status) {
    HttpReply reply;
    reply.status = status;
    reply.body = QJsonDocument(obj).toJson(QJsonDocument::Compact);
    return reply;
}

HttpReply HttpReply::error(int status, const QString& message) {
    return json(QJsonObject{{QStringLiteral("error"), message}}, status);
}

namespace body {
namespace {

[[noreturn]] void bad(const QString& key, const char* problem) {
    throw HttpError(400, QStringLiteral("%1 %2").arg(key, QLatin1String(problem)));
}

// JSON numbers arrive as doubles; only whole numbers in the exact range count.
std::optional<qint64> asInteger(const QJsonValue& v) {
    if (!v.isDouble()) return std::nullopt;
    const double d = v.toDouble();
    if (std::floor(d) != d || std::fabs(d) > 9007199254740992.0) return std::nullopt;
    return v.toInteger();
}

} // namespace

QString requireString(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (!v.isString()) bad(key, v.isUndefined() || v.isNull() ? "is missing" : "must be text");
    return v.toString();
}

std::optional<QString> optString(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isUndefined() || v.isNull()) return std::nullopt;
    if (!v.isString()) bad(key, "must be text");
    return v.toString();
}

qint64 requireId(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isUndefined() || v.isNull()) bad(key, "is missing");
    const auto n = asInteger(v);
    if (!n || *n <= 0) bad(key, "must be a positive id");
    return *n;
}

std::optional<qint64> optInt(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isUndefined() || v.isNull()) return std::nullopt;
    const auto n = asInteger(v);
    if (!n) bad(key, "must be a whole number");
    return n;
}

std::optional<bool> optBool(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (v.isUndefined() || v.isNull()) return std::nullopt;
    if (!v.isBool()) bad(key, "must be true or false");
    return v.toBool();
}

QList<qint64> requireIdList(const QJsonObject& obj, const QString& key) {
    const QJsonValue v = obj.value(key);
    if (!v.isArray()) bad(key, "must be a list of ids");
    QList<qint64> out;
    for (const QJsonValue& item : v.toArray()) {
        const auto n = asInteger(item);
        if (!n || *n <= 0) bad(key, "must be a list of ids");
        out.push_back(*n);
    }
    return out;
}

std::optional<qint64> queryInt(const QUrlQuery& query, const QString& key) {
    if (!query.hasQueryItem(key)) return std::nullopt;
    bool ok = false;
    const qint64 n = query.queryItemValue(key).toLongLong(&ok);
    if (!ok) bad(key, "must be a whole number");
    return n;
}

const QString& limitLength(const QString& text, qsizetype max, const QString& what) {
    if (text.size() > max)
        throw HttpError(
            400, QStringLiteral("%1 is too long (at most %2 characters)").arg(what).arg(max));
    return text;
}

} // namespace body
