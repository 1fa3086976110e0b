#include "core/Prefs.h"
#include "net/Api.h"
#include "net/Pinning.h"
#include "store/ServerLink.h"
#include "store/Store.h"
#include "support/ClientEnv.h"
#include "support/ServerProcess.h"

#include <QTest>
#include <QWebSocket>

// Trust by key continuity over real TLS, for requests and for the live link.
class TestPinning : public QObject {
    Q_OBJECT

    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<ClientEnv> env;

    QString hostPort() const { return QString("127.0.0.1:%1").arg(server->port()); }

    bool identityAnswers(const QString& base) {
        return failureOf(Api(QUrl(base), std::nullopt).serverIdentity()) == "no error";
    }

private slots:
    void initTestCase() {
        server = std::make_unique<ServerProcess>();
        QVERIFY2(server->start(), qPrintable(server->errorString()));
    }

    void init() { env = std::make_unique<ClientEnv>(); }
    void cleanup() { env.reset(); }

    void selfSignedNeedsThePin() {
        QVERIFY(!identityAnswers(server->httpsUrl()));
        PinRegistry::shared().setPin(server->fingerprint(), hostPort());
        QVERIFY(identityAnswers(server->httpsUrl()));
        // Another key's pin: refused, and the pin is not replaced by the attempt.
        const QString other = QString(QByteArray(32, 'k').toBase64());
        PinRegistry::shared().setPin(other, hostPort());
        QVERIFY(!identityAnswers(server->httpsUrl()));
        QCOMPARE(PinRegistry::shared().pin(hostPort()), other);
        // A plain address of an unpinned server stays plain and works.
        PinRegistry::shared().removePin(hostPort());
        QVERIFY(identityAnswers(server->httpUrl()));
    }

    void pinnedPlainAddressGoesOverTls() {
        PinRegistry::shared().setPin(server->fingerprint(), hostPort());
        const QUrl upgraded = PinRegistry::shared().upgraded(QUrl(server->httpUrl()));
        QCOMPARE(upgraded.scheme(), "https");
        QCOMPARE(upgraded.port(), server->port());
        QVERIFY(identityAnswers(upgraded.toString()));
    }

    void liveLinkHonoursThePin() {
        const LoginResponse login =
            await(Api(QUrl(server->httpUrl()), std::nullopt).login("alice"));
        Prefs::shared().setValue("primaryBaseURL", server->httpUrl());
        Prefs::shared().setValue("token", login.token);
        PinRegistry::shared().setPin(server->fingerprint(), hostPort());
        {
            Store store({0.01});
            QCOMPARE(store.api()->base.scheme(), "https");
            QTRY_VERIFY_WITH_TIMEOUT(store.linkUp(0), 10000);
        }
        PinRegistry::shared().setPin(QString(QByteArray(32, 'z').toBase64()), hostPort());
        Store refused({0.01});
        // It fails and backs off, and never comes up.
        QTRY_VERIFY_WITH_TIMEOUT(refused.link(0) && refused.link(0)->reconnectDelay() > 1.0, 10000);
        QVERIFY(!refused.linkUp(0));
    }
};

QTEST_GUILESS_MAIN(TestPinning)
#include "test_pinning.moc"
