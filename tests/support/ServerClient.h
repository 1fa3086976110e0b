#pragma once

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSslCertificate>
#include <QString>
#include <QUrlQuery>
#include <optional>

// One finished HTTP exchange, as tests want to look at it.
struct HttpResult {
    int status = 0; // 0 when no HTTP reply arrived
    QByteArray body;
    QJsonObject json; // the body when it is a JSON object
    QSslCertificate peerCertificate;
    QString errorString;
};

// Raw REST calls against a test server, outside the client's own Api: for
// setting a scene up and for checking what the server itself answers. TLS
// errors of the self-signed certificate are ignored here; tests that care
// look at peerCertificate.
class ServerClient {
public:
    explicit ServerClient(QString base, QString token = {});

    HttpResult get(const QString& path, const QUrlQuery& query = {});
    HttpResult post(const QString& path, const QJsonObject& body = {});
    HttpResult patch(const QString& path, const QJsonObject& body);
    HttpResult del(const QString& path);
    HttpResult request(const QByteArray& verb, const QString& path,
                       const std::optional<QJsonObject>& body, const QUrlQuery& query = {});

    // Name login; keeps and returns the token, or an empty text on refusal.
    QString login(const QString& name);
    void setToken(const QString& token) { m_token = token; }
    void setBase(const QString& base) { m_base = base; }
    const QString& token() const { return m_token; }
    const QString& base() const { return m_base; }

private:
    QString m_base;
    QString m_token;
    QNetworkAccessManager m_nam;
};
