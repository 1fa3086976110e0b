#include "support/HostEcho.h"

#include <QDateTime>
#include <QHttpServerRequest>
#include <QHttpServerResponse>
#include <QJsonArray>
#include <QJsonDocument>

namespace {
const QString controlPrefix = QStringLiteral("\x02"
                                             "CCCTL");
using Status = QHttpServerResponse::StatusCode;
} // namespace

HostEcho::HostEcho(qint64 me, QObject* parent) : QObject(parent), meId(me) {
    m_server.route(
        "/api/chats/<arg>/messages", QHttpServerRequest::Method::Post,
        [this](qint64 chatId, const QHttpServerRequest& request) {
            if (failSends) return QHttpServerResponse(Status::InternalServerError);
            const QString text =
                QJsonDocument::fromJson(request.body()).object().value("text").toString();
            const QJsonObject stored = post(chatId, meId, text);
            if (!text.startsWith(controlPrefix)) return QHttpServerResponse(stored);
            const QJsonObject body =
                QJsonDocument::fromJson(text.mid(controlPrefix.size()).toUtf8()).object();
            requests.push_back(body);
            requestChats.push_back(chatId);
            if (auto reply = host ? host(body) : std::nullopt) {
                reply->insert("id", body.value("id"));
                reply->insert("kind", "r");
                post(chatId, hostUserId,
                     controlPrefix +
                         QString::fromUtf8(QJsonDocument(*reply).toJson(QJsonDocument::Compact)));
                for (int i = 0; i < noiseAfterReply; ++i)
                    post(chatId, hostUserId, QStringLiteral("noise %1").arg(i));
            }
            return QHttpServerResponse(stored);
        });
    m_server.route("/api/chats/<arg>/messages", QHttpServerRequest::Method::Get,
                   [this](qint64 chatId, const QHttpServerRequest& request) {
                       const int limit = request.query().queryItemValue("limit").toInt();
                       const QList<QJsonObject> all = messages.value(chatId);
                       QJsonArray page;
                       for (qsizetype i = std::max<qsizetype>(0, all.size() - limit);
                            i < all.size(); ++i)
                           page.append(all[i]);
                       return QHttpServerResponse(QJsonObject{{"messages", page}});
                   });
    m_server.route("/api/chats", QHttpServerRequest::Method::Post, [this] {
        const qint64 id = ++m_nextId;
        const QJsonObject me{{"id", meId}, {"username", "me"}};
        return QHttpServerResponse(QJsonObject{{"id", id},
                                               {"kind", "direct"},
                                               {"members", QJsonArray{me}},
                                               {"createdAt", 1},
                                               {"tavikAgent", false}});
    });
    m_server.route("/api/claude/host", QHttpServerRequest::Method::Get, [this] {
        ++hostStatusCalls;
        if (!hostStatus) return QHttpServerResponse(Status::ServiceUnavailable);
        return QHttpServerResponse(*hostStatus);
    });
    m_server.route("/api/builds", QHttpServerRequest::Method::Get, [this] {
        return QHttpServerResponse(QJsonObject{{"builds", builds}});
    });
    m_server.route("/files/<arg>", QHttpServerRequest::Method::Get, [this](const QString&) {
        return QHttpServerResponse("application/octet-stream", file);
    });
    m_port = m_server.listen(QHostAddress::LocalHost, 0);
}

QString HostEcho::url() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QJsonObject HostEcho::post(qint64 chatId, qint64 senderId, const QString& text) {
    const QJsonObject m{
        {"id", ++m_nextId},     {"chatId", chatId},
        {"senderId", senderId}, {"senderName", senderId == meId ? "me" : "Claude Code"},
        {"text", text},         {"createdAt", QDateTime::currentMSecsSinceEpoch()}};
    messages[chatId].push_back(m);
    return m;
}
