// Requests to the agent's host. The host has no endpoint of its own: a
// request is a hidden message in a conversation it watches, and its reply is
// another one, found by polling that conversation's newest messages.

#include "agent/Markers.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QJsonDocument>
#include <QUuid>
#include <cmath>

namespace {
constexpr int replyPolls = 75;
constexpr double replyPollInterval = 0.4;
constexpr int replyWindow = 50;
} // namespace

// An integer, or any JSON number: callers build `extra` in different ways.
std::optional<qint64> Store::ccRequestChatId(const QJsonObject& extra) {
    const QJsonValue v = extra.value(QLatin1String("chatId"));
    if (!v.isDouble()) return std::nullopt;
    const QVariant exact = v.toVariant();
    if (exact.typeId() == QMetaType::LongLong) return exact.toLongLong();
    const double d = v.toDouble();
    if (!std::isfinite(d) || std::fabs(d) >= 9.2e18) return std::nullopt;
    return qint64(d);
}

QString Store::ccRequestText(const QString& requestId, const QString& op, const QString& path,
                             const QJsonObject& extra) {
    QJsonObject body = extra;
    body.insert(QStringLiteral("id"), requestId);
    body.insert(QStringLiteral("op"), op);
    body.insert(QStringLiteral("kind"), QStringLiteral("q"));
    body.insert(QStringLiteral("path"), path);
    return Config::ccControlPrefix.toString() +
           QString::fromUtf8(QJsonDocument(body).toJson(QJsonDocument::Compact));
}

std::optional<QJsonObject> Store::ccFindReply(const QList<Message>& page,
                                              const QString& requestId) {
    for (const Message& m : page) {
        if (!m.isCCControl()) continue;
        const QStringView rest = QStringView(m.text).sliced(Config::ccControlPrefix.size());
        QJsonParseError error{};
        const QJsonDocument doc = QJsonDocument::fromJson(rest.toUtf8(), &error);
        if (error.error != QJsonParseError::NoError || !doc.isObject()) continue;
        const QJsonObject reply = doc.object();
        if (reply.value(QLatin1String("kind")).toString() == QLatin1String("r") &&
            reply.value(QLatin1String("id")).toString() == requestId)
            return reply;
    }
    return std::nullopt;
}

QCoro::Task<std::optional<qint64>> Store::ensureClaudeControlChat() {
    QPointer<Store> self(this);
    if (m_claudeControlChatId) co_return m_claudeControlChatId;
    const auto primary = api();
    if (!primary || !m_me) co_return std::nullopt;
    const qint64 myId = m_me->id;
    for (const ChatSummary& c : std::as_const(m_chats)) {
        if (IDCodec::serverId(c.id) != 0 || c.isGroup() || c.members.size() != 1) continue;
        if (c.members.first().id != myId) continue;
        m_claudeControlChatId = c.id;
        co_return c.id;
    }
    ChatSummary created;
    try {
        auto call = primary->createDirect(myId);
        created = co_await call;
    } catch (const std::exception&) {
        co_return std::nullopt;
    }
    if (!self) co_return std::nullopt;
    upsertChat(created);
    m_claudeControlChatId = created.id;
    co_return created.id;
}

QCoro::Task<std::optional<QJsonObject>> Store::ccRequest(QString op, QString path,
                                                         QJsonObject extra) {
    QPointer<Store> self(this);
    std::optional<Api> target;
    qint64 targetChat = 0;
    const std::optional<qint64> chatId = ccRequestChatId(extra);
    const auto [server, real] = IDCodec::decode(chatId.value_or(0));
    if (server == 0) {
        target = api();
        if (!target) co_return std::nullopt;
        auto ensure = ensureClaudeControlChat();
        const std::optional<qint64> control = co_await ensure;
        if (!self || !control) co_return std::nullopt;
        targetChat = *control;
    } else {
        // No self-conversation is known on an extra server: the session's own
        // conversation carries its control traffic.
        target = apiFor(server);
        if (!target) co_return std::nullopt;
        extra.insert(QStringLiteral("chatId"), QJsonValue(real));
        targetChat = real;
    }
    const QString requestId = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString text = ccRequestText(requestId, op, path, extra);
    try {
        auto send = target->send(targetChat, text);
        co_await send;
    } catch (const std::exception&) {
        // The server may have taken it all the same: poll anyway.
    }
    for (int round = 0; round < replyPolls; ++round) {
        co_await sleep(replyPollInterval);
        if (!self) co_return std::nullopt;
        QList<Message> page;
        try {
            auto fetch = target->messages(targetChat, std::nullopt, replyWindow);
            page = co_await fetch;
        } catch (const std::exception&) {
            if (!self) co_return std::nullopt;
            continue;
        }
        if (!self) co_return std::nullopt;
        if (auto reply = ccFindReply(page, requestId)) co_return reply;
    }
    co_return std::nullopt;
}

// MARK: Host platform

std::optional<QString> Store::hostPlatform(int server) const {
    const auto it = serverPlatform().constFind(server);
    if (it == serverPlatform().constEnd()) return std::nullopt;
    return *it;
}

bool Store::hostIsMac(int server) const {
    return hostPlatform(server) != std::optional<QString>(QStringLiteral("linux"));
}

bool Store::chatHasMacTools(qint64 chatId) const {
    return IDCodec::serverId(chatId) == 0 && hostIsMac(0);
}
