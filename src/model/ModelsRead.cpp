// Reader decoders for the records on hot paths. Each lists the same keys as
// its fromJson in Models.cpp; optional members are the std::optional ones.

#include "model/Models.h"

using json::field;
using json::Fields;
using json::JsonReader;

bool User::read(JsonReader& r, User& out) {
    static constexpr Fields fields{
        field("id", &User::id),
        field("username", &User::username),
        field("avatarAt", &User::avatarAt),
        field("address", &User::address),
        field("lat", &User::lat),
        field("lon", &User::lon),
        field("competence", &User::competence),
        field("experience", &User::experience),
        field("email", &User::email),
        field("phone", &User::phone),
        field("lastSeen", &User::lastSeen),
        field("isGuest", &User::isGuest),
    };
    return fields.read(r, out);
}

bool ReplySnippet::read(JsonReader& r, ReplySnippet& out) {
    static constexpr Fields fields{
        field("id", &ReplySnippet::id),
        field("senderId", &ReplySnippet::senderId),
        field("senderName", &ReplySnippet::senderName),
        field("text", &ReplySnippet::text),
    };
    return fields.read(r, out);
}

bool MediaInfo::read(JsonReader& r, MediaInfo& out) {
    static constexpr Fields fields{
        field("kind", &MediaInfo::kind),   field("url", &MediaInfo::url),
        field("width", &MediaInfo::width), field("height", &MediaInfo::height),
        field("name", &MediaInfo::name),
    };
    return fields.read(r, out);
}

bool Reaction::read(JsonReader& r, Reaction& out) {
    static constexpr Fields fields{
        field("emoji", &Reaction::emoji),
        field("userIds", &Reaction::userIds),
    };
    return fields.read(r, out);
}

bool ForwardInfo::read(JsonReader& r, ForwardInfo& out) {
    static constexpr Fields fields{
        field("senderId", &ForwardInfo::senderId),
        field("senderName", &ForwardInfo::senderName),
    };
    return fields.read(r, out);
}

bool Message::read(JsonReader& r, Message& out) {
    static constexpr Fields fields{
        field("id", &Message::id),
        field("chatId", &Message::chatId),
        field("senderId", &Message::senderId),
        field("senderName", &Message::senderName),
        field("text", &Message::text),
        field("replyTo", &Message::replyTo),
        field("reactions", &Message::reactions),
        field("media", &Message::media),
        field("album", &Message::album),
        field("forwardedFrom", &Message::forwardedFrom),
        field("transcript", &Message::transcript),
        field("createdAt", &Message::createdAt),
        field("editedAt", &Message::editedAt),
    };
    return fields.read(r, out);
}

bool ReadMark::read(JsonReader& r, ReadMark& out) {
    static constexpr Fields fields{
        field("userId", &ReadMark::userId),
        field("lastReadId", &ReadMark::lastReadId),
        field("updatedAt", &ReadMark::updatedAt),
    };
    return fields.read(r, out);
}

bool ChatSummary::read(JsonReader& r, ChatSummary& out) {
    static constexpr Fields fields{
        field("id", &ChatSummary::id),
        field("kind", &ChatSummary::kind),
        field("title", &ChatSummary::title),
        field("members", &ChatSummary::members),
        field("lastMessage", &ChatSummary::lastMessage),
        field("createdAt", &ChatSummary::createdAt),
        field("tavikAgent", &ChatSummary::tavikAgent),
        field("avatarAt", &ChatSummary::avatarAt),
        field("reads", &ChatSummary::reads),
        field("unread", &ChatSummary::unread),
        field("pinnedMessage", &ChatSummary::pinnedMessage),
    };
    return fields.read(r, out);
}

bool ClaudeUsageWindow::read(JsonReader& r, ClaudeUsageWindow& out) {
    static constexpr Fields fields{
        field("utilization", &ClaudeUsageWindow::utilization),
        field("resets_at", &ClaudeUsageWindow::resetsAt),
    };
    return fields.read(r, out);
}

bool ClaudeUsage::read(JsonReader& r, ClaudeUsage& out) {
    static constexpr Fields fields{
        field("fiveHour", &ClaudeUsage::fiveHour),
        field("sevenDay", &ClaudeUsage::sevenDay),
        field("email", &ClaudeUsage::email),
    };
    return fields.read(r, out);
}

bool ClaudeNamedAccount::read(JsonReader& r, ClaudeNamedAccount& out) {
    static constexpr Fields fields{
        field("email", &ClaudeNamedAccount::email),
        field("usage", &ClaudeNamedAccount::usage),
    };
    return fields.read(r, out);
}

bool ClaudeHost::read(JsonReader& r, ClaudeHost& out) {
    static constexpr Fields fields{
        field("online", &ClaudeHost::online),
        field("mac", &ClaudeHost::mac),
        field("platform", &ClaudeHost::platform),
        field("usage", &ClaudeHost::usage),
        field("rescueOnline", &ClaudeHost::rescueOnline),
        field("inputHelperOnline", &ClaudeHost::inputHelperOnline),
        field("accounts", &ClaudeHost::accounts),
        field("chatAccounts", &ClaudeHost::chatAccounts),
    };
    return fields.read(r, out);
}

bool CatPref::read(JsonReader& r, CatPref& out) {
    static constexpr Fields fields{
        field("level", &CatPref::level),
        field("sound", &CatPref::sound),
    };
    return fields.read(r, out);
}

bool NotifPrefs::read(JsonReader& r, NotifPrefs& out) {
    static constexpr Fields fields{
        field("directMessages", &NotifPrefs::directMessages),
        field("groupMessages", &NotifPrefs::groupMessages),
        field("mentions", &NotifPrefs::mentions),
        field("calls", &NotifPrefs::calls),
        field("communityPosts", &NotifPrefs::communityPosts),
        field("muteAll", &NotifPrefs::muteAll),
    };
    return fields.read(r, out);
}

bool BuildStatus::read(JsonReader& r, BuildStatus& out) {
    static constexpr Fields fields{
        field("state", &BuildStatus::state),
        field("percent", &BuildStatus::percent),
        field("label", &BuildStatus::label),
    };
    return fields.read(r, out);
}

bool BootstrapResponse::read(JsonReader& r, BootstrapResponse& out) {
    static constexpr Fields fields{
        field("me", &BootstrapResponse::me),
        field("users", &BootstrapResponse::users),
        field("chats", &BootstrapResponse::chats),
        field("agentId", &BootstrapResponse::agentId),
        field("botIds", &BootstrapResponse::botIds),
        field("notifPrefs", &BootstrapResponse::notifPrefs),
        field("transcriptionEngines", &BootstrapResponse::transcriptionEngines),
        field("claudeHost", &BootstrapResponse::claudeHost),
        field("builds", &BootstrapResponse::builds),
        field("linkedServers", &BootstrapResponse::linkedServers),
        field("discoveredServers", &BootstrapResponse::discoveredServers),
    };
    return fields.read(r, out);
}

bool MessagesResponse::read(JsonReader& r, MessagesResponse& out) {
    static constexpr Fields fields{field("messages", &MessagesResponse::messages)};
    return fields.read(r, out);
}

bool WsEvent::read(JsonReader& r, WsEvent& out) {
    static constexpr Fields fields{
        field("type", &WsEvent::type),
        field("message", &WsEvent::message),
        field("chat", &WsEvent::chat),
        field("user", &WsEvent::user),
        field("chatId", &WsEvent::chatId),
        field("userId", &WsEvent::userId),
        field("messageId", &WsEvent::messageId),
        field("device", &WsEvent::device),
        field("at", &WsEvent::at),
        field("online", &WsEvent::online),
        field("lastSeen", &WsEvent::lastSeen),
        field("onlineIds", &WsEvent::onlineIds),
        field("state", &WsEvent::state),
        field("percent", &WsEvent::percent),
        field("label", &WsEvent::label),
    };
    return fields.read(r, out);
}
