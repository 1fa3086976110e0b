#include "net/Api.h"

#include "BuildSettings.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <utility>

using json::put;
using json::req;

QString clientDeviceName() {
    return QStringLiteral("Mac");
}

QString clientAppVersion() {
    const QString version = QString::fromUtf8(BuildSettings::version);
    const QString build = QString::fromUtf8(BuildSettings::buildNumber);
    return (version.isEmpty() ? QStringLiteral("?") : version) + QStringLiteral(" (") +
           (build.isEmpty() ? QStringLiteral("?") : build) + QLatin1Char(')');
}

// MARK: Small replies

Api::ControlAck Api::ControlAck::fromJson(const QJsonObject& o) {
    return {json::opt<bool>(o, QLatin1StringView("ok"))};
}

QJsonObject Api::ControlAck::toJson() const {
    QJsonObject o;
    put(o, QLatin1StringView("ok"), ok);
    return o;
}

Api::ServerIdentityResponse Api::ServerIdentityResponse::fromJson(const QJsonObject& o) {
    return {req<QString>(o, QLatin1StringView("fingerprint")),
            req<QString>(o, QLatin1StringView("pubkey")),
            json::opt<QString>(o, QLatin1StringView("platform"))};
}

QJsonObject Api::ServerIdentityResponse::toJson() const {
    QJsonObject o;
    put(o, QLatin1StringView("fingerprint"), fingerprint);
    put(o, QLatin1StringView("pubkey"), pubkey);
    put(o, QLatin1StringView("platform"), platform);
    return o;
}

Api::KeyAuthResponse Api::KeyAuthResponse::fromJson(const QJsonObject& o) {
    return {req<QString>(o, QLatin1StringView("token")), req<User>(o, QLatin1StringView("user")),
            req<QString>(o, QLatin1StringView("fingerprint"))};
}

QJsonObject Api::KeyAuthResponse::toJson() const {
    QJsonObject o;
    put(o, QLatin1StringView("token"), token);
    put(o, QLatin1StringView("user"), user);
    put(o, QLatin1StringView("fingerprint"), fingerprint);
    return o;
}

Api::ChallengeResponse Api::ChallengeResponse::fromJson(const QJsonObject& o) {
    return {req<QString>(o, QLatin1StringView("nonce"))};
}

QJsonObject Api::ChallengeResponse::toJson() const {
    QJsonObject o;
    put(o, QLatin1StringView("nonce"), nonce);
    return o;
}

Api::PairCodeResponse Api::PairCodeResponse::fromJson(const QJsonObject& o) {
    return {req<QString>(o, QLatin1StringView("code")),
            json::opt<qint64>(o, QLatin1StringView("expiresInSeconds")),
            req<QString>(o, QLatin1StringView("fingerprint"))};
}

QJsonObject Api::PairCodeResponse::toJson() const {
    QJsonObject o;
    put(o, QLatin1StringView("code"), code);
    put(o, QLatin1StringView("expiresInSeconds"), expiresInSeconds);
    put(o, QLatin1StringView("fingerprint"), fingerprint);
    return o;
}

// MARK: Session, URLs

namespace {
QNetworkAccessManager* sharedSession = nullptr;
} // namespace

QNetworkAccessManager& Api::session() {
    if (!sharedSession) {
        sharedSession = new QNetworkAccessManager();
        sharedSession->setTransferTimeout(requestTimeoutMs);
        sharedSession->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
        // Its transfer thread loads plugins and must be gone before the
        // application it asks for them is.
        qAddPostRoutine([] { delete std::exchange(sharedSession, nullptr); });
    }
    return *sharedSession;
}

void Api::setRequestTimeoutForTesting(int ms) {
    session().setTransferTimeout(ms);
}

QUrl Api::url(const QString& path, const Query& query) const {
    QUrl u = base;
    QString basePath = u.path();
    if (basePath.endsWith(QLatin1Char('/'))) basePath.chop(1);
    u.setPath(basePath + QLatin1Char('/') + path);
    if (!query.isEmpty()) {
        QUrlQuery q;
        for (const auto& [name, value] : query)
            q.addQueryItem(name, value);
        u.setQuery(q);
    }
    return u;
}

std::optional<QUrl> Api::wsURL() const {
    if (!token) return std::nullopt;
    QUrl u = url(QStringLiteral("ws"), {{QStringLiteral("token"), *token},
                                        {QStringLiteral("device"), clientDeviceName()},
                                        {QStringLiteral("app"), clientAppVersion()}});
    u.setScheme(base.scheme() == QLatin1String("https") ? QStringLiteral("wss")
                                                        : QStringLiteral("ws"));
    return u;
}

QUrl Api::avatarURL(qint64 userId, qint64 version) const {
    return url(QStringLiteral("api/users/%1/avatar").arg(userId),
               {{QStringLiteral("v"), QString::number(version)}});
}

QUrl Api::chatAvatarURL(qint64 chatId, qint64 version) const {
    return url(QStringLiteral("api/chats/%1/avatar").arg(chatId),
               {{QStringLiteral("v"), QString::number(version)}});
}

// MARK: Errors

QString Api::friendlyMessage(const UrlError& error, const QString& host) {
    const QString target =
        host.isEmpty() ? QStringLiteral("the server") : QStringLiteral("“%1”").arg(host);
    switch (error.code()) {
    case UrlError::Code::CannotFindHost:
    case UrlError::Code::DnsLookupFailed:
        return QStringLiteral("Can’t reach %1. This server is on your Tailscale network — check "
                              "that Tailscale is connected.")
            .arg(target);
    case UrlError::Code::CannotConnectToHost:
    case UrlError::Code::NetworkConnectionLost:
        return QStringLiteral(
                   "Can’t connect to %1. The server may be down, or you’re off its network "
                   "(Tailscale).")
            .arg(target);
    case UrlError::Code::NotConnectedToInternet:
        return QStringLiteral("No internet connection.");
    case UrlError::Code::TimedOut:
        return QStringLiteral(
                   "%1 took too long to respond. Check your connection (Tailscale) and try again.")
            .arg(target);
    default:
        return error.description();
    }
}

QByteArray decodeResponse(int status, const QByteArray& body) {
    if (status >= 200 && status <= 299) return body;
    QString message;
    try {
        const auto map = json::decode<QMap<QString, QString>>(body);
        message = map.value(QStringLiteral("error"));
    } catch (const DecodeError&) {
        // No readable message: the status alone describes the failure below.
    }
    throw ApiError(message.isEmpty() ? QStringLiteral("HTTP %1").arg(status) : message);
}

namespace {

UrlError::Code urlErrorCode(const QNetworkReply* reply) {
    if (PinningDelegate::refusedByPin(reply)) return UrlError::Code::SecureConnectionFailed;
    switch (reply->error()) {
    case QNetworkReply::HostNotFoundError:
        return UrlError::Code::CannotFindHost;
    case QNetworkReply::ConnectionRefusedError:
        return UrlError::Code::CannotConnectToHost;
    case QNetworkReply::RemoteHostClosedError:
        return UrlError::Code::NetworkConnectionLost;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // what the transfer timeout reports
        return UrlError::Code::TimedOut;
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return UrlError::Code::NotConnectedToInternet;
    case QNetworkReply::SslHandshakeFailedError:
        return UrlError::Code::SecureConnectionFailed;
    default:
        return UrlError::Code::Other;
    }
}

// A transport failure in plain words; the network layer's own text names
// sockets and handshakes, which means nothing to the person reading it.
QString transportText(UrlError::Code code) {
    switch (code) {
    case UrlError::Code::CannotFindHost:
    case UrlError::Code::DnsLookupFailed:
        return QStringLiteral("No server with that name could be found.");
    case UrlError::Code::CannotConnectToHost:
        return QStringLiteral("Could not connect to the server.");
    case UrlError::Code::NetworkConnectionLost:
        return QStringLiteral("The network connection was lost.");
    case UrlError::Code::NotConnectedToInternet:
        return QStringLiteral("The device appears to be offline.");
    case UrlError::Code::TimedOut:
        return QStringLiteral("The request timed out.");
    case UrlError::Code::Cancelled:
        return QStringLiteral("The request was cancelled.");
    case UrlError::Code::SecureConnectionFailed:
        return QStringLiteral(
            "A secure connection to the server could not be made: it did not prove its identity.");
    case UrlError::Code::Other:
        break;
    }
    return QStringLiteral("The connection to the server failed.");
}

struct Finished {
    int status = 0; // 0: no HTTP response at all
    QByteArray body;
};

// Sends through the shared session and waits; a transport failure throws UrlError.
QCoro::Task<Finished> perform(QNetworkRequest request, QByteArray method, QByteArray body,
                              Api::UploadProgress progress = {}) {
    PinningDelegate::prepare(request);
    QNetworkReply* reply = body.isNull() ? Api::session().sendCustomRequest(request, method)
                                         : Api::session().sendCustomRequest(request, method, body);
    PinningDelegate::attach(reply);
    if (progress)
        QObject::connect(reply, &QNetworkReply::uploadProgress, reply,
                         [progress](qint64 sent, qint64 total) {
                             if (total > 0) progress(sent, total);
                         });
    co_await qCoro(reply).waitForFinished(std::chrono::milliseconds(-1));
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> owner(
        reply, [](QNetworkReply* r) { r->deleteLater(); });
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        const UrlError::Code code = urlErrorCode(reply);
        throw UrlError(code, transportText(code));
    }
    co_return Finished{status.toInt(), reply->readAll()};
}

} // namespace

QNetworkRequest Api::makeRequest(const QUrl& target) const {
    QNetworkRequest request(target);
    if (token) request.setRawHeader("Authorization", "Bearer " + token->toUtf8());
    return request;
}

// MARK: The generic call

QCoro::Task<QByteArray> Api::request(QByteArray method, QString path, Query query,
                                     std::optional<QJsonObject> body) const {
    const Api self = *this; // the frame owns its copy: callers may drop theirs
    QNetworkRequest request = self.makeRequest(self.url(path, query));
    QByteArray payload;
    if (body) {
        payload = QJsonDocument(*body).toJson(QJsonDocument::Compact);
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    }
    Finished done;
    try {
        done = co_await perform(request, method, payload);
    } catch (const UrlError& e) {
        throw ApiError(friendlyMessage(e, self.base.host()));
    }
    co_return decodeResponse(done.status, done.body);
}

QCoro::Task<> Api::ack(QByteArray method, QString path, std::optional<QJsonObject> body) const {
    const Api self = *this;
    const QByteArray data = co_await self.request(method, path, {}, std::move(body));
    json::decode<QMap<QString, bool>>(data);
}

QCoro::Task<QByteArray> Api::rawUpload(QString path, Query query, QByteArray data, int timeoutMs,
                                       UploadProgress progress) const {
    const Api self = *this;
    QNetworkRequest request = self.makeRequest(self.url(path, query));
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/octet-stream"));
    request.setTransferTimeout(timeoutMs);
    const QByteArray post("POST");
    const QByteArray body = data.isNull() ? QByteArray("") : data;
    auto call = perform(request, post, body, std::move(progress));
    const Finished done = co_await call;
    co_return decodeResponse(done.status, done.body);
}
