// The person's own profile on the primary server, and the pictures of people
// and groups.

#include "BuildSettings.h"
#include "conversations/Geocoder.h"
#include "store/Store.h"

Geocoder& Store::geocoder() {
    if (!m_geocoder)
        m_geocoder = std::make_shared<NominatimGeocoder>(
            QUrl(QString::fromUtf8(BuildSettings::geocoderUrl)));
    return *m_geocoder;
}

void Store::setGeocoder(std::shared_ptr<Geocoder> geocoder) {
    m_geocoder = std::move(geocoder);
}

void Store::adoptProfile(const User& user) {
    upsertUser(user);
    if (m_me && m_me->id == user.id) {
        m_me = user;
        persistMe();
    }
}

QCoro::Task<> Store::updateUsername(QString username) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->updateUsername(username);
        const User user = co_await call;
        if (self) adoptProfile(user);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::updateProfileInfo(QString competence, QString experience) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->updateProfileInfo(competence, experience);
        const User user = co_await call;
        if (self) adoptProfile(user);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::updateContact(QString email, QString phone) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->updateContact(email, phone);
        const User user = co_await call;
        if (self) adoptProfile(user);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<bool> Store::updateAddress(QString text) {
    QPointer<Store> self(this);
    if (!api()) co_return false;
    std::optional<GeoPoint> point;
    // An empty address clears it: nothing to look up.
    if (!text.isEmpty()) {
        auto lookup = geocoder().geocode(text);
        point = co_await lookup;
        if (!self) co_return false;
    }
    const auto primary = api();
    if (!primary) co_return false;
    const std::optional<double> lat = point ? std::optional(point->lat) : std::nullopt;
    const std::optional<double> lon = point ? std::optional(point->lon) : std::nullopt;
    try {
        auto call = primary->updateAddress(text, lat, lon);
        const User user = co_await call;
        if (!self) co_return false;
        adoptProfile(user);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
        co_return false;
    }
    if (!text.isEmpty() && !point)
        showToast(L(QStringLiteral("Address saved, but it couldn't be located on the map")));
    co_return true;
}

QCoro::Task<> Store::uploadAvatar(QByteArray jpeg) {
    QPointer<Store> self(this);
    const auto primary = api();
    if (!primary) co_return;
    try {
        auto call = primary->uploadAvatar(jpeg);
        const User user = co_await call;
        if (self) adoptProfile(user);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}

QCoro::Task<> Store::uploadGroupAvatar(qint64 chatId, QByteArray jpeg) {
    QPointer<Store> self(this);
    const auto r = route(chatId);
    if (!r) co_return;
    try {
        auto call = r->api.uploadChatAvatar(r->real, jpeg);
        ChatSummary updated = co_await call;
        if (!self) co_return;
        remap(updated, r->server);
        upsertChat(updated);
    } catch (const std::exception& e) {
        if (self) setLastError(describeError(e));
    }
}
