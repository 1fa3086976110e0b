#include "conversations/Geocoder.h"

#include "net/Api.h"

#include <QCoroNetworkReply>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QUrlQuery>
#include <cmath>

namespace {
constexpr int kTimeoutMs = 15000;

std::optional<double> coordinate(const QJsonValue& value, double limit) {
    bool ok = false;
    const double number = value.isString() ? value.toString().toDouble(&ok) : 0;
    if (!ok || !std::isfinite(number) || std::abs(number) > limit) return std::nullopt;
    return number;
}
} // namespace

Geocoder::~Geocoder() = default;

NominatimGeocoder::NominatimGeocoder(QUrl base) : m_base(std::move(base)) {}

QUrl NominatimGeocoder::searchUrl(const QString& address) const {
    QUrl url = m_base;
    QString path = url.path();
    if (!path.endsWith(u'/')) path += u'/';
    url.setPath(path + QStringLiteral("search"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("q"), address);
    query.addQueryItem(QStringLiteral("format"), QStringLiteral("json"));
    query.addQueryItem(QStringLiteral("limit"), QStringLiteral("1"));
    url.setQuery(query);
    return url;
}

QCoro::Task<std::optional<GeoPoint>> NominatimGeocoder::geocode(QString address) {
    QNetworkRequest request(searchUrl(address));
    // The public service refuses requests that do not say who asks.
    request.setHeader(QNetworkRequest::UserAgentHeader,
                      QStringLiteral("Velmarin/%1").arg(clientAppVersion()));
    request.setTransferTimeout(kTimeoutMs);
    QNetworkReply* reply = Api::session().get(request);
    co_await qCoro(reply).waitForFinished(std::chrono::milliseconds(-1));
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError || status < 200 || status > 299)
        co_return std::nullopt;
    co_return parseNominatimReply(reply->readAll());
}

std::optional<GeoPoint> parseNominatimReply(const QByteArray& body) {
    const QJsonDocument doc = QJsonDocument::fromJson(body);
    if (!doc.isArray()) return std::nullopt;
    for (const QJsonValue& place : doc.array()) {
        const QJsonObject o = place.toObject();
        const auto lat = coordinate(o.value(QLatin1String("lat")), 90);
        const auto lon = coordinate(o.value(QLatin1String("lon")), 180);
        if (lat && lon) return GeoPoint{*lat, *lon};
    }
    return std::nullopt;
}
