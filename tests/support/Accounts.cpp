#include "support/Accounts.h"

#include "core/Prefs.h"
#include "store/ServerLink.h"
#include "support/ClientEnv.h"
#include "support/ServerClient.h"
#include "support/TestKey.h"

#include <QHash>
#include <QJsonObject>
#include <QTest>
#include <QWebSocket>
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

// What this test process keeps of each account, by server and name, to sign
// it in again once a device key guards it and its name no longer does: a
// pairing code got while it was signed in by name, and the key of a test
// device paired with it, as a person's second device would have.
struct Kept {
    QString pairingCode;
    std::shared_ptr<TestKey> deviceKey;
};

QHash<QString, Kept>& kept() {
    static QHash<QString, Kept> all;
    return all;
}

QString slotOf(const ServerProcess& server, const QString& name) {
    return server.httpUrl() + u'|' + name.toLower();
}

Account accountAt(const ServerProcess& server, const Api::KeyAuthResponse& reply) {
    return {Api(QUrl(server.httpUrl()), reply.token), reply.user};
}

std::optional<Account> nameLogin(const ServerProcess& server, const QString& name) {
    try {
        const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
        const LoginResponse login = await(anonymous.login(name));
        return Account{Api(QUrl(server.httpUrl()), login.token), login.user};
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// A challenge signed by the kept test device's key; none when that key is
// unknown there (a restarted server keeps keys, a new one on the port does not).
std::optional<Account> keyLogin(const ServerProcess& server, const QString& name) {
    const std::shared_ptr<TestKey> key = kept().value(slotOf(server, name)).deviceKey;
    if (!key) return std::nullopt;
    ServerClient client(server.httpUrl());
    const QJsonObject pubkey{{QStringLiteral("pubkey"), key->publicKey()}};
    const HttpResult challenge = client.post(QStringLiteral("api/key/challenge"), pubkey);
    if (challenge.status != 200) return std::nullopt;
    QJsonObject signedBody = pubkey;
    signedBody.insert(QStringLiteral("signature"),
                      key->sign(challenge.json.value(QStringLiteral("nonce")).toString()));
    const HttpResult login = client.post(QStringLiteral("api/key/login"), signedBody);
    if (login.status != 200) return std::nullopt;
    return accountAt(server, Api::KeyAuthResponse::fromJson(login.json));
}

Account pairNewDevice(const ServerProcess& server, const QString& name) {
    Kept& mine = kept()[slotOf(server, name)];
    const QString code = std::exchange(mine.pairingCode, QString());
    if (code.isEmpty())
        throw std::runtime_error("a device key guards this test account and no code pairs it");
    auto key = std::make_shared<TestKey>();
    const Api anonymous(QUrl(server.httpUrl()), std::nullopt);
    const Api::KeyAuthResponse paired =
        await(anonymous.pair(code, key->publicKey(), QStringLiteral("test device")));
    mine.deviceKey = std::move(key);
    return accountAt(server, paired);
}

} // namespace

Account signIn(const ServerProcess& server, const QString& name) {
    if (std::optional<Account> byName = nameLogin(server, name)) {
        kept()[slotOf(server, name)].pairingCode = await(byName->api.pairCode()).code;
        return *byName;
    }
    if (std::optional<Account> byKey = keyLogin(server, name)) return *byKey;
    return pairNewDevice(server, name);
}

std::unique_ptr<Store> launchSignedIn(const ServerProcess& server, const QString& name,
                                      double timeScale) {
    const Account account = signIn(server, name);
    Prefs::shared().setValue(QStringLiteral("primaryBaseURL"), server.httpUrl());
    Prefs::shared().setValue(QStringLiteral("token"), *account.api.token);
    Prefs::shared().writeJson(QStringLiteral("me"), account.user);
    auto store = std::make_unique<Store>(StoreOptions{timeScale});
    const QString registered = Store::keyRegisteredKey(QUrl(server.httpUrl()));
    // The key registration replaces the socket, whose first pong resyncs once
    // more; a frame the replaced socket still delivers starts another, so the
    // store is settled once that socket is gone too.
    const auto onlyCurrentSocket = [&] {
        const ServerLink* link = store->link(0);
        return link && link->findChildren<QWebSocket*>(Qt::FindDirectChildrenOnly).size() == 1;
    };
    const bool settled = QTest::qWaitFor(
        [&] {
            return store->linkUp(0) && store->didBootstrap() && !store->resyncRunning() &&
                   Prefs::shared().boolean(registered).value_or(false) && onlyCurrentSocket();
        },
        15000);
    if (!settled) qWarning("launchSignedIn: the store did not settle");
    return store;
}

bool keyBoundOn(const ServerProcess& server) {
    return Store::keyRegistered(QUrl(server.httpUrl()));
}

ChatSummary directChat(const Account& from, const Account& to) {
    return await(from.api.createDirect(to.user.id));
}
