#pragma once

// The one owner of application state and the home of almost all logic. It
// lives on the main thread; every task it starts runs there too, so fields
// need no locks, only a re-check after each suspension point. Operations are
// defined in the folder of the subsystem that owns them.

#include "model/Config.h"
#include "model/Models.h"
#include "net/Api.h"
#include "shell/Localisation.h"
#include "shell/Theme.h"
#include "store/TranscriptionEngine.h"

#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <memory>

class QWebSocket;
class Notifier;
class Geocoder;

// How a new message may reach the person: not at all, in the badge only, or
// also as a banner or system notification.
enum class NotificationStyle { off, badge, banner };

// The in-app notice of a new message or a new contact while the app is in front.
struct InAppBanner {
    QUuid id;
    std::optional<qint64> chatId;
    QString title;
    QString sender;
    QString text;
    std::optional<qint64> avatarUserId;
    bool operator==(const InAppBanner&) const = default;
};

// What changed in one conversation's history, so views can update by rows.
struct TimelineChange {
    enum Kind { reset, inserted, replaced, removed };
    Kind kind = reset;
    int index = 0;
    int count = 0;
};
Q_DECLARE_METATYPE(TimelineChange)

struct StoreOptions {
    // Tests shrink every wait (reconnect back-off, polling, expiries) by this factor.
    double timeScale = 1.0;
};

class Store : public QObject {
    Q_OBJECT

public:
    using Options = StoreOptions;

    explicit Store(Options options = {}, QObject* parent = nullptr);
    ~Store() override;

    // MARK: Time
    double timeScale() const { return m_options.timeScale; }
    // A wait of the given seconds, scaled for tests. Callers re-check their
    // QPointer<Store> afterwards.
    QCoro::Task<> sleep(double seconds) const;
    qint64 scaledMs(double seconds) const;
    static qint64 nowMs();

    // MARK: Launch and persistence
    static QString deviceId();
    std::optional<Api> api() const;
    bool isGuest() const { return false; }

    // MARK: Connection
    QString serverURLString;
    std::optional<QString> token;
    QPointer<QWebSocket> ws;
    bool wsConnected = false;
    double reconnectDelay = 1.0;
    bool reconnectScheduled = false;
    bool didBootstrap = false;
    bool appActive() const { return m_appActive; }
    void setAppActive(bool active);

    // MARK: Socket
    void connectWS();
    void sendWS(const QJsonObject& payload);
    void sendActive(bool active);
    void ensureConnected();
    void scheduleReconnect();

    // MARK: Events
    void handleEvent(const QString& text, int server);

    // MARK: Login
    bool suppressAutoLogin = false;
    static std::optional<QUrl> normalizedServerURL(const QString& text);
    QCoro::Task<> login(QString username, std::optional<QString> server = std::nullopt);
    QCoro::Task<> adoptLogin(LoginResponse response);
    QCoro::Task<bool> tailnetAutoLogin();
    QCoro::Task<> loginGuest(QString name, QString code);
    QCoro::Task<> joinByCode(QString code);
    void persistMe();
    void logout();
    QCoro::Task<> selectPrimaryBase();

    // MARK: Bootstrap and resync
    QCoro::Task<> resync();
    // A bootstrap reply merged into the store: a resync without its fetches.
    void mergeBootstrap(const BootstrapResponse& reply);
    void applyAvailableEngines(const std::optional<QList<QString>>& names);
    void sanitizeLastMessages(QList<ChatSummary>& list) const;
    void seedReads(const ChatSummary& chat);
    void startHostStatusPolling();
    void refreshBadge();
    QCoro::Task<> sendPushToken(QString pushToken);
    void registerForPush() {}
    QList<TranscriptionEngine> selectableEngines() const;
    int badgeCount() const { return m_badgeCount; }
    bool hostPollRunning() const { return m_hostPollStarted; }

    // MARK: Ids and routing across servers
    struct Route {
        Api api;
        qint64 real = 0;
        int server = 0;
    };
    qint64 mapUserId(qint64 id, int server) const;
    qint64 unmapUserId(qint64 id, int server) const;
    void remap(User& user, int server) const;
    void remap(Message& message, int server) const;
    void remap(ChatSummary& chat, int server) const;
    std::optional<Api> apiFor(int server) const;
    std::optional<Route> route(qint64 id) const;
    std::optional<std::pair<Api, qint64>> routed(qint64 chatId) const;
    std::optional<QUrl> absoluteURL(const std::optional<QString>& path) const;
    std::optional<QUrl> avatarURL(qint64 userId) const;
    std::optional<QUrl> chatAvatarURL(const ChatSummary& chat) const;
    static QString absolutizeMediaPath(const QString& path, const QString& base);
    std::optional<QUrl> mediaURL(const MediaInfo& media) const;

    // MARK: Extra servers
    const QList<ServerProfile>& extraServers() const { return m_extraServers; }
    void setExtraServers(const QList<ServerProfile>& servers);
    const QHash<int, QString>& serverTokens() const { return m_serverTokens; }
    void setServerTokens(const QHash<int, QString>& tokens);
    QHash<int, qint64> serverMeId;
    QHash<int, QPointer<QWebSocket>> extraWS;
    QHash<int, bool> extraWSConnected;
    QSet<int> extraReconnectScheduled;
    QHash<int, double> extraReconnectDelay;
    QSet<qint64> extraBotIds;

    // MARK: Directory
    std::optional<User> me;
    QList<User> users;
    std::optional<qint64> agentId;
    QSet<qint64> botIds;
    QSet<qint64> onlineUserIds;
    std::optional<User> profileUser;

    // MARK: Conversations
    QList<ChatSummary> chats;
    QHash<qint64, QList<Message>> messages;
    QHash<qint64, QString> chatDrafts;
    QHash<qint64, bool> hasMore;
    QSet<qint64> loadingOlder;
    qint64 nextTempId = -1;
    QHash<qint64, Message> visiblePreview;
    QHash<qint64, qint64> userActivity;
    QHash<qint64, qint64> buriedActivityResolved;
    QHash<qint64, QHash<qint64, GroupRole>> groupRoles;
    const QSet<qint64>& mutedChats() const { return m_mutedChats; }
    void setMutedChats(const QSet<qint64>& muted);
    std::optional<qint64> agentChatId;
    std::optional<qint64> savedChatId;

    // MARK: Timeline
    bool isBotUser(qint64 id) const;
    const ChatSummary* chat(qint64 chatId) const;
    QCoro::Task<> openChat(qint64 chatId);
    QCoro::Task<> loadOlder(qint64 chatId);
    QCoro::Task<> loadOlderExtra(qint64 chatId);
    QCoro::Task<> ensureVisibleLoaded(qint64 chatId);
    QCoro::Task<> prefetchHistories();
    int visibleMessageCount(qint64 chatId) const;
    void upsertMessage(const Message& message);
    void removeMessage(qint64 chatId, qint64 id);
    void updateChatLast(const Message& message);
    void refreshChatLastIfNeeded(const Message& message);
    void cacheVisiblePreview(const std::optional<Message>& message);
    std::optional<Message> latestVisibleMessage(qint64 chatId) const;
    void bumpUserActivity(qint64 chatId, std::optional<qint64> to);
    void resolveBuriedUserActivity(const ChatSummary& chat);
    qint64 userActivityAt(const ChatSummary& chat) const;
    void loadUserActivity();

    // MARK: Reads
    void markRead(qint64 chatId);
    int unreadChatCount() const;

    // MARK: Sending
    struct MediaUpload {
        QByteArray data;
        QString kind; // "image" or "file"
        QString ext;  // without the dot
        QString caption;
        std::optional<qint64> width;
        std::optional<qint64> height;
        std::optional<QString> name; // the original file name
    };
    QCoro::Task<> sendMessage(qint64 chatId, QString text,
                              std::optional<Message> replyTo = std::nullopt, bool priority = false);
    QCoro::Task<> sendMedia(qint64 chatId, QByteArray data, QString kind, QString ext,
                            QString caption = {}, std::optional<qint64> width = std::nullopt,
                            std::optional<qint64> height = std::nullopt);
    QCoro::Task<> sendMediaBatch(qint64 chatId, QList<MediaUpload> items);
    // The recording at `filePath` is removed however the send ends.
    QCoro::Task<> sendVoiceMessage(qint64 chatId, QByteArray data, QString filePath,
                                   std::optional<QString> transcript, TranscriptionEngine engine,
                                   bool priority = false);
    QCoro::Task<QString> transcribeAudio(QByteArray data);
    QCoro::Task<bool> forward(Message message, qint64 toChatId);
    QCoro::Task<std::optional<qint64>> forward(Message message, User toUser);
    QCoro::Task<> editMessage(Message message, QString text);
    QCoro::Task<> deleteMessage(Message message);
    QCoro::Task<> setPinned(Message message, bool pinned);

    // MARK: Typing, receipts and presence
    std::optional<qint64> firstUnreadId(qint64 chatId) const;
    void sendTyping(qint64 chatId);
    QStringList typingNames(qint64 chatId) const;
    bool isReadByOthers(const Message& message) const;
    struct ReadReceipt {
        User user;
        std::optional<QDateTime> at;
    };
    QList<ReadReceipt> readReceipts(const Message& message) const;
    bool isOnline(qint64 userId) const { return onlineUserIds.contains(userId); }
    QString presenceText(const User& user) const;

    // MARK: Notifications
    NotificationStyle notificationStyle() const;
    void clearNotifications(qint64 chatId);
    void clearAllDeliveredNotifications();
    QCoro::Task<> setNotifPrefs(NotifPrefs prefs);
    void persistNotifPrefs();
    bool isMuted(qint64 chatId) const { return m_mutedChats.contains(chatId); }
    void setMuted(qint64 chatId, bool muted);
    void showToast(QString text);
    const std::optional<InAppBanner>& inAppBanner() const { return m_inAppBanner; }
    void setInAppBanner(std::optional<InAppBanner> banner);
    // The freedesktop notifier unless one was set (tests record instead).
    Notifier& notifier();
    void setNotifier(std::shared_ptr<Notifier> notifier);

    // MARK: Chats, groups and people
    QCoro::Task<std::optional<ChatSummary>> createGroup(QString title, QList<qint64> memberIds);
    QCoro::Task<std::optional<ChatSummary>> startDirect(User user);
    QCoro::Task<> renameGroup(qint64 chatId, QString title);
    QCoro::Task<> renameChat(qint64 chatId, QString title);
    QCoro::Task<> deleteChat(qint64 chatId);
    QCoro::Task<> removeChatMember(qint64 chatId, User user);
    QCoro::Task<> addGroupMembers(qint64 chatId, QList<qint64> userIds);
    QCoro::Task<> loadGroupRoles();
    QCoro::Task<> setGroupRole(qint64 chatId, qint64 userId, GroupRole role);
    GroupRole groupRole(qint64 chatId, qint64 userId) const;
    bool canManageGroup(qint64 chatId) const;
    QCoro::Task<> ensureAgentChat();
    QCoro::Task<> openAgentChat();
    QCoro::Task<> openSavedMessages();
    QCoro::Task<> setTavikAgent(qint64 chatId, bool on);
    bool isAIChannel(const ChatSummary& chat) const;

    // MARK: Profile
    QCoro::Task<> updateUsername(QString username);
    QCoro::Task<> updateProfileInfo(QString competence, QString experience);
    QCoro::Task<> updateContact(QString email, QString phone);
    // False without a primary server or when the server refused.
    QCoro::Task<bool> updateAddress(QString text);
    QCoro::Task<> uploadAvatar(QByteArray jpeg);
    QCoro::Task<> uploadGroupAvatar(qint64 chatId, QByteArray jpeg);
    // Nominatim at the build's geocoder address unless one was set.
    Geocoder& geocoder();
    void setGeocoder(std::shared_ptr<Geocoder> geocoder);

    // MARK: Conversation list and people
    bool isSavedMessages(const ChatSummary& chat) const;
    void upsertChat(const ChatSummary& chat);
    void upsertUser(const User& user);
    void removeChat(qint64 chatId);

    // MARK: Reads and typing
    QHash<qint64, QHash<qint64, qint64>> reads;
    QHash<qint64, QHash<qint64, qint64>> readAt;
    QHash<qint64, QHash<qint64, QDateTime>> typing;
    QHash<qint64, QDateTime> lastTypingSent;
    QHash<qint64, qint64> lastReadSent;

    // MARK: Navigation and chrome
    std::optional<qint64> selectedChatId() const { return m_selectedChatId; }
    void setSelectedChatId(std::optional<qint64> chatId);
    std::optional<qint64> chatSettingsChatId;
    std::optional<QString> toast;
    int toastId = 0;

    // MARK: Errors
    std::optional<QString> lastError() const { return m_lastError; }
    void setLastError(std::optional<QString> error);
    std::optional<QString> lastCrashReport;

    // MARK: Settings
    AppDesign design() const { return m_design; }
    void setDesign(AppDesign design);
    AppAccent accent() const { return m_accent; }
    void setAccent(AppAccent accent);
    AppLanguage language() const { return m_language; }
    void setLanguage(AppLanguage language);
    TranscriptionEngine transcriptionEngine() const { return m_transcriptionEngine; }
    void setTranscriptionEngine(TranscriptionEngine engine);
    bool claudeCodeEnabled() const { return m_claudeCodeEnabled; }
    void setClaudeCodeEnabled(bool enabled);
    QList<TranscriptionEngine> availableServerEngines;
    NotifPrefs notifPrefs;
    std::optional<QString> pushToken;

    // MARK: Agent host
    bool claudeHostOnline = false;
    bool claudeRescueOnline = false;
    bool claudeInputHelperOnline = false;
    std::optional<QString> claudeHostName() const { return m_claudeHostName; }
    void setClaudeHostName(std::optional<QString> name);
    std::optional<ClaudeUsage> claudeUsage() const { return m_claudeUsage; }
    void setClaudeUsage(std::optional<ClaudeUsage> usage);
    int hostPollFails = 0;

    // MARK: Builds
    QHash<qint64, BuildStatus> builds;
    QHash<qint64, int> buildClearGen;
    bool buildPollStarted = false;

    // MARK: Per-server agent facts
    const QHash<int, QString>& serverPlatform() const { return m_serverPlatform; }
    void setServerPlatform(const QHash<int, QString>& platforms);
    const QHash<int, QString>& serverOS() const { return m_serverOS; }
    void setServerOS(const QHash<int, QString>& os);

    // MARK: Device key
    QCoro::Task<> upgradeKeyAuth();
    static QString keyRegisteredKey(const QUrl& base);

signals:
    void sessionChanged();
    void chatsReset();
    void chatChanged(qint64 chatId);
    void chatRemoved(qint64 chatId);
    void timelineChanged(qint64 chatId, TimelineChange change);
    void usersChanged();
    void presenceChanged();
    void readsChanged(qint64 chatId);
    void typingChanged(qint64 chatId);
    void buildsChanged(qint64 chatId);
    void badgeChanged(int count);
    void extraServersChanged();
    void connectionChanged();
    void lastErrorChanged();
    void selectionChanged();
    void settingsChanged();
    void hostChanged();
    void mutedChatsChanged();
    void toastChanged();
    void bannerChanged();
    void groupRolesChanged();

private:
    void init();
    void receiveLoop(QWebSocket* socket);
    void pingLoop(QWebSocket* socket);
    QCoro::Task<> onFirstPong(QPointer<QWebSocket> socket);
    void dropSocket(QWebSocket* socket);
    void handleNewMessage(const Message& message, int server);
    void handleTyping(const WsEvent& event);
    void handleBuildStatus(const WsEvent& event);
    void handleRead(const WsEvent& event);
    void handlePresence(const WsEvent& event, int server);
    void handlePresenceSnapshot(const WsEvent& event, int server);
    QCoro::Task<> refreshSelectedAfterResync();
    QCoro::Task<std::optional<LoginResponse>> probeLogin(QString username);
    int insertionIndex(const QList<Message>& list, const Message& message) const;
    void storeUserActivity();
    void flushUserActivity();
    void sortChats();
    void repositionChat(int index);
    bool isVisibleInTimeline(const Message& message) const;
    void readLookSettings();
    void decidePrimaryAddress();
    void startLoggedInTasks();
    void runLoadHelpers();

    Options m_options;
    bool m_appActive = true;
    QSet<qint64> m_mutedChats;
    std::optional<qint64> m_selectedChatId;
    std::optional<QString> m_lastError;
    AppDesign m_design = AppDesign::classic;
    AppAccent m_accent = AppAccent::blue;
    AppLanguage m_language = AppLanguage::system;
    TranscriptionEngine m_transcriptionEngine = TranscriptionEngine::apple;
    bool m_claudeCodeEnabled = true;
    std::optional<QString> m_claudeHostName;
    std::optional<ClaudeUsage> m_claudeUsage;
    QHash<int, QString> m_serverPlatform;
    QHash<int, QString> m_serverOS;
    QList<ServerProfile> m_extraServers;
    QHash<int, QString> m_serverTokens;
    int m_badgeCount = 0;
    bool m_userActivitySavePending = false;
    // Histories where a page was appended behind pending copies: ids no longer ascend.
    QSet<qint64> m_unorderedTimelines;
    bool m_hostPollStarted = false;
    // Conversations and notifications.
    void notifyIfNeeded(const Message& message);
    void showInAppBanner(const Message& message);
    void notifyUserJoined(const User& user);
    bool passesNotificationRules(const Message& message) const;
    void finishSend(Message reply, int server);
    void adoptProfile(const User& user);
    void reindexChats() const;
    std::optional<InAppBanner> m_inAppBanner;
    std::shared_ptr<Notifier> m_notifier;
    std::shared_ptr<Geocoder> m_geocoder;
    // Where each conversation stood in `chats` when last looked up; checked on use.
    mutable QHash<qint64, int> m_chatIndex;
};
