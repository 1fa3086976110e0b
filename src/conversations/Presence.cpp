// What the others have read and are typing, whether they are online, and the
// typing signal this client sends.

#include "conversations/Fmt.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QJsonObject>

namespace {
constexpr double typingThrottle = 1.5;
constexpr double typingShownFor = 5.0;
} // namespace

std::optional<qint64> Store::firstUnreadId(qint64 chatId) const {
    if (!m_me) return std::nullopt;
    const auto it = m_messages.constFind(chatId);
    if (it == m_messages.constEnd()) return std::nullopt;
    const qint64 mark = m_reads.value(chatId).value(m_me->id, 0);
    for (const Message& m : *it)
        if (m.id > mark && !m.isCCControl() && !m.isCCWorking() && m.senderId != m_me->id)
            return m.id;
    return std::nullopt;
}

void Store::sendTyping(qint64 chatId) {
    const QDateTime now = QDateTime::currentDateTime();
    const auto last = m_lastTypingSent.constFind(chatId);
    if (last != m_lastTypingSent.constEnd() && last->msecsTo(now) < scaledMs(typingThrottle))
        return;
    m_lastTypingSent[chatId] = now;
    const auto r = route(chatId);
    if (!r) return;
    if (r->server == 0) {
        sendWS({{QStringLiteral("type"), QStringLiteral("typing")},
                {QStringLiteral("chatId"), QJsonValue(chatId)}});
        return;
    }
    if (sendOnLink(r->server, {{QStringLiteral("type"), QStringLiteral("typing")},
                               {QStringLiteral("chatId"), QJsonValue(r->real)}}))
        return;
    // No live link: the REST form, best effort.
    [](Api restApi, qint64 realChat) -> QCoro::Task<> {
        auto call = restApi.sendTyping(realChat, deviceId());
        co_await call;
    }(r->api, r->real);
}

QStringList Store::typingNames(qint64 chatId) const {
    const QDateTime now = QDateTime::currentDateTime();
    const ChatSummary* c = chat(chatId);
    QStringList names;
    const QHash<qint64, QDateTime> entries = m_typing.value(chatId);
    for (auto it = entries.begin(); it != entries.end(); ++it) {
        // Expired entries are left out here; the map keeps them until swept.
        if (it.value().msecsTo(now) >= scaledMs(typingShownFor)) continue;
        const qint64 id = it.key();
        QString name = QStringLiteral("someone");
        if (m_me && m_me->id == id) {
            name = m_me->username;
        } else if (const auto u = std::find_if(m_users.begin(), m_users.end(),
                                               [id](const User& x) { return x.id == id; });
                   u != m_users.end()) {
            name = u->username;
        } else if (c) {
            for (const User& member : c->members)
                if (member.id == id) name = member.username;
        }
        names.push_back(name);
    }
    names.sort();
    return names;
}

bool Store::isReadByOthers(const Message& message) const {
    const QHash<qint64, qint64> marks = m_reads.value(message.chatId);
    for (auto it = marks.begin(); it != marks.end(); ++it)
        if ((!m_me || it.key() != m_me->id) && it.value() >= message.id) return true;
    return false;
}

QList<Store::ReadReceipt> Store::readReceipts(const Message& message) const {
    QList<ReadReceipt> out;
    const ChatSummary* c = chat(message.chatId);
    if (!c) return out;
    const QHash<qint64, qint64> marks = m_reads.value(message.chatId);
    const QHash<qint64, qint64> times = m_readAt.value(message.chatId);
    for (const User& member : c->members) {
        if (m_me && member.id == m_me->id) continue;
        const auto mark = marks.constFind(member.id);
        if (mark == marks.constEnd() || *mark < message.id) continue;
        const auto at = times.constFind(member.id);
        out.push_back({member, at == times.constEnd()
                                   ? std::nullopt
                                   : std::optional(QDateTime::fromMSecsSinceEpoch(*at))});
    }
    // Latest read first; those without a time last.
    std::stable_sort(out.begin(), out.end(), [](const ReadReceipt& a, const ReadReceipt& b) {
        if (a.at && b.at) return *a.at > *b.at;
        return a.at.has_value() && !b.at.has_value();
    });
    return out;
}

QString Store::presenceText(const User& user) const {
    if (isOnline(user.id)) return L(QStringLiteral("Online"));
    if (user.lastSeen) return L(QStringLiteral("Last seen")) + u' ' + Fmt::ago(*user.lastSeen);
    return L(QStringLiteral("Offline"));
}
