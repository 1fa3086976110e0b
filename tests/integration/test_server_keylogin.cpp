// Device-key sign-in at the server: registration binds a key to an account,
// and a login needs a signature over a fresh challenge by that very key.
#include "support/ServerClient.h"
#include "support/ServerProcess.h"
#include "support/TestKey.h"

#include <QTest>

namespace {

QJsonObject keyBody(const QString& pubkey) {
    return {{QStringLiteral("pubkey"), pubkey}};
}

} // namespace

class TestServerKeyLogin : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        ServerClient alice(m_server.httpsUrl());
        QVERIFY(!alice.login(QStringLiteral("alice")).isEmpty());
        const HttpResult r = alice.post(QStringLiteral("api/key/register"),
                                        {{"pubkey", m_aliceKey.publicKey()}, {"label", "Mac"}});
        QCOMPARE(r.status, 200);
        QCOMPARE(r.json.value(QStringLiteral("fingerprint")).toString(), m_server.fingerprint());
        QCOMPARE(r.json.value(QStringLiteral("user")).toObject().value("username").toString(),
                 QStringLiteral("alice"));
        m_aliceToken = r.json.value(QStringLiteral("token")).toString();
        QVERIFY(!m_aliceToken.isEmpty() && m_aliceToken != alice.token());
        QCOMPARE(ServerClient(m_server.httpsUrl(), m_aliceToken).get("api/bootstrap").status, 200);
    }

    void registrationChecksTheKey_data() {
        QTest::addColumn<QString>("who");
        QTest::addColumn<QString>("pubkey");
        QTest::addColumn<int>("status");
        const QString valid = TestKey().publicKey();
        QByteArray offCurve = QByteArray::fromBase64(valid.toLatin1());
        offCurve[64] = char(offCurve[64] ^ 1);
        QTest::newRow("no token") << QString() << valid << 401;
        QTest::newRow("not base64") << "bob"
                                    << "***" << 400;
        QTest::newRow("point off the curve")
            << "bob" << QString::fromLatin1(offCurve.toBase64()) << 400;
        QTest::newRow("compressed form")
            << "bob"
            << QString::fromLatin1(QByteArray::fromBase64(valid.toLatin1()).left(33).toBase64())
            << 400;
        QTest::newRow("someone else's key") << "bob" << m_aliceKey.publicKey() << 409;
        QTest::newRow("again by its owner") << "alice" << m_aliceKey.publicKey() << 200;
    }

    void registrationChecksTheKey() {
        QFETCH(QString, who);
        QFETCH(QString, pubkey);
        QFETCH(int, status);
        ServerClient client(m_server.httpUrl());
        // Alice's name no longer signs her in: her key-bound token does.
        if (who == QLatin1String("alice"))
            client.setToken(m_aliceToken);
        else if (!who.isEmpty())
            QVERIFY(!client.login(who).isEmpty());
        const HttpResult r = client.post(QStringLiteral("api/key/register"), keyBody(pubkey));
        QCOMPARE(r.status, status);
        if (status != 200) QVERIFY(!r.json.value(QStringLiteral("error")).toString().isEmpty());
    }

    void loginNeedsTheRightSignature_data() {
        QTest::addColumn<QString>("signer");
        QTest::addColumn<bool>("signNonce");
        QTest::addColumn<int>("status");
        QTest::newRow("own key over the nonce") << "own" << true << 200;
        QTest::newRow("another key over the nonce") << "other" << true << 401;
        QTest::newRow("own key over other text") << "own" << false << 401;
    }

    void loginNeedsTheRightSignature() {
        QFETCH(QString, signer);
        QFETCH(bool, signNonce);
        QFETCH(int, status);
        ServerClient client(m_server.httpsUrl());
        const QString nonce = challenge(client);
        QVERIFY(!nonce.isEmpty());
        const TestKey other;
        const TestKey& key = signer == QLatin1String("own") ? m_aliceKey : other;
        const QString signature = key.sign(signNonce ? nonce : nonce + u'x');
        const HttpResult r = login(client, signature);
        QCOMPARE(r.status, status);
        if (status != 200) {
            QVERIFY(!r.json.value(QStringLiteral("error")).toString().isEmpty());
            return;
        }
        QCOMPARE(r.json.value(QStringLiteral("fingerprint")).toString(), m_server.fingerprint());
        ServerClient signedIn(m_server.httpsUrl(), r.json.value("token").toString());
        const HttpResult boot = signedIn.get(QStringLiteral("api/bootstrap"));
        QCOMPARE(boot.json.value("me").toObject().value("username").toString(),
                 QStringLiteral("alice"));
    }

    void aChallengeAnswersOnce() {
        ServerClient client(m_server.httpsUrl());
        const QString signature = m_aliceKey.sign(challenge(client));
        QCOMPARE(login(client, signature).status, 200);
        QCOMPARE(login(client, signature).status, 401);
        // A failed attempt uses the challenge up as well.
        const QString nonce = challenge(client);
        QCOMPARE(login(client, TestKey().sign(nonce)).status, 401);
        QCOMPARE(login(client, m_aliceKey.sign(nonce)).status, 401);
    }

    void unknownKeysGetNoChallenge() {
        ServerClient client(m_server.httpsUrl());
        QCOMPARE(
            client.post(QStringLiteral("api/key/challenge"), keyBody(TestKey().publicKey())).status,
            401);
        QCOMPARE(login(client, m_aliceKey.sign(QStringLiteral("never issued"))).status, 401);
    }

private:
    QString challenge(ServerClient& client) {
        const HttpResult r =
            client.post(QStringLiteral("api/key/challenge"), keyBody(m_aliceKey.publicKey()));
        return r.status == 200 ? r.json.value(QStringLiteral("nonce")).toString() : QString();
    }

    HttpResult login(ServerClient& client, const QString& signature) {
        return client.post(QStringLiteral("api/key/login"),
                           {{"pubkey", m_aliceKey.publicKey()}, {"signature", signature}});
    }

    ServerProcess m_server;
    TestKey m_aliceKey;
    QString m_aliceToken;
};

QTEST_GUILESS_MAIN(TestServerKeyLogin)
#include "test_server_keylogin.moc"
