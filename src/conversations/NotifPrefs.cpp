// Notification preferences: kept on this device, told to the primary server.

#include "store/Prefs.h"
#include "store/Store.h"

QCoro::Task<> Store::setNotifPrefs(NotifPrefs prefs) {
    if (notifPrefs != prefs) {
        notifPrefs = prefs;
        Prefs::shared().writeJson(QStringLiteral("notifPrefs"), notifPrefs);
        refreshBadge();
        emit settingsChanged();
    }
    const auto primary = api();
    if (!primary || !token) co_return;
    try {
        auto call = primary->setNotifPrefs(prefs, pushToken);
        co_await call; // nothing of the store is touched afterwards
    } catch (const std::exception&) {
        // The local value stays in force when the server does not take it.
    }
}
