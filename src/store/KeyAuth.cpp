// Moving a name login onto a token bound to this device's key.

#include "core/Logging.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"
#include "store/Store.h"

QString Store::keyRegisteredKey(const QUrl& base) {
    return PrefKey::deviceKeyRegisteredPrefix + PinRegistry::hostPort(base);
}

bool Store::keyRegistered(const QUrl& base) {
    Prefs& prefs = Prefs::shared();
    if (prefs.boolean(keyRegisteredKey(base)).value_or(false)) return true;
    // Earlier builds keyed an extra server by its whole address.
    const QString older = PrefKey::deviceKeyRegisteredPrefix + base.toString();
    if (!prefs.boolean(older).value_or(false)) return false;
    prefs.setValue(keyRegisteredKey(base), true);
    prefs.remove(older);
    return true;
}

bool Store::pinnable(const QUrl& url) {
    return url.scheme() == QLatin1String("http");
}

QCoro::Task<> Store::upgradeKeyAuth() {
    QPointer<Store> self(this);
    const auto first = api();
    if (!first || !token()) co_return;
    const QString hostPort = PinRegistry::hostPort(first->base);
    if (!PinRegistry::shared().pin(hostPort)) {
        Api::ServerIdentityResponse identity;
        try {
            auto call = first->serverIdentity();
            identity = co_await call;
        } catch (const std::exception& e) {
            if (self)
                qCInfo(lcStore).noquote()
                    << "[Velmarin] key migration failed (will retry next launch):"
                    << describeError(e);
            co_return;
        }
        if (!self) co_return;
        PinRegistry::shared().setPin(identity.fingerprint, hostPort);
        // Bring the socket onto TLS now that the server is pinned.
        connectWS();
    }
    if (keyRegistered(first->base)) co_return;
    co_await DeviceKey::load();
    if (!self) co_return;
    const auto pubkey = DeviceKey::publicKeyB64();
    if (!pubkey) {
        qCInfo(lcStore).noquote() << "[Velmarin] key migration: no device key (Keychain)";
        co_return;
    }
    const auto upgradedApi = api();
    if (!upgradedApi) co_return;
    try {
        auto call = upgradedApi->keyRegister(*pubkey, clientDeviceName());
        const Api::KeyAuthResponse reply = co_await call;
        if (!self) co_return;
        setPrimaryToken(reply.token);
        persistMe();
        Prefs::shared().setValue(keyRegisteredKey(first->base), true);
        qCInfo(lcStore).noquote()
            << "[Velmarin] key migration: this device now uses its own key-bound token";
        emit sessionChanged();
        connectWS();
    } catch (const std::exception& e) {
        if (self)
            qCInfo(lcStore).noquote()
                << "[Velmarin] key migration failed (will retry next launch):" << describeError(e);
    }
}
