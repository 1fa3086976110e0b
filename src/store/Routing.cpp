// One id space for every server: translating records that enter from an extra
// server, and finding the server and real id behind a global id.

#include "model/IDCodec.h"
#include "net/ServerTokens.h"
#include "store/ServerLink.h"
#include "store/Store.h"

qint64 Store::mapUserId(qint64 id, int server) const {
    // The person is one user across servers: their id elsewhere folds onto me.id.
    if (server != 0 && m_me) {
        const auto it = m_serverMeId.constFind(server);
        if (it != m_serverMeId.constEnd() && *it == id) return m_me->id;
    }
    return IDCodec::encode(id, server);
}

qint64 Store::unmapUserId(qint64 id, int server) const {
    if (server != 0 && m_me && m_me->id == id) {
        const auto it = m_serverMeId.constFind(server);
        if (it != m_serverMeId.constEnd()) return *it;
    }
    return IDCodec::decode(id).real;
}

void Store::remap(User& user, int server) const {
    if (server == 0) return;
    user.id = mapUserId(user.id, server);
}

void Store::remap(Message& message, int server) const {
    if (server == 0) return;
    message.id = IDCodec::encode(message.id, server);
    message.chatId = IDCodec::encode(message.chatId, server);
    message.senderId = mapUserId(message.senderId, server);
    if (message.replyTo) {
        message.replyTo->id = IDCodec::encode(message.replyTo->id, server);
        message.replyTo->senderId = mapUserId(message.replyTo->senderId, server);
    }
    if (message.reactions)
        for (Reaction& reaction : *message.reactions)
            for (qint64& userId : reaction.userIds)
                userId = mapUserId(userId, server);
    if (message.forwardedFrom)
        message.forwardedFrom->senderId = mapUserId(message.forwardedFrom->senderId, server);
    // Relative media paths must keep pointing at their own server after the merge.
    if (!message.media && !message.album) return;
    if (const auto serverApi = apiFor(server)) {
        const QString base = serverApi->base.toString();
        if (message.media) message.media->url = absolutizeMediaPath(message.media->url, base);
        if (message.album)
            for (MediaInfo& item : *message.album)
                item.url = absolutizeMediaPath(item.url, base);
    }
}

void Store::remap(ChatSummary& chat, int server) const {
    if (server == 0) return;
    chat.id = IDCodec::encode(chat.id, server);
    for (User& member : chat.members)
        remap(member, server);
    if (chat.lastMessage) remap(*chat.lastMessage, server);
    if (chat.pinnedMessage) remap(*chat.pinnedMessage, server);
}

std::optional<Api> Store::apiFor(int server) const {
    const ServerLink* serverLink = m_links.value(server);
    return serverLink ? serverLink->api() : std::nullopt;
}

void Store::publishServerTokens() const {
    QList<ServerTokens::Entry> entries;
    const auto add = [&entries](const std::optional<Api>& serverApi) {
        if (serverApi && serverApi->token) entries.append({serverApi->base, *serverApi->token});
    };
    add(api());
    for (const ServerProfile& profile : m_extraServers)
        add(apiFor(profile.serverId));
    ServerTokens::shared().publish(this, std::move(entries));
}

std::optional<Store::Route> Store::route(qint64 id) const {
    const auto [server, real] = IDCodec::decode(id);
    auto serverApi = apiFor(server);
    if (!serverApi) return std::nullopt;
    return Route{*serverApi, real, server};
}

std::optional<std::pair<Api, qint64>> Store::routed(qint64 chatId) const {
    auto r = route(chatId);
    if (!r) return std::nullopt;
    return std::make_pair(r->api, r->real);
}

namespace {
bool isAbsolute(const QString& path) {
    return path.startsWith(QLatin1String("http://")) || path.startsWith(QLatin1String("https://"));
}
} // namespace

std::optional<QUrl> Store::absoluteURL(const std::optional<QString>& path) const {
    if (!path) return std::nullopt;
    if (isAbsolute(*path)) return QUrl(*path);
    const auto primary = api();
    if (!primary) return std::nullopt;
    return QUrl(primary->base.toString() + *path);
}

QString Store::absolutizeMediaPath(const QString& path, const QString& base) {
    return isAbsolute(path) ? path : base + path;
}

std::optional<QUrl> Store::mediaURL(const MediaInfo& media) const {
    return absoluteURL(media.url);
}

std::optional<QUrl> Store::avatarURL(qint64 userId) const {
    const auto serverApi = apiFor(IDCodec::serverId(userId));
    if (!serverApi) return std::nullopt;
    std::optional<qint64> version;
    if (m_me && m_me->id == userId) {
        version = m_me->avatarAt;
    } else {
        const auto it = std::find_if(m_users.begin(), m_users.end(),
                                     [userId](const User& u) { return u.id == userId; });
        if (it == m_users.end()) return std::nullopt;
        version = it->avatarAt;
    }
    if (!version) return std::nullopt;
    return serverApi->avatarURL(IDCodec::decode(userId).real, *version);
}

std::optional<QUrl> Store::chatAvatarURL(const ChatSummary& chat) const {
    if (chat.isGroup()) {
        const auto serverApi = apiFor(IDCodec::serverId(chat.id));
        if (!serverApi || !chat.avatarAt) return std::nullopt;
        return serverApi->chatAvatarURL(IDCodec::decode(chat.id).real, *chat.avatarAt);
    }
    for (const User& member : chat.members)
        if (!m_me || member.id != m_me->id) return avatarURL(member.id);
    return std::nullopt;
}
