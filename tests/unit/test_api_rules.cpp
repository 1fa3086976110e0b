#include "net/Api.h"
#include "net/Pinning.h"
#include "net/ServerTokens.h"
#include "store/Store.h"
#include "support/TestSupport.h"

#include <QNetworkRequest>
#include <QTest>
#include <QUrlQuery>

// The parts of the REST client and of server trust that need no server.
class TestApiRules : public QObject {
    Q_OBJECT

private slots:
    void wsUrlFollowsTheScheme() {
        QVERIFY(!Api(QUrl("http://h:8391"), std::nullopt).wsURL());
        const QUrl plain = *Api(QUrl("http://h:8391"), QString("t k")).wsURL();
        QCOMPARE(plain.scheme(), "ws");
        QCOMPARE(plain.path(), "/ws");
        const QUrlQuery query(plain);
        QCOMPARE(query.queryItems().size(), 3);
        QCOMPARE(query.queryItems()[0].first, "token");
        QCOMPARE(query.queryItemValue("token"), "t k");
        QCOMPARE(query.queryItemValue("device"), "Mac");
        QCOMPARE(query.queryItems()[2].first, "app");
        QCOMPARE(Api(QUrl("https://h:80"), QString("t")).wsURL()->scheme(), "wss");
        QCOMPARE(Api(QUrl("ftp://h"), QString("t")).wsURL()->scheme(), "ws");
    }

    void avatarUrlsCarryTheVersion() {
        const Api api(QUrl("http://h:1"), std::nullopt);
        QCOMPARE(api.avatarURL(7, 123).toString(), "http://h:1/api/users/7/avatar?v=123");
        QCOMPARE(api.chatAvatarURL(9, 4).toString(), "http://h:1/api/chats/9/avatar?v=4");
    }

    void appVersionHasVersionAndBuild() {
        QVERIFY(QRegularExpression(R"(^\S+ \(\S+\)$)").match(clientAppVersion()).hasMatch());
        QCOMPARE(clientDeviceName(), "Mac");
    }

    void friendlyMessages_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("text");
        using C = UrlError::Code;
        QTest::newRow("no host name")
            << int(C::CannotFindHost) << "box"
            << "Can’t reach “box”. This server is on your Tailscale network — check that "
               "Tailscale is connected.";
        QTest::newRow("refused")
            << int(C::CannotConnectToHost) << "10.0.0.2"
            << "Can’t connect to “10.0.0.2”. The server may be down, or you’re off its network "
               "(Tailscale).";
        QTest::newRow("offline") << int(C::NotConnectedToInternet) << "h"
                                 << "No internet connection.";
        QTest::newRow("timeout without host")
            << int(C::TimedOut) << ""
            << "the server took too long to respond. Check your connection (Tailscale) and try "
               "again.";
        QTest::newRow("other keeps its text") << int(C::Other) << "h"
                                              << "raw description";
    }

    void friendlyMessages() {
        QFETCH(int, code);
        QFETCH(QString, host);
        QFETCH(QString, text);
        const UrlError error(UrlError::Code(code), "raw description");
        QCOMPARE(Api::friendlyMessage(error, host), text);
    }

    void responseDecoder() {
        QCOMPARE(decodeResponse(204, "x"), QByteArray("x"));
        auto message = [](int status, const QByteArray& body) {
            try {
                decodeResponse(status, body);
            } catch (const ApiError& e) {
                return e.message();
            }
            return QString("no error");
        };
        QCOMPARE(message(404, R"({"error":"no such chat"})"), "no such chat");
        QCOMPARE(message(502, "<html>bad gateway</html>"), "HTTP 502");
        QCOMPARE(message(500, R"({"error":3})"), "HTTP 500");
        QCOMPARE(message(300, "{}"), "HTTP 300");
    }

    void hostPortAndUpgrade() {
        ScopedPrefs prefs;
        PinRegistry& pins = PinRegistry::shared();
        pins.reload();
        QCOMPARE(PinRegistry::hostPort(QUrl("http://h")), "h:80");
        QCOMPARE(PinRegistry::hostPort(QUrl("wss://h")), "h:443");
        QCOMPARE(PinRegistry::hostPort(QUrl("https://h:8391/x")), "h:8391");
        QCOMPARE(PinRegistry::hostPort(QUrl("file:///x")), ":80");

        QCOMPARE(pins.upgraded(QUrl("http://h")), QUrl("http://h"));
        pins.setPin("fp", "h:80");
        QCOMPARE(pins.upgraded(QUrl("http://h")), QUrl("https://h:80"));
        QCOMPARE(pins.upgraded(QUrl("http://h:80/p")), QUrl("https://h:80/p"));
        QCOMPARE(pins.upgraded(QUrl("https://h")), QUrl("https://h"));
        QCOMPARE(pins.upgraded(QUrl("http://h:81")), QUrl("http://h:81"));

        // Pins are in force after a restart, before the first request.
        pins.reload();
        QCOMPARE(pins.pin("h:80"), "fp");
        pins.removePin("h:80");
        pins.reload();
        QVERIFY(!pins.pin("h:80"));
    }

    // A fetch carries the token of the server it goes to, and no other's.
    void tokensStayWithTheirServer_data() {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("token");
        QTest::newRow("picture") << "http://a:8391/api/users/1/avatar?v=2"
                                 << "A";
        QTest::newRow("host case") << "http://A:8391/api/chats/3/avatar"
                                   << "A";
        QTest::newRow("other port") << "http://a:8392/api/users/1/avatar"
                                    << "";
        QTest::newRow("other host") << "http://evil:8391/api/users/1/avatar"
                                    << "";
        QTest::newRow("not upgraded") << "https://a:8391/api/users/1/avatar"
                                      << "";
        QTest::newRow("under a path") << "https://b/chat/api/users/1/avatar"
                                      << "B";
        QTest::newRow("longer path wins") << "https://b/chat/deep/api/x"
                                          << "D";
        QTest::newRow("host's root") << "https://b/api/users/1/avatar"
                                     << "C";
        QTest::newRow("look-alike path") << "https://b/chatter/api/x"
                                         << "C";
        QTest::newRow("climbing out") << "https://b/chat/../api/x"
                                      << "C";
        QTest::newRow("plain to a tls server") << "http://b/chat/api/x"
                                               << "";
        QTest::newRow("other scheme") << "ftp://a:8391/api/x"
                                      << "";
    }

    void tokensStayWithTheirServer() {
        QFETCH(QString, url);
        QFETCH(QString, token);
        ScopedPrefs prefs;
        PinRegistry::shared().reload();
        ServerTokens& tokens = ServerTokens::shared();
        const int one = 0, two = 0;
        tokens.publish(&one, {{QUrl("http://a:8391"), "A"}, {QUrl("https://b/chat/"), "B"}});
        tokens.publish(&two, {{QUrl("https://b"), "C"}, {QUrl("https://b/chat/deep"), "D"}});
        QCOMPARE(tokens.tokenFor(QUrl(url)).value_or(QString()), token);
        QNetworkRequest request{QUrl(url)};
        tokens.authorize(request);
        QCOMPARE(request.rawHeader("Authorization"),
                 token.isEmpty() ? QByteArray() : "Bearer " + token.toUtf8());
        tokens.publish(&one, {});
        tokens.publish(&two, {});
        QVERIFY(!tokens.tokenFor(QUrl(url)));
    }

    void tokensFollowAServerOntoTls() {
        ScopedPrefs prefs;
        PinRegistry::shared().reload();
        ServerTokens& tokens = ServerTokens::shared();
        const int owner = 0;
        tokens.publish(&owner, {{QUrl("http://a:8391"), "A"}});
        QNetworkRequest request{QUrl("https://a:8391/api/users/1/avatar")};
        tokens.authorize(request);
        QVERIFY(!request.hasRawHeader("Authorization"));
        // Once pinned, the plain address is spoken to over TLS, pictures included.
        PinRegistry::shared().setPin("fp", "a:8391");
        tokens.authorize(request);
        QCOMPARE(request.rawHeader("Authorization"), "Bearer A");
        QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute).toInt(),
                 int(QNetworkRequest::SameOriginRedirectPolicy));
        // A header already set is left as it is.
        QNetworkRequest own{QUrl("https://a:8391/x")};
        own.setRawHeader("Authorization", "Bearer mine");
        tokens.authorize(own);
        QCOMPARE(own.rawHeader("Authorization"), "Bearer mine");
        tokens.publish(&owner, {});
    }

    void normalizedServerUrl_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("url");
        QTest::newRow("bare host") << "box"
                                   << "https://box";
        QTest::newRow("port and slashes") << " http://box:8391/// "
                                          << "http://box:8391";
        QTest::newRow("blanks only") << "   "
                                     << "";
        QTest::newRow("no scheme") << "://box"
                                   << "";
    }

    void normalizedServerUrl() {
        QFETCH(QString, text);
        QFETCH(QString, url);
        const auto normalized = Store::normalizedServerURL(text);
        QCOMPARE(normalized ? normalized->toString() : QString(), url);
    }
};

QTEST_GUILESS_MAIN(TestApiRules)
#include "test_api_rules.moc"
