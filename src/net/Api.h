#pragma once

// The one way the client speaks HTTP to a server: a base URL and an optional
// bearer token. A value built per call and dropped; every Api shares one
// QNetworkAccessManager, so every request passes the identity pinning.

#include "model/Config.h"
#include "model/Models.h"

#include <QCoroTask>
#include <QUrl>
#include <QUrlQuery>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

QString clientDeviceName();
QString clientAppVersion();

class Api {
public:
    using Query = QList<QPair<QString, QString>>;

    struct ControlAck {
        std::optional<bool> ok;
        static ControlAck fromJson(const QJsonObject& o);
        QJsonObject toJson() const;
    };
    struct ServerIdentityResponse {
        QString fingerprint;
        QString pubkey;
        std::optional<QString> platform;
        static ServerIdentityResponse fromJson(const QJsonObject& o);
        QJsonObject toJson() const;
    };
    struct KeyAuthResponse {
        QString token;
        User user;
        QString fingerprint;
        static KeyAuthResponse fromJson(const QJsonObject& o);
        QJsonObject toJson() const;
    };
    struct ChallengeResponse {
        QString nonce;
        static ChallengeResponse fromJson(const QJsonObject& o);
        QJsonObject toJson() const;
    };
    struct PairCodeResponse {
        QString code;
        std::optional<qint64> expiresInSeconds;
        QString fingerprint;
        static PairCodeResponse fromJson(const QJsonObject& o);
        QJsonObject toJson() const;
    };
    struct AlbumItem {
        QString kind;
        QString file;
        std::optional<qint64> width;
        std::optional<qint64> height;
        std::optional<QString> name;
    };
    // Told how many bytes of an upload's body went out, of how many.
    using UploadProgress = std::function<void(qint64 sent, qint64 total)>;

    struct MediaUpload {
        QString kind;
        QString ext;
        QString caption;
        std::optional<qint64> width;
        std::optional<qint64> height;
        bool clientTranscribe = false;
        std::optional<QString> engine;
        std::optional<QString> lang;
        UploadProgress progress;
    };

    Api(QUrl base, std::optional<QString> token) : base(std::move(base)), token(std::move(token)) {}

    QUrl base;
    std::optional<QString> token;

    // The shared session: 15 s transfer timeout, pinning on every reply.
    static QNetworkAccessManager& session();
    // Tests shorten the 15 s request timeout to exercise it quickly.
    static void setRequestTimeoutForTesting(int ms);
    static constexpr int requestTimeoutMs = 15000;
    static constexpr int uploadTimeoutMs = 180000;

    std::optional<QUrl> wsURL() const;
    QUrl avatarURL(qint64 userId, qint64 version) const;
    QUrl chatAvatarURL(qint64 chatId, qint64 version) const;
    QUrl url(const QString& path, const Query& query = {}) const;

    static QString friendlyMessage(const UrlError& error, const QString& host);

    // The generic call: JSON in, raw reply bytes out (2xx), or ApiError.
    QCoro::Task<QByteArray> request(QByteArray method, QString path, Query query = {},
                                    std::optional<QJsonObject> body = {}) const;

    template <typename T>
    QCoro::Task<T> call(QByteArray method, QString path, Query query = {},
                        std::optional<QJsonObject> body = {}) const {
        return decodeCall<T>(*this, std::move(method), std::move(path), std::move(query),
                             std::move(body));
    }

    // Sign-in and identity.
    QCoro::Task<LoginResponse> login(const QString& username) const;
    QCoro::Task<LoginResponse> loginGuest(const QString& name, const QString& code) const;
    QCoro::Task<ServerIdentityResponse> serverIdentity() const;
    QCoro::Task<KeyAuthResponse> keyRegister(const QString& pubkey, const QString& label) const;
    QCoro::Task<KeyAuthResponse> keyLogin() const;
    QCoro::Task<KeyAuthResponse> pair(const QString& code, const QString& pubkey,
                                      const QString& label) const;
    QCoro::Task<PairCodeResponse> pairCode() const;

    // Directory and state.
    QCoro::Task<BootstrapResponse> bootstrap() const;
    QCoro::Task<BuildsResponse> builds() const;
    QCoro::Task<QByteArray> fleetSites() const; // decoded by the fleet subsystem
    QCoro::Task<UserClient> userClient(qint64 userId) const;

    // Messages.
    QCoro::Task<QList<Message>> messages(qint64 chatId, std::optional<qint64> before,
                                         int limit = 50) const;
    QCoro::Task<Message> send(qint64 chatId, const QString& text,
                              std::optional<qint64> replyTo = {}) const;
    QCoro::Task<bool> markRead(qint64 chatId, qint64 messageId) const;
    QCoro::Task<ChatSummary> joinByCode(const QString& code) const;
    QCoro::Task<> sendTyping(qint64 chatId, QString device) const;
    QCoro::Task<QList<TypingUser>> fetchTyping(qint64 chatId, QString device) const;
    QCoro::Task<Message> edit(qint64 messageId, const QString& text) const;
    QCoro::Task<Message> forward(qint64 toChatId, qint64 messageId) const;
    QCoro::Task<> deleteMessage(qint64 id) const;
    QCoro::Task<Message> setTranscript(qint64 messageId, const QString& transcript,
                                       bool fallback) const;
    QCoro::Task<ChatSummary> setPinned(qint64 messageId, bool pinned) const;
    QCoro::Task<Message> sendAlbum(qint64 chatId, const QString& caption,
                                   const QList<AlbumItem>& items) const;

    // Raw uploads: bytes as the body, no friendly mapping of transport errors.
    QCoro::Task<Message> uploadMedia(qint64 chatId, QByteArray data, MediaUpload meta) const;
    QCoro::Task<QString> uploadBlob(qint64 chatId, QByteArray data, QString kind, QString ext,
                                    UploadProgress progress = {}) const;
    QCoro::Task<QString> transcribe(QByteArray data, QString ext = QStringLiteral("m4a"),
                                    std::optional<QString> lang = {}) const;
    QCoro::Task<User> uploadAvatar(QByteArray jpeg) const;
    QCoro::Task<ChatSummary> uploadChatAvatar(qint64 chatId, QByteArray jpeg) const;

    // Conversations and groups.
    QCoro::Task<ChatSummary> createDirect(qint64 userId) const;
    QCoro::Task<ChatSummary> createGroup(const QString& title,
                                         const QList<qint64>& memberIds) const;
    QCoro::Task<ChatSummary> setTavikAgent(qint64 chatId, bool on) const;
    QCoro::Task<ChatSummary> renameChat(qint64 chatId, const QString& title) const;
    QCoro::Task<> deleteChat(qint64 chatId) const;
    QCoro::Task<ChatSummary> addGroupMembers(qint64 chatId, const QList<qint64>& userIds) const;
    QCoro::Task<> removeChatMember(qint64 chatId, qint64 userId) const;
    QCoro::Task<InviteResponse> inviteCode(qint64 chatId) const;
    QCoro::Task<InviteResponse> rotateInvite(qint64 chatId) const;
    QCoro::Task<InviteResponse> revokeInvite(qint64 chatId) const;
    QCoro::Task<GroupRolesResponse> groupRoles() const;
    QCoro::Task<> setGroupRole(qint64 chatId, qint64 userId, GroupRole role) const;

    // Profile.
    QCoro::Task<User> updateUsername(const QString& username) const;
    QCoro::Task<User> updateProfileInfo(const QString& competence, const QString& experience) const;
    QCoro::Task<User> updateContact(const QString& email, const QString& phone) const;
    QCoro::Task<User> updateAddress(const QString& address, std::optional<double> lat,
                                    std::optional<double> lon) const;

    // Linked servers, agent host, rescue, screen control.
    QCoro::Task<LinkedServersResponse> registerLinkedServer(const QString& url) const;
    QCoro::Task<LinkedServersResponse> unregisterLinkedServer(const QString& url) const;
    QCoro::Task<> claudeHostPing(const QString& mac) const;
    QCoro::Task<ClaudeHost> claudeHostStatus() const;
    QCoro::Task<> rescueRestart() const;
    QCoro::Task<> rescueRelaunch() const;
    QCoro::Task<> rescueRollback(int steps) const;
    QCoro::Task<> controlCmd(QJsonObject command) const;
    QCoro::Task<std::optional<QByteArray>> controlFrame() const;

    // Push and notification preferences.
    QCoro::Task<> registerPushToken(const QString& token) const;
    QCoro::Task<> unregisterPushToken(const QString& token) const;
    QCoro::Task<> setNotifPrefs(const NotifPrefs& prefs, std::optional<QString> pushToken) const;
    QCoro::Task<QMap<QString, bool>> transcriptionKeyStatus() const;
    QCoro::Task<QMap<QString, bool>> setTranscriptionKeys(const QString& openai) const;

private:
    template <typename T>
    static QCoro::Task<T> decodeCall(Api api, QByteArray method, QString path, Query query,
                                     std::optional<QJsonObject> body) {
        const QByteArray data = co_await api.request(std::move(method), std::move(path),
                                                     std::move(query), std::move(body));
        co_return json::decode<T>(data);
    }
    QCoro::Task<> ack(QByteArray method, QString path, std::optional<QJsonObject> body = {}) const;
    QCoro::Task<QByteArray> rawUpload(QString path, Query query, QByteArray data, int timeoutMs,
                                      UploadProgress progress = {}) const;
    QNetworkRequest makeRequest(const QUrl& url) const;
};

// Decodes a finished reply: 2xx gives the body; any other status throws
// ApiError with the server's `error` text or "HTTP <status>".
QByteArray decodeResponse(int status, const QByteArray& body);
