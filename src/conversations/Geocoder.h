#pragma once

// Turns an address into a map coordinate. The profile's address is geocoded
// once when it is saved; the service is a deployment setting, and tests give
// the store one of their own.

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <QUrl>
#include <optional>

struct GeoPoint {
    double lat = 0;
    double lon = 0;
    bool operator==(const GeoPoint&) const = default;
};

class Geocoder {
public:
    virtual ~Geocoder();
    // The first match, or none; never throws.
    virtual QCoro::Task<std::optional<GeoPoint>> geocode(QString address) = 0;
};

// A Nominatim-style search service: GET <base>/search?q=...&format=json&limit=1,
// answered by an array of places whose "lat" and "lon" are decimal texts.
class NominatimGeocoder : public Geocoder {
public:
    explicit NominatimGeocoder(QUrl base);
    QCoro::Task<std::optional<GeoPoint>> geocode(QString address) override;
    QUrl searchUrl(const QString& address) const;

private:
    QUrl m_base;
};

// The first place of a Nominatim reply with a valid coordinate; none for any
// other input.
std::optional<GeoPoint> parseNominatimReply(const QByteArray& body);
