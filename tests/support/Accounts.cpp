#include "support/Accounts.h"

#include "core/Prefs.h"
#include "support/ClientEnv.h"

#include <QTest>
#include <QWebSocket>

Account signIn(const ServerProcess& server, const QString& name) {
    const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
    const LoginResponse login = await(anonymous.login(name));
    return {Api(QUrl(server.httpUrl()), login.token), login.user};
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
            return store->linkUp(0) && store->didBootstrap && !store->resyncRunning() &&
                   Prefs::shared().boolean(registered).value_or(false);
        },
        15000);
    if (!settled) qWarning("launchSignedIn: the store did not settle");
    return store;
}

ChatSummary directChat(const Account& from, const Account& to) {
    return await(from.api.createDirect(to.user.id));
}
