#include "support/Accounts.h"

#include "store/Prefs.h"
#include "support/ClientEnv.h"
#include "support/TestKey.h"

#include <QHash>
#include <QTest>
#include <QWebSocket>

namespace {

// A pairing code of each account, by server and name, that a device of this
// test process got while it was signed in: once a device key guards the
// account its name no longer signs in, and a new device pairs instead, as a
// person's second device would.
QHash<QString, QString>& pairingCodes() {
    static QHash<QString, QString> codes;
    return codes;
}

QString slotOf(const ServerProcess& server, const QString& name) {
    return server.httpUrl() + u'|' + name.toLower();
}

void keepPairingCode(const ServerProcess& server, const QString& name, const Account& account) {
    const Api::PairCodeResponse made = await(account.api.pairCode());
    pairingCodes().insert(slotOf(server, name), made.code);
}

Account pairNewDevice(const ServerProcess& server, const QString& name) {
    const QString code = pairingCodes().take(slotOf(server, name));
    const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
    const Api::KeyAuthResponse paired =
        await(anonymous.pair(code, TestKey().publicKey(), QStringLiteral("test device")));
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
            if (!pairingCodes().contains(slotOf(server, name))) throw;
            return pairNewDevice(server, name);
        }
    }();
    keepPairingCode(server, name, account);
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
            // The key registration replaces the socket, whose first pong resyncs once more.
            return store->wsConnected && store->didBootstrap && !store->resyncRunning() &&
                   Prefs::shared().boolean(registered).value_or(false);
        },
        15000);
    if (!settled) qWarning("launchSignedIn: the store did not settle");
    return store;
}

ChatSummary directChat(const Account& from, const Account& to) {
    return await(from.api.createDirect(to.user.id));
}
