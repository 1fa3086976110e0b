#include "support/Accounts.h"

#include "store/Prefs.h"
#include "support/ClientEnv.h"
#include "support/TestKey.h"

#include <QHash>
#include <QTest>
#include <QWebSocket>

namespace {

// A token of each account that some device of this test process holds, by
// server and name: the "device already signed in" that pairs a new one.
QHash<QString, QString>& signedInDevices() {
    static QHash<QString, QString> tokens;
    return tokens;
}

QString deviceSlot(const ServerProcess& server, const QString& name) {
    return server.httpUrl() + u'|' + name.toLower();
}

// Once a device key guards the account its name no longer signs in: a new
// device pairs with a code from one that is signed in, as a person would.
Account pairNewDevice(const ServerProcess& server, const QString& name) {
    const QString known = signedInDevices().value(deviceSlot(server, name));
    if (known.isEmpty()) throw std::runtime_error("no signed-in device to pair from");
    const Api::PairCodeResponse code = await(Api(QUrl(server.httpUrl()), known).pairCode());
    const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
    const Api::KeyAuthResponse paired =
        await(anonymous.pair(code.code, TestKey().publicKey(), QStringLiteral("test device")));
    return {Api(QUrl(server.httpUrl()), paired.token), paired.user};
}

} // namespace

Account signIn(const ServerProcess& server, const QString& name) {
    const Account account = [&] {
        try {
            const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
            const LoginResponse login = await(anonymous.login(name));
            return Account{Api(QUrl(server.httpUrl()), login.token), login.user};
        } catch (const std::exception&) {
            if (!signedInDevices().contains(deviceSlot(server, name))) throw;
            return pairNewDevice(server, name);
        }
    }();
    signedInDevices().insert(deviceSlot(server, name), *account.api.token);
    return account;
}

std::unique_ptr<Store> launchSignedIn(const ServerProcess& server, const QString& name,
                                      double timeScale) {
    const Account account = signIn(server, name);
    Prefs::shared().setValue(QStringLiteral("primaryBaseURL"), server.httpUrl());
    Prefs::shared().setValue(QStringLiteral("token"), *account.api.token);
    Prefs::shared().writeJson(QStringLiteral("me"), account.user);
    auto store = std::make_unique<Store>(StoreOptions{timeScale});
    const QString registered = Store::keyRegisteredKey(QUrl(server.httpUrl()));
    const bool settled = QTest::qWaitFor(
        [&] {
            return store->wsConnected && store->didBootstrap &&
                   Prefs::shared().boolean(registered).value_or(false);
        },
        15000);
    if (!settled) qWarning("launchSignedIn: the store did not settle");
    // The key registration ended the name token: this store is now the
    // signed-in device of the account.
    if (store->token) signedInDevices().insert(deviceSlot(server, name), *store->token);
    // The token upgrade replaces the socket, and that socket's first resync may
    // still be in flight: one more resync here lets it land before the test
    // changes anything a late bootstrap could overwrite.
    if (settled) await(store->resync());
    return store;
}

ChatSummary directChat(const Account& from, const Account& to) {
    return await(from.api.createDirect(to.user.id));
}
