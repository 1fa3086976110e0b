// The server's transport: TLS and plain HTTP on one port, the fingerprint it
// announces against the certificate it serves, error replies, and what
// survives a killed process.
#include "model/Models.h"
#include "support/ServerClient.h"
#include "support/ServerProcess.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QTest>
#include <openssl/x509.h>

namespace {

// Base64(SHA-256(subjectPublicKey bits)) of a certificate, computed here from
// its DER independently of the server's own code.
QString fingerprintOf(const QSslCertificate& cert) {
    const QByteArray der = cert.toDer();
    const auto* p = reinterpret_cast<const unsigned char*>(der.constData());
    X509* x509 = d2i_X509(nullptr, &p, der.size());
    if (!x509) return {};
    const unsigned char* bits = nullptr;
    int len = 0;
    X509_PUBKEY_get0_param(nullptr, &bits, &len, nullptr, X509_get_X509_PUBKEY(x509));
    const QByteArray point(reinterpret_cast<const char*>(bits), len);
    X509_free(x509);
    return QString::fromLatin1(
        QCryptographicHash::hash(point, QCryptographicHash::Sha256).toBase64());
}

QStringList texts(const HttpResult& page) {
    QStringList out;
    for (const QJsonValue& m : page.json.value(QStringLiteral("messages")).toArray())
        out.push_back(m.toObject().value(QStringLiteral("text")).toString());
    return out;
}

} // namespace

class TestServerTransport : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(m_server.start(), qPrintable(m_server.errorString())); }

    void everyEntryAnswers_data() {
        QTest::addColumn<QString>("base");
        QTest::addColumn<bool>("encrypted");
        QTest::newRow("TLS on the main port") << m_server.httpsUrl() << true;
        QTest::newRow("plain on the main port") << m_server.httpUrl() << false;
        QTest::newRow("plain-only port") << m_server.plainUrl() << false;
    }

    void everyEntryAnswers() {
        QFETCH(QString, base);
        QFETCH(bool, encrypted);
        ServerClient client(base);
        const HttpResult r = client.get(QStringLiteral("api/server-identity"));
        QCOMPARE(r.status, 200);
        QCOMPARE(r.json.value(QStringLiteral("fingerprint")).toString(), m_server.fingerprint());
        QCOMPARE(r.json.value(QStringLiteral("platform")).toString(), QStringLiteral("linux"));
        QCOMPARE(!r.peerCertificate.isNull(), encrypted);
        // Requests after the first on the same connection work as well.
        QVERIFY(!client.login(QStringLiteral("alice")).isEmpty());
        QCOMPARE(client.get(QStringLiteral("api/bootstrap")).status, 200);
    }

    void plainOnlyPortRefusesTls() {
        ServerClient client(QStringLiteral("https://127.0.0.1:%1").arg(m_server.httpPort()));
        QCOMPARE(client.get(QStringLiteral("api/server-identity")).status, 0);
    }

    void announcedFingerprintIsTheServedKey() {
        ServerClient client(m_server.httpsUrl());
        const HttpResult r = client.get(QStringLiteral("api/server-identity"));
        QVERIFY(!r.peerCertificate.isNull());
        QCOMPARE(fingerprintOf(r.peerCertificate), m_server.fingerprint());
        const QByteArray point =
            QByteArray::fromBase64(r.json.value(QStringLiteral("pubkey")).toString().toLatin1());
        QCOMPARE(point.size(), 65);
        QCOMPARE(QString::fromLatin1(
                     QCryptographicHash::hash(point, QCryptographicHash::Sha256).toBase64()),
                 m_server.fingerprint());
    }

    void errorsCarryAText_data() {
        QTest::addColumn<QByteArray>("verb");
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown route")
            << QByteArray("GET") << "api/nothing" << true << 404 << "not found";
        QTest::newRow("no token") << QByteArray("GET") << "api/bootstrap" << false << 401
                                  << "unauthorized";
        QTest::newRow("unknown name") << QByteArray("POST") << "api/login" << false << 403
                                      << "This name isn't authorized on this server";
        QTest::newRow("missing chat") << QByteArray("GET") << "api/chats/999/messages" << true
                                      << 404 << "no such conversation";
    }

    void errorsCarryAText() {
        QFETCH(QByteArray, verb);
        QFETCH(QString, path);
        QFETCH(bool, signedIn);
        QFETCH(int, status);
        QFETCH(QString, error);
        ServerClient client(m_server.httpUrl());
        if (signedIn) QVERIFY(!client.login(QStringLiteral("alice")).isEmpty());
        const auto body = verb == "POST"
                              ? std::optional(QJsonObject{{QStringLiteral("username"), "mallory"}})
                              : std::nullopt;
        const HttpResult r = client.request(verb, path, body);
        QCOMPARE(r.status, status);
        QCOMPARE(r.json.value(QStringLiteral("error")).toString(), error);
        QCOMPARE(r.json.size(), 1); // the client reads error bodies as a map of texts
    }

    void bootstrapDecodesStrictly() {
        ServerClient alice(m_server.httpUrl());
        ServerClient bob(m_server.httpUrl());
        QVERIFY(!alice.login(QStringLiteral("alice")).isEmpty());
        const QString bobToken = bob.login(QStringLiteral("bob"));
        const qint64 bobId =
            json::decode<BootstrapResponse>(bob.get(QStringLiteral("api/bootstrap")).body).me.id;
        const HttpResult chat =
            alice.post(QStringLiteral("api/chats"), {{"kind", "direct"}, {"userId", bobId}});
        QCOMPARE(chat.status, 200);
        const qint64 chatId = json::decode<ChatSummary>(chat.body).id;
        QCOMPARE(alice.post(QStringLiteral("api/chats/%1/messages").arg(chatId), {{"text", "hi"}})
                     .status,
                 200);
        const auto boot =
            json::decode<BootstrapResponse>(bob.get(QStringLiteral("api/bootstrap")).body);
        QCOMPARE(boot.me.username, QStringLiteral("bob"));
        const auto it = std::find_if(boot.chats.begin(), boot.chats.end(),
                                     [&](const ChatSummary& c) { return c.id == chatId; });
        QVERIFY(it != boot.chats.end());
        QCOMPARE(it->members.size(), 2);
        QCOMPARE(it->lastMessage->text, QStringLiteral("hi"));
        QVERIFY(it->unread.value_or(0) >= 1);
    }

    // Messages are acknowledged only once stored: killing the process at any
    // moment loses none of them and stores none twice, and the identity stays.
    void killedServerKeepsEverythingAcknowledged() {
        ServerClient alice(m_server.httpUrl());
        const QString token = alice.login(QStringLiteral("alice"));
        const HttpResult group =
            alice.post(QStringLiteral("api/chats"),
                       {{"kind", "group"}, {"title", "log"}, {"memberIds", QJsonArray{}}});
        const qint64 chatId = group.json.value(QStringLiteral("id")).toInteger();
        const QString path = QStringLiteral("api/chats/%1/messages").arg(chatId);
        const quint16 port = m_server.port();
        QStringList acknowledged;
        for (int round = 0; round < 5; ++round) {
            postBurstAndKill(path, token, round, acknowledged);
            if (QTest::currentTestFailed()) return;
            QVERIFY2(m_server.restart(), qPrintable(m_server.errorString()));
            QCOMPARE(m_server.port(), port);
        }
        ServerClient again(m_server.httpsUrl(), token); // the old token still works
        const HttpResult r =
            again.get(path, QUrlQuery{{QStringLiteral("limit"), QStringLiteral("200")}});
        QCOMPARE(r.status, 200);
        QCOMPARE(fingerprintOf(r.peerCertificate), m_server.fingerprint());
        const QStringList stored = texts(r);
        QCOMPARE(QSet<QString>(stored.begin(), stored.end()).size(), stored.size());
        for (const QString& text : acknowledged)
            QVERIFY2(stored.contains(text), qPrintable(text));
        QVERIFY(acknowledged.size() >= 5 * 8);
    }

private:
    // Sends twelve messages at once and kills the server as soon as eight
    // are acknowledged; adds the acknowledged texts to `acked`.
    void postBurstAndKill(const QString& path, const QString& token, int round,
                          QStringList& acked) {
        QNetworkAccessManager nam;
        const qsizetype before = acked.size();
        QList<QNetworkReply*> replies;
        for (int i = 0; i < 12; ++i) {
            QNetworkRequest req(QUrl(m_server.httpUrl() + u'/' + path));
            req.setRawHeader("Authorization", "Bearer " + token.toUtf8());
            req.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
            const QString text = QStringLiteral("r%1-m%2").arg(round).arg(i);
            QNetworkReply* reply =
                nam.post(req, QJsonDocument(QJsonObject{{"text", text}}).toJson());
            connect(reply, &QNetworkReply::finished, this, [reply, text, &acked] {
                if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200)
                    acked.push_back(text);
            });
            replies.push_back(reply);
        }
        QTRY_VERIFY_WITH_TIMEOUT(acked.size() - before >= 8, 15000);
        m_server.kill();
        for (QNetworkReply* reply : replies)
            reply->abort();
    }

    ServerProcess m_server;
};

QTEST_GUILESS_MAIN(TestServerTransport)
#include "test_server_transport.moc"
