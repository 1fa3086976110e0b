#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrlQuery>
#include <optional>
#include <stdexcept>

// Who is calling, once a bearer token has been accepted.
struct Caller {
    qint64 userId = 0;
    QString username;
    bool isGuest = false;
    bool isBot = false;
    QString token;
};

// One request as route handlers see it.
struct HttpRequest {
    QByteArray method;
    QString path; // without the leading slash
    QUrlQuery query;
    QJsonObject body; // the JSON object body; empty when there was none
    QByteArray rawBody;
    QHostAddress peer;
    QString bearer;    // the token of an "Authorization: Bearer" header
    QByteArray host;   // the Host header, as sent
    QByteArray origin; // the Origin header of a browser's request; empty otherwise
    QByteArray contentType;
    QByteArray range;  // the Range header, as sent; empty when there was none
    QList<qint64> ids; // the numbers captured by <id> in the route's pattern
    std::optional<Caller> caller;

    qint64 id(int index = 0) const { return ids.value(index); }
    const Caller& me() const { return *caller; }
    bool fromLoopback() const;
    // Sent by a program on this machine to a loopback name (not by a web page
    // that reached loopback through a rebound DNS name), with a JSON body.
    bool isLocalJson() const;
};

struct HttpReply {
    int status = 200;
    QByteArray body;
    QByteArray contentType = "application/json";
    // Further response headers, such as Content-Range.
    QList<QPair<QByteArray, QByteArray>> headers;

    static HttpReply json(const QJsonObject& obj, int status = 200);
    static HttpReply error(int status, const QString& message);
    static HttpReply ok() { return json(QJsonObject{{QStringLiteral("ok"), true}}); }
};

// Thrown by handlers to answer with `{"error": message}` and a status.
class HttpError : public std::runtime_error {
public:
    HttpError(int status, const QString& message)
        : std::runtime_error(message.toStdString()), m_status(status), m_message(message) {}
    int status() const { return m_status; }
    const QString& message() const { return m_message; }

private:
    int m_status;
    QString m_message;
};

// Longest texts the server stores, in characters.
namespace limits {
inline constexpr qsizetype kMessage = 65536;
inline constexpr qsizetype kName = 64;
inline constexpr qsizetype kTitle = 128;
inline constexpr qsizetype kProfileField = 500;
} // namespace limits

// Readers of request bodies and queries; each throws HttpError 400 with the
// key's name when the value is missing or of the wrong type.
namespace body {
QString requireString(const QJsonObject& obj, const QString& key);
std::optional<QString> optString(const QJsonObject& obj, const QString& key);
qint64 requireId(const QJsonObject& obj, const QString& key);
std::optional<qint64> optInt(const QJsonObject& obj, const QString& key);
std::optional<bool> optBool(const QJsonObject& obj, const QString& key);
QList<qint64> requireIdList(const QJsonObject& obj, const QString& key);
std::optional<qint64> queryInt(const QUrlQuery& query, const QString& key);
// `text` itself; HttpError 400 naming `what` when it is longer than `max` characters.
const QString& limitLength(const QString& text, qsizetype max, const QString& what);
} // namespace body
