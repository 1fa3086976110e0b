#include "core/Prefs.h"
#include "net/Api.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"
#include "store/Store.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"
#include "support/StoreSeam.h"

#include <QTest>

// A name login moves onto a device-bound token; a key login needs only a signature.
class TestKeyLogin : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    // A store signed in by name, without the launch tasks racing the test.
    std::unique_ptr<Store> signedInStore(const QString& name) {
        const LoginResponse login = await(Api(QUrl(server->httpUrl()), std::nullopt).login(name));
        auto store = std::make_unique<Store>(StoreOptions{0.01});
        seam(store).setServerURLString(server->httpUrl());
        seam(store).setToken(login.token);
        seam(store).me() = login.user;
        store->persistMe();
        Prefs::shared().setValue("primaryBaseURL", server->httpUrl());
        return store;
    }

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() { env = std::make_unique<ClientEnv>(); }
    void cleanup() { env.reset(); }

    void registersOncePerHostAndPort() {
        QString keyToken;
        {
            auto store = signedInStore("alice");
            const QString nameToken = *store->token();
            await(store->upgradeKeyAuth());
            QVERIFY(PinRegistry::shared().pin(QString("127.0.0.1:%1").arg(server->port())));
            QVERIFY(store->token() && *store->token() != nameToken);
            keyToken = *store->token();
            QCOMPARE(Prefs::shared().string("token"), keyToken);
            QVERIFY(
                Prefs::shared().boolean(Store::keyRegisteredKey(QUrl(server->httpUrl()))).value());
        }
        Store again({0.01}); // a relaunch: its own upgrade runs and must not register again
        QTRY_VERIFY_WITH_TIMEOUT(again.linkUp(0), 10000);
        await(again.upgradeKeyAuth());
        QCOMPARE(*again.token(), keyToken);
        // The key-bound token works over the pinned, upgraded address.
        QCOMPARE(await(again.api()->bootstrap()).me.username, "alice");
    }

    void challengeSignedByThisDevice() {
        auto store = signedInStore("bob");
        await(store->upgradeKeyAuth());
        const Api anonymous(store->api()->base, std::nullopt);
        const Api::KeyAuthResponse reply = await(anonymous.keyLogin());
        QCOMPARE(reply.user.username, "bob");
        QCOMPARE(reply.fingerprint, server->fingerprint());
        QCOMPARE(await(Api(anonymous.base, reply.token).bootstrap()).me.username, "bob");

        // Another device's key was never registered: refused.
        QTemporaryDir otherDevice;
        env->useKeyFile(otherDevice.filePath("other.der"));
        QVERIFY(failureOf(anonymous.keyLogin()) != "no error");
    }

    void refusingKeychainKeepsTheNameToken() {
        DeviceKey::setStorage(DeviceKey::Storage::refusing);
        auto store = signedInStore("carol");
        const QString nameToken = *store->token();
        await(store->upgradeKeyAuth());
        QCOMPARE(*store->token(), nameToken);
        QVERIFY(!Prefs::shared().boolean(Store::keyRegisteredKey(QUrl(server->httpUrl()))));
        QCOMPARE(failureOf(Api(store->api()->base, std::nullopt).keyLogin()), "no device key");
    }
};

QTEST_GUILESS_MAIN(TestKeyLogin)
#include "test_key_login.moc"
