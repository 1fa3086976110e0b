#include "support/ServerClient.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkReply>
#include <QTimer>

namespace {
constexpr int kRequestTimeoutMs = 15000;
} // namespace

ServerClient::ServerClient(QString base, QString token)
    : m_base(std::move(base)), m_token(std::move(token)) {}

HttpResult ServerClient::get(const QString& path, const QUrlQuery& query) {
    return request("GET", path, std::nullopt, query);
}

HttpResult ServerClient::post(const QString& path, const QJsonObject& body) {
    return request("POST", path, body);
}

HttpResult ServerClient::patch(const QString& path, const QJsonObject& body) {
    return request("PATCH", path, body);
}

HttpResult ServerClient::del(const QString& path) {
    return request("DELETE", path, std::nullopt);
}

HttpResult ServerClient::request(const QByteArray& verb, const QString& path,
                                 const std::optional<QJsonObject>& body, const QUrlQuery& query) {
    QUrl url(m_base + u'/' + path);
    url.setQuery(query);
    QNetworkRequest req(url);
    if (!m_token.isEmpty()) req.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    QByteArray payload;
    if (body) {
        payload = QJsonDocument(*body).toJson(QJsonDocument::Compact);
        req.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    }
    QNetworkReply* reply = m_nam.sendCustomRequest(req, verb, payload);
    QObject::connect(reply, &QNetworkReply::sslErrors, reply,
                     [reply](const QList<QSslError>&) { reply->ignoreSslErrors(); });
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(kRequestTimeoutMs, &loop, &QEventLoop::quit);
    loop.exec();
    HttpResult result;
    if (!reply->isFinished()) reply->abort();
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    result.body = reply->readAll();
    result.json = QJsonDocument::fromJson(result.body).object();
    result.peerCertificate = reply->sslConfiguration().peerCertificate();
    if (reply->error() != QNetworkReply::NoError) result.errorString = reply->errorString();
    reply->deleteLater();
    return result;
}

QString ServerClient::login(const QString& name) {
    const HttpResult r =
        post(QStringLiteral("api/login"), QJsonObject{{QStringLiteral("username"), name}});
    m_token = r.status == 200 ? r.json.value(QStringLiteral("token")).toString() : QString();
    return m_token;
}
