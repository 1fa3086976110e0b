// Every REST route of a server, one thin coroutine each.

#include "BuildSettings.h"
#include "core/Logging.h"
#include "net/Api.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"

#include <QCoroNetworkReply>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace {
using Query = Api::Query;

QString id(qint64 value) {
    return QString::number(value);
}

QJsonArray idArray(const QList<qint64>& ids) {
    QJsonArray arr;
    for (qint64 i : ids)
        arr.append(QJsonValue(i));
    return arr;
}

QJsonObject catJson(const CatPref& pref) {
    return QJsonObject{{QStringLiteral("level"), toWire(pref.level)},
                       {QStringLiteral("sound"), pref.sound}};
}

QString textValue(const QByteArray& data, const QString& key) {
    return json::decode<QMap<QString, QString>>(data).value(key);
}
} // namespace

// MARK: Sign-in and identity

QCoro::Task<LoginResponse> Api::login(const QString& username) const {
    return call<LoginResponse>(QByteArrayLiteral("POST"), QStringLiteral("api/login"), {},
                               QJsonObject{{QStringLiteral("username"), username}});
}

QCoro::Task<LoginResponse> Api::loginGuest(const QString& name, const QString& code) const {
    return call<LoginResponse>(
        QByteArrayLiteral("POST"), QStringLiteral("api/login/guest"), {},
        QJsonObject{{QStringLiteral("name"), name}, {QStringLiteral("code"), code}});
}

QCoro::Task<Api::ServerIdentityResponse> Api::serverIdentity() const {
    return call<ServerIdentityResponse>(QByteArrayLiteral("GET"),
                                        QStringLiteral("api/server-identity"));
}

QCoro::Task<Api::KeyAuthResponse> Api::keyRegister(const QString& pubkey,
                                                   const QString& label) const {
    return call<KeyAuthResponse>(
        QByteArrayLiteral("POST"), QStringLiteral("api/key/register"), {},
        QJsonObject{{QStringLiteral("pubkey"), pubkey}, {QStringLiteral("label"), label}});
}

namespace {
QCoro::Task<Api::KeyAuthResponse> keyLoginFlow(Api api) {
    co_await DeviceKey::load();
    const auto pubkey = DeviceKey::publicKeyB64();
    if (!pubkey) throw ApiError(QStringLiteral("no device key"));
    const QJsonObject challengeBody{{QStringLiteral("pubkey"), *pubkey}};
    auto challengeCall = api.call<Api::ChallengeResponse>(
        QByteArrayLiteral("POST"), QStringLiteral("api/key/challenge"), {}, challengeBody);
    const auto challenge = co_await challengeCall;
    // The signature covers the nonce text as given, not decoded bytes.
    const auto signature = DeviceKey::sign(challenge.nonce.toUtf8());
    if (!signature) throw ApiError(QStringLiteral("device key can't sign"));
    const QJsonObject loginBody{{QStringLiteral("pubkey"), *pubkey},
                                {QStringLiteral("signature"), *signature}};
    auto loginCall = api.call<Api::KeyAuthResponse>(QByteArrayLiteral("POST"),
                                                    QStringLiteral("api/key/login"), {}, loginBody);
    co_return co_await loginCall;
}
} // namespace

QCoro::Task<Api::KeyAuthResponse> Api::keyLogin() const {
    return keyLoginFlow(*this);
}

QCoro::Task<Api::KeyAuthResponse> Api::pair(const QString& code, const QString& pubkey,
                                            const QString& label) const {
    return call<KeyAuthResponse>(QByteArrayLiteral("POST"), QStringLiteral("api/pair"), {},
                                 QJsonObject{{QStringLiteral("code"), code},
                                             {QStringLiteral("pubkey"), pubkey},
                                             {QStringLiteral("label"), label}});
}

QCoro::Task<Api::PairCodeResponse> Api::pairCode() const {
    return call<PairCodeResponse>(QByteArrayLiteral("POST"), QStringLiteral("api/pair/code"));
}

// MARK: Directory and state

QCoro::Task<BootstrapResponse> Api::bootstrap() const {
    return call<BootstrapResponse>(QByteArrayLiteral("GET"), QStringLiteral("api/bootstrap"));
}

QCoro::Task<BuildsResponse> Api::builds() const {
    return call<BuildsResponse>(QByteArrayLiteral("GET"), QStringLiteral("api/builds"));
}

QCoro::Task<QByteArray> Api::fleetSites() const {
    return request(QByteArrayLiteral("GET"), QStringLiteral("api/fleet/sites"));
}

QCoro::Task<UserClient> Api::userClient(qint64 userId) const {
    return call<UserClient>(QByteArrayLiteral("GET"),
                            QStringLiteral("api/users/%1/client").arg(userId));
}

// MARK: Messages

namespace {
QCoro::Task<QList<Message>> messagesPage(QCoro::Task<MessagesResponse> call) {
    auto reply = co_await call;
    co_return std::move(reply.messages);
}

// These routes never throw: their callers treat them as best effort.
QCoro::Task<bool> markReadFlow(QCoro::Task<Api::ControlAck> call) {
    try {
        const auto ack = co_await call;
        co_return ack.ok.value_or(true);
    } catch (const std::exception&) {
        co_return false;
    }
}

template <typename T>
QCoro::Task<> dropFailure(QCoro::Task<T> call) {
    try {
        co_await call;
    } catch (const std::exception& e) {
        qCDebug(lcNet) << "a call whose result nobody waits for failed:" << e.what();
    }
}

QCoro::Task<QList<TypingUser>> fetchTypingFlow(QCoro::Task<TypingResponse> call) {
    try {
        auto reply = co_await call;
        co_return std::move(reply.typing);
    } catch (const std::exception&) {
        // Typing is a hint: no answer means nobody is typing.
        co_return QList<TypingUser>{};
    }
}
} // namespace

QCoro::Task<QList<Message>> Api::messages(qint64 chatId, std::optional<qint64> before,
                                          int limit) const {
    Query query{{QStringLiteral("limit"), QString::number(limit)}};
    if (before) query.append({QStringLiteral("before"), id(*before)});
    return messagesPage(call<MessagesResponse>(
        QByteArrayLiteral("GET"), QStringLiteral("api/chats/%1/messages").arg(chatId), query));
}

QCoro::Task<Message> Api::send(qint64 chatId, const QString& text,
                               std::optional<qint64> replyTo) const {
    QJsonObject body{{QStringLiteral("text"), text}};
    if (replyTo) body.insert(QStringLiteral("replyTo"), QJsonValue(*replyTo));
    return call<Message>(QByteArrayLiteral("POST"),
                         QStringLiteral("api/chats/%1/messages").arg(chatId), {}, body);
}

QCoro::Task<bool> Api::markRead(qint64 chatId, qint64 messageId) const {
    return markReadFlow(
        call<ControlAck>(QByteArrayLiteral("POST"), QStringLiteral("api/chats/%1/read").arg(chatId),
                         {}, QJsonObject{{QStringLiteral("messageId"), QJsonValue(messageId)}}));
}

QCoro::Task<ChatSummary> Api::joinByCode(const QString& code) const {
    return call<ChatSummary>(QByteArrayLiteral("POST"), QStringLiteral("api/chats/join"), {},
                             QJsonObject{{QStringLiteral("code"), code}});
}

QCoro::Task<> Api::sendTyping(qint64 chatId, QString device) const {
    return dropFailure(call<QMap<QString, bool>>(
        QByteArrayLiteral("POST"), QStringLiteral("api/chats/%1/typing").arg(chatId), {},
        QJsonObject{{QStringLiteral("device"), device}}));
}

QCoro::Task<QList<TypingUser>> Api::fetchTyping(qint64 chatId, QString device) const {
    return fetchTypingFlow(call<TypingResponse>(QByteArrayLiteral("GET"),
                                                QStringLiteral("api/chats/%1/typing").arg(chatId),
                                                {{QStringLiteral("device"), device}}));
}

QCoro::Task<Message> Api::edit(qint64 messageId, const QString& text) const {
    return call<Message>(QByteArrayLiteral("PATCH"),
                         QStringLiteral("api/messages/%1").arg(messageId), {},
                         QJsonObject{{QStringLiteral("text"), text}});
}

QCoro::Task<Message> Api::forward(qint64 toChatId, qint64 messageId) const {
    return call<Message>(QByteArrayLiteral("POST"),
                         QStringLiteral("api/chats/%1/forward").arg(toChatId), {},
                         QJsonObject{{QStringLiteral("messageId"), QJsonValue(messageId)}});
}

QCoro::Task<> Api::deleteMessage(qint64 messageId) const {
    return ack(QByteArrayLiteral("DELETE"), QStringLiteral("api/messages/%1").arg(messageId));
}

QCoro::Task<Message> Api::setTranscript(qint64 messageId, const QString& transcript,
                                        bool fallback) const {
    return call<Message>(QByteArrayLiteral("POST"),
                         QStringLiteral("api/messages/%1/transcript").arg(messageId), {},
                         QJsonObject{{QStringLiteral("transcript"), transcript},
                                     {QStringLiteral("fallback"), fallback}});
}

QCoro::Task<ChatSummary> Api::setPinned(qint64 messageId, bool pinned) const {
    const QString path =
        pinned ? QStringLiteral("api/messages/%1/pin") : QStringLiteral("api/messages/%1/unpin");
    return call<ChatSummary>(QByteArrayLiteral("POST"), path.arg(messageId));
}

QCoro::Task<Message> Api::sendAlbum(qint64 chatId, const QString& caption,
                                    const QList<AlbumItem>& items) const {
    QJsonArray list;
    for (const AlbumItem& item : items) {
        QJsonObject o{{QStringLiteral("kind"), item.kind}, {QStringLiteral("file"), item.file}};
        if (item.width) o.insert(QStringLiteral("w"), QJsonValue(*item.width));
        if (item.height) o.insert(QStringLiteral("h"), QJsonValue(*item.height));
        if (item.name && !item.name->isEmpty()) o.insert(QStringLiteral("name"), *item.name);
        list.append(o);
    }
    QJsonObject body{{QStringLiteral("items"), list}};
    if (!caption.isEmpty()) body.insert(QStringLiteral("caption"), caption);
    return call<Message>(QByteArrayLiteral("POST"),
                         QStringLiteral("api/chats/%1/album").arg(chatId), {}, body);
}

// MARK: Raw uploads

namespace {
template <typename T>
QCoro::Task<T> decodeUpload(QCoro::Task<QByteArray> upload) {
    const QByteArray data = co_await upload;
    co_return json::decode<T>(data);
}

QCoro::Task<QString> blobFile(QCoro::Task<QByteArray> upload) {
    const QByteArray data = co_await upload;
    const QString file = textValue(data, QStringLiteral("file"));
    if (file.isEmpty()) throw ApiError(QStringLiteral("no file in blob response"));
    co_return file;
}

QCoro::Task<QString> transcriptText(QCoro::Task<QByteArray> upload) {
    const QByteArray data = co_await upload;
    const QString key = QStringLiteral("text");
    co_return textValue(data, key);
}
} // namespace

QCoro::Task<Message> Api::uploadMedia(qint64 chatId, QByteArray data, MediaUpload meta) const {
    Query query{{QStringLiteral("kind"), meta.kind}, {QStringLiteral("ext"), meta.ext}};
    if (!meta.caption.isEmpty()) query.append({QStringLiteral("caption"), meta.caption});
    if (meta.width) query.append({QStringLiteral("w"), id(*meta.width)});
    if (meta.height) query.append({QStringLiteral("h"), id(*meta.height)});
    if (meta.clientTranscribe) query.append({QStringLiteral("client_transcribe"), "true"});
    if (meta.engine) query.append({QStringLiteral("engine"), *meta.engine});
    if (meta.lang && !meta.lang->isEmpty()) query.append({QStringLiteral("lang"), *meta.lang});
    return decodeUpload<Message>(rawUpload(QStringLiteral("api/chats/%1/media").arg(chatId), query,
                                           std::move(data), uploadTimeoutMs,
                                           std::move(meta.progress)));
}

QCoro::Task<QString> Api::uploadBlob(qint64 chatId, QByteArray data, QString kind, QString ext,
                                     UploadProgress progress) const {
    return blobFile(rawUpload(QStringLiteral("api/chats/%1/blob").arg(chatId),
                              {{QStringLiteral("kind"), kind}, {QStringLiteral("ext"), ext}},
                              std::move(data), uploadTimeoutMs, std::move(progress)));
}

QCoro::Task<QString> Api::transcribe(QByteArray data, QString ext,
                                     std::optional<QString> lang) const {
    Query query{{QStringLiteral("ext"), ext}};
    if (lang && !lang->isEmpty()) query.append({QStringLiteral("lang"), *lang});
    return transcriptText(
        rawUpload(QStringLiteral("api/transcribe"), query, std::move(data), uploadTimeoutMs));
}

QCoro::Task<User> Api::uploadAvatar(QByteArray jpeg) const {
    return decodeUpload<User>(
        rawUpload(QStringLiteral("api/me/avatar"), {}, std::move(jpeg), requestTimeoutMs));
}

QCoro::Task<ChatSummary> Api::uploadChatAvatar(qint64 chatId, QByteArray jpeg) const {
    return decodeUpload<ChatSummary>(rawUpload(QStringLiteral("api/chats/%1/avatar").arg(chatId),
                                               {}, std::move(jpeg), requestTimeoutMs));
}

// MARK: Conversations and groups

QCoro::Task<ChatSummary> Api::createDirect(qint64 userId) const {
    return call<ChatSummary>(QByteArrayLiteral("POST"), QStringLiteral("api/chats"), {},
                             QJsonObject{{QStringLiteral("kind"), QStringLiteral("direct")},
                                         {QStringLiteral("userId"), QJsonValue(userId)}});
}

QCoro::Task<ChatSummary> Api::createGroup(const QString& title,
                                          const QList<qint64>& memberIds) const {
    return call<ChatSummary>(QByteArrayLiteral("POST"), QStringLiteral("api/chats"), {},
                             QJsonObject{{QStringLiteral("kind"), QStringLiteral("group")},
                                         {QStringLiteral("title"), title},
                                         {QStringLiteral("memberIds"), idArray(memberIds)}});
}

QCoro::Task<ChatSummary> Api::setTavikAgent(qint64 chatId, bool on) const {
    return call<ChatSummary>(QByteArrayLiteral("PATCH"), QStringLiteral("api/chats/%1").arg(chatId),
                             {}, QJsonObject{{QStringLiteral("tavikAgent"), on}});
}

QCoro::Task<ChatSummary> Api::renameChat(qint64 chatId, const QString& title) const {
    return call<ChatSummary>(QByteArrayLiteral("PATCH"), QStringLiteral("api/chats/%1").arg(chatId),
                             {}, QJsonObject{{QStringLiteral("title"), title}});
}

QCoro::Task<> Api::deleteChat(qint64 chatId) const {
    return ack(QByteArrayLiteral("DELETE"), QStringLiteral("api/chats/%1").arg(chatId));
}

QCoro::Task<ChatSummary> Api::addGroupMembers(qint64 chatId, const QList<qint64>& userIds) const {
    return call<ChatSummary>(QByteArrayLiteral("POST"),
                             QStringLiteral("api/chats/%1/members").arg(chatId), {},
                             QJsonObject{{QStringLiteral("user_ids"), idArray(userIds)}});
}

QCoro::Task<> Api::removeChatMember(qint64 chatId, qint64 userId) const {
    return ack(QByteArrayLiteral("DELETE"),
               QStringLiteral("api/chats/%1/members/%2").arg(chatId).arg(userId));
}

QCoro::Task<InviteResponse> Api::inviteCode(qint64 chatId) const {
    return call<InviteResponse>(QByteArrayLiteral("GET"),
                                QStringLiteral("api/chats/%1/invite").arg(chatId));
}

QCoro::Task<InviteResponse> Api::rotateInvite(qint64 chatId) const {
    return call<InviteResponse>(QByteArrayLiteral("POST"),
                                QStringLiteral("api/chats/%1/invite").arg(chatId));
}

QCoro::Task<InviteResponse> Api::revokeInvite(qint64 chatId) const {
    return call<InviteResponse>(QByteArrayLiteral("DELETE"),
                                QStringLiteral("api/chats/%1/invite").arg(chatId));
}

QCoro::Task<GroupRolesResponse> Api::groupRoles() const {
    return call<GroupRolesResponse>(QByteArrayLiteral("GET"), QStringLiteral("api/communities"));
}

QCoro::Task<> Api::setGroupRole(qint64 chatId, qint64 userId, GroupRole role) const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/groups/%1/role").arg(chatId),
               QJsonObject{{QStringLiteral("user_id"), QJsonValue(userId)},
                           {QStringLiteral("role"), toWire(role)}});
}

// MARK: Profile

QCoro::Task<User> Api::updateUsername(const QString& username) const {
    return call<User>(QByteArrayLiteral("PATCH"), QStringLiteral("api/me"), {},
                      QJsonObject{{QStringLiteral("username"), username}});
}

QCoro::Task<User> Api::updateProfileInfo(const QString& competence,
                                         const QString& experience) const {
    return call<User>(QByteArrayLiteral("PATCH"), QStringLiteral("api/me"), {},
                      QJsonObject{{QStringLiteral("competence"), competence},
                                  {QStringLiteral("experience"), experience}});
}

QCoro::Task<User> Api::updateContact(const QString& email, const QString& phone) const {
    return call<User>(
        QByteArrayLiteral("PATCH"), QStringLiteral("api/me"), {},
        QJsonObject{{QStringLiteral("email"), email}, {QStringLiteral("phone"), phone}});
}

QCoro::Task<User> Api::updateAddress(const QString& address, std::optional<double> lat,
                                     std::optional<double> lon) const {
    QJsonObject body{{QStringLiteral("address"), address}};
    if (lat) body.insert(QStringLiteral("lat"), *lat);
    if (lon) body.insert(QStringLiteral("lon"), *lon);
    return call<User>(QByteArrayLiteral("PATCH"), QStringLiteral("api/me"), {}, body);
}

// MARK: Linked servers, agent host, rescue, screen control

QCoro::Task<LinkedServersResponse> Api::registerLinkedServer(const QString& serverUrl) const {
    return call<LinkedServersResponse>(QByteArrayLiteral("POST"), QStringLiteral("api/servers"), {},
                                       QJsonObject{{QStringLiteral("url"), serverUrl}});
}

QCoro::Task<LinkedServersResponse> Api::unregisterLinkedServer(const QString& serverUrl) const {
    return call<LinkedServersResponse>(QByteArrayLiteral("DELETE"), QStringLiteral("api/servers"),
                                       {}, QJsonObject{{QStringLiteral("url"), serverUrl}});
}

QCoro::Task<> Api::claudeHostPing(const QString& mac) const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/claude/host"),
               QJsonObject{{QStringLiteral("mac"), mac}});
}

QCoro::Task<ClaudeHost> Api::claudeHostStatus() const {
    return call<ClaudeHost>(QByteArrayLiteral("GET"), QStringLiteral("api/claude/host"));
}

QCoro::Task<> Api::rescueRestart() const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/rescue/restart"));
}

QCoro::Task<> Api::rescueRelaunch() const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/rescue/relaunch"));
}

QCoro::Task<> Api::rescueRollback(int steps) const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/rescue/rollback"),
               QJsonObject{{QStringLiteral("steps"), steps}});
}

QCoro::Task<> Api::controlCmd(QJsonObject command) const {
    return dropFailure(call<ControlAck>(QByteArrayLiteral("POST"),
                                        QStringLiteral("api/control/cmd"), {}, command));
}

namespace {
// A body of 100 bytes or fewer is a placeholder, not a frame.
constexpr qsizetype minFrameBytes = 101;

QCoro::Task<std::optional<QByteArray>> controlFrameFlow(QNetworkRequest request) {
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    PinningDelegate::prepare(request);
    QNetworkReply* reply = Api::session().get(request);
    PinningDelegate::attach(reply);
    co_await qCoro(reply).waitForFinished(std::chrono::milliseconds(-1));
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray body = reply->readAll();
    if (status != 200 || body.size() < minFrameBytes) co_return std::nullopt;
    co_return body;
}
} // namespace

QCoro::Task<std::optional<QByteArray>> Api::controlFrame() const {
    return controlFrameFlow(makeRequest(url(QStringLiteral("api/control/frame"))));
}

// MARK: Push and preferences

QCoro::Task<> Api::registerPushToken(const QString& pushToken) const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/push/register"),
               QJsonObject{{QStringLiteral("token"), pushToken},
                           {QStringLiteral("platform"), QStringLiteral("ios")},
                           {QStringLiteral("topic"), QString::fromUtf8(BuildSettings::bundleId)}});
}

QCoro::Task<> Api::unregisterPushToken(const QString& pushToken) const {
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/push/unregister"),
               QJsonObject{{QStringLiteral("token"), pushToken}});
}

QCoro::Task<> Api::setNotifPrefs(const NotifPrefs& prefs, std::optional<QString> pushToken) const {
    // Calls and community posts are held locally but not sent.
    QJsonObject body{{QStringLiteral("muteAll"), prefs.muteAll},
                     {QStringLiteral("directMessages"), catJson(prefs.directMessages)},
                     {QStringLiteral("groupMessages"), catJson(prefs.groupMessages)},
                     {QStringLiteral("mentions"), catJson(prefs.mentions)}};
    if (pushToken) body.insert(QStringLiteral("token"), *pushToken);
    return ack(QByteArrayLiteral("POST"), QStringLiteral("api/push/prefs"), body);
}

QCoro::Task<QMap<QString, bool>> Api::transcriptionKeyStatus() const {
    return call<QMap<QString, bool>>(QByteArrayLiteral("GET"),
                                     QStringLiteral("api/admin/transcription-keys"));
}

QCoro::Task<QMap<QString, bool>> Api::setTranscriptionKeys(const QString& openai) const {
    return call<QMap<QString, bool>>(QByteArrayLiteral("POST"),
                                     QStringLiteral("api/admin/transcription-keys"), {},
                                     QJsonObject{{QStringLiteral("openai"), openai}});
}
