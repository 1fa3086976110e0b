#pragma once

// The one owner of application state and the home of almost all logic. It
// lives on the main thread; every task it starts runs there too, so fields
// need no locks, only a re-check after each suspension point. Operations are
// defined in the folder of the subsystem that owns them.

#include "core/AppSection.h"
#include "core/Appearance.h"
#include "core/Localisation.h"
#include "model/AgentTypes.h"
#include "model/Config.h"
#include "model/Models.h"
#include "net/Api.h"
#include "store/TranscriptionEngine.h"

#include <QCoroTask>
#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <functional>
#include <memory>

class ServerLink;
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
    const QString& serverURLString() const { return m_serverURLString; }
    // The primary's token, held by its link.
    const std::optional<QString>& token() const;
    bool didBootstrap() const { return m_didBootstrap; }
    bool appActive() const { return m_appActive; }
    void setAppActive(bool active);

    // MARK: Links, one per server (the primary is 0)
    void connectWS();
    void sendWS(const QJsonObject& payload);
    void sendActive(bool active);
    void ensureConnected();
    bool linkUp(int server) const;
    // A socket exists, up or still opening.
    bool linkOpen(int server) const;
    // The primary's always; an extra server's while its profile exists.
    ServerLink* link(int server) const;

    // MARK: Events
    void handleEvent(const QString& text, int server);
    // How many events of a server have changed what its bootstrap carries. A
    // fetch that started at one count and ends at another was overtaken.
    quint64 stateEventCount(int server) const { return m_stateEvents.value(server); }

    // MARK: Login
    bool suppressAutoLogin() const { return m_suppressAutoLogin; }
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
    // One run at a time: a call while one runs makes it go round once more
    // and returns when that round has ended.
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
    bool resyncRunning() const { return m_resyncRunning; }

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
    // Each extra server's token, held by its link.
    QHash<int, QString> serverTokens() const;
    void setServerTokens(const QHash<int, QString>& tokens);
    const QHash<int, qint64>& serverMeId() const { return m_serverMeId; }
    const QSet<qint64>& extraBotIds() const { return m_extraBotIds; }

    // MARK: Extra server lifecycle
    void loadExtraServers();
    void persistExtraServers();
    // The number a new profile gets: one above the highest in use.
    int nextServerId() const;
    const ServerProfile* extraServer(int server) const;
    // Silent: the outcome shows only in serverAnswering. Runs for one server
    // never overlap: a call while one runs makes it go round once more.
    QCoro::Task<> connectServer(ServerProfile profile);
    // A bootstrap of an extra server folded into the list; false when the
    // answer was empty and the server's conversations were kept.
    bool mergeExtraBootstrap(int server, BootstrapResponse reply);
    QCoro::Task<> connectExtraServers();
    void startExtraServerTasksIfAny();
    QCoro::Task<bool> addServer(QString name, QString url);
    QCoro::Task<> addServerByName(QUrl base, QString name, bool background = false);
    QCoro::Task<bool> addServerPaired(QString input, QString urlField, QString name);
    QCoro::Task<> addConversationByCode(QString code);
    QCoro::Task<> addGuestServerByCode(QUrl base, QString rawCode);
    QCoro::Task<> connectLinkedServers(QStringList urls);
    QCoro::Task<> connectDiscoveredServers(QStringList hosts);
    void removeServer(ServerProfile profile);
    QCoro::Task<> upgradeKeyAuthExtra(ServerProfile profile);

    // MARK: Extra server sync
    QCoro::Task<> refreshExtraChat(qint64 chatId);
    // Restarts every extra server's polling on its link.
    void startExtraPolling();
    void stopExtraPolling();
    bool extraPolling() const;
    void burstRefreshExtra(qint64 chatId);

    // MARK: Pairing and invites
    QCoro::Task<> pairPrimary(QString text);
    QString shareableInvite(const QString& code, qint64 chatId) const;
    std::optional<QString> inviteLink(qint64 chatId) const;
    void openInviteLink(const QUrl& url);

    // MARK: Invite codes
    // The conversation's invite code, absent when it has none or the call
    // failed (then lastError says why).
    QCoro::Task<std::optional<QString>> inviteCode(qint64 chatId);
    // A fresh code; the old one stops working.
    QCoro::Task<std::optional<QString>> rotateInvite(qint64 chatId);
    // True when the conversation no longer has a code.
    QCoro::Task<bool> revokeInvite(qint64 chatId);

    // MARK: Directory
    const std::optional<User>& me() const { return m_me; }
    const QList<User>& users() const { return m_users; }
    const std::optional<qint64>& agentId() const { return m_agentId; }
    const QSet<qint64>& onlineUserIds() const { return m_onlineUserIds; }
    const std::optional<User>& profileUser() const { return m_profileUser; }

    // MARK: Conversations
    const QList<ChatSummary>& chats() const { return m_chats; }
    const QHash<qint64, QList<Message>>& messages() const { return m_messages; }
    const QHash<qint64, QString>& chatDrafts() const { return m_chatDrafts; }
    // An empty draft is no draft.
    void setChatDraft(qint64 chatId, const QString& text);
    const QHash<qint64, bool>& hasMore() const { return m_hasMore; }
    qint64 nextTempId() const { return m_nextTempId; }
    const QHash<qint64, Message>& visiblePreview() const { return m_visiblePreview; }
    const QHash<qint64, qint64>& userActivity() const { return m_userActivity; }
    const QHash<qint64, QHash<qint64, GroupRole>>& groupRoles() const { return m_groupRoles; }
    const QSet<qint64>& mutedChats() const { return m_mutedChats; }
    void setMutedChats(const QSet<qint64>& muted);
    const std::optional<qint64>& agentChatId() const { return m_agentChatId; }
    const std::optional<qint64>& savedChatId() const { return m_savedChatId; }

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
    // The newest page joined to a loaded history: newer messages go at the end,
    // missing ones inside the tail take their place. True when the history was empty.
    bool mergeNewestPage(qint64 chatId, const QList<Message>& page, bool pendingOnlyTakesPage);
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
    // Read here or on another device: the unread count, notifications and badge.
    void clearUnread(qint64 chatId);
    int unreadChatCount() const;

    // MARK: Sending
    // How far the media being sent into a conversation has got: item `item`
    // of `items`, `sent` of `total` bytes of that item.
    struct UploadState {
        int item = 0;
        int items = 1;
        qint64 sent = 0;
        qint64 total = 0;
        double fraction() const;
    };
    const QHash<qint64, UploadState>& uploads() const { return m_uploads; }
    void setUpload(qint64 chatId, std::optional<UploadState> state);
    Api::UploadProgress uploadReporter(qint64 chatId, int item, int items);
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
    // `item` of `items` when it is one of a batch sent one by one.
    QCoro::Task<> sendMedia(qint64 chatId, QByteArray data, QString kind, QString ext,
                            QString caption = {}, std::optional<qint64> width = std::nullopt,
                            std::optional<qint64> height = std::nullopt, int item = 0,
                            int items = 1);
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
    bool isOnline(qint64 userId) const { return m_onlineUserIds.contains(userId); }
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
    const QHash<qint64, QHash<qint64, qint64>>& reads() const { return m_reads; }
    const QHash<qint64, QHash<qint64, qint64>>& readAt() const { return m_readAt; }
    const QHash<qint64, QHash<qint64, QDateTime>>& typing() const { return m_typing; }
    const QHash<qint64, qint64>& lastReadSent() const { return m_lastReadSent; }

    // MARK: Navigation and chrome
    std::optional<qint64> selectedChatId() const { return m_selectedChatId; }
    void setSelectedChatId(std::optional<qint64> chatId);
    // The conversation whose settings are open; it is also the selected one.
    std::optional<qint64> chatSettingsChatId() const { return m_chatSettingsChatId; }
    void openChatSettings(qint64 chatId);
    const std::optional<QString>& toast() const { return m_toast; }
    int toastId() const { return m_toastId; }

    // MARK: Errors
    std::optional<QString> lastError() const { return m_lastError; }
    void setLastError(std::optional<QString> error);

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
    const QList<TranscriptionEngine>& availableServerEngines() const {
        return m_availableServerEngines;
    }
    const NotifPrefs& notifPrefs() const { return m_notifPrefs; }

    // MARK: Agent host
    bool claudeHostOnline() const { return m_claudeHostOnline; }
    bool claudeInputHelperOnline() const { return m_claudeInputHelperOnline; }
    std::optional<QString> claudeHostName() const { return m_claudeHostName; }
    void setClaudeHostName(std::optional<QString> name);
    std::optional<ClaudeUsage> claudeUsage() const { return m_claudeUsage; }
    void setClaudeUsage(std::optional<ClaudeUsage> usage);
    int hostPollFails() const { return m_hostPollFails; }

    // MARK: Builds
    const QHash<qint64, BuildStatus>& builds() const { return m_builds; }
    const QHash<qint64, int>& buildClearGen() const { return m_buildClearGen; }
    bool buildPollStarted() const { return m_buildPollStarted; }

    // MARK: Per-server agent facts
    const QHash<int, QString>& serverPlatform() const { return m_serverPlatform; }
    void setServerPlatform(const QHash<int, QString>& platforms);
    const QHash<int, QString>& serverOS() const { return m_serverOS; }
    void setServerOS(const QHash<int, QString>& os);

    // MARK: App shell
    AppSection section() const { return m_section; }
    void setSection(AppSection section);
    bool showMainMenu() const { return m_showMainMenu; }
    void setShowMainMenu(bool show);
    // Opens another person's profile sheet; absent closes it.
    void setProfileUser(std::optional<User> user);
    // The login screen's invite way in, before any session exists.
    QCoro::Task<> loginWithInvite(QString name, QString code);
    // MARK: Agent markers
    // Per-conversation memory of what the host's markers said; survives
    // restarts and outlives the loaded history.
    const QHash<qint64, qint64>& ccOptimisticWorking() const { return m_ccOptimisticWorking; }
    const QHash<qint64, qint64>& ccSeenHighWater() const { return m_ccSeenHighWater; }
    const QHash<qint64, QSet<qint64>>& ccProcessedIds() const { return m_ccProcessedIds; }
    const QHash<qint64, bool>& ccChromeUsedChats() const { return m_ccChromeUsedChats; }
    const QHash<qint64, bool>& ccScreenshotUsedChats() const { return m_ccScreenshotUsedChats; }
    // Every message that reaches the store by any road passes here.
    void captureCCMarkers(const Message& message);
    bool captureCCContext(const Message& message);
    bool captureCCModel(const Message& message);
    bool captureCCEffort(const Message& message);
    bool captureCCChrome(const Message& message);
    bool captureCCScreenshot(const Message& message);
    bool captureCCSeen(const Message& message);
    bool captureCCProcessed(const Message& message);
    bool captureCCAccount(const Message& message);
    QCoro::Task<> captureServerOS();
    void loadCCSeenHighWater();
    void saveCCSeenHighWater() const;
    void loadCCProcessedIds();
    void saveCCProcessedIds() const;
    void loadCCChromeUsed();
    void saveCCChromeUsed() const;
    void loadCCScreenshotUsed();
    void saveCCScreenshotUsed() const;
    void loadServerPlatform();
    void loadServerOS();

    // MARK: Agent control channel
    // The self-conversation of the primary server that carries control traffic.
    const std::optional<qint64>& claudeControlChatId() const { return m_claudeControlChatId; }
    QCoro::Task<std::optional<qint64>> ensureClaudeControlChat();
    std::optional<QString> hostPlatform(int server) const;
    bool hostIsMac(int server) const;
    bool chatHasMacTools(qint64 chatId) const;
    // The text of a request: the control prefix and the JSON object of `extra`
    // with the fixed fields, which win over `extra`.
    static QString ccRequestText(const QString& requestId, const QString& op, const QString& path,
                                 const QJsonObject& extra);
    // The conversation a request names: an integer or any JSON number.
    static std::optional<qint64> ccRequestChatId(const QJsonObject& extra);
    // The reply to `requestId` among fetched messages, if one is there.
    static std::optional<QJsonObject> ccFindReply(const QList<Message>& page,
                                                  const QString& requestId);

    // MARK: Agent session status
    static QString claudeCodeUsername() { return QStringLiteral("Claude Code"); }
    std::optional<qint64> claudeCodeUserId() const;
    bool isClaudeCodeChat(const ChatSummary& chat) const;
    bool isClaudeSessionChat(const ChatSummary& chat) const;
    bool ccWorking(qint64 chatId) const;
    std::optional<qint64> ccProcessingMsgId(qint64 chatId) const;
    bool ccChromeActive(qint64 chatId) const;
    bool ccScreenshotActive(qint64 chatId) const;
    std::optional<qint64> ccSeenMsgId(qint64 chatId) const;
    // Linear over a conversation when asked for every bubble: what the rules
    // need from the history is computed once per state (see statusEpoch).
    std::optional<CCMessageStatus> ccStatus(const Message& message) const;
    QList<Message> backloggedMessages(qint64 chatId) const;
    std::optional<QString> ccStatusText(qint64 chatId) const;
    std::optional<QString> ccStatusLine(qint64 chatId) const;
    qint64 lastRealMsgId(qint64 chatId) const;
    // The client's own guess after a send: working for 12 s unless the host
    // speaks. The sender calls it for a session conversation (isClaudeSessionChat)
    // right after appending the pending copy, with that copy's createdAt.
    void ccStartOptimisticWorking(qint64 chatId, qint64 sentAtMs);
    QCoro::Task<> ccSendNow(qint64 chatId, qint64 msgId);
    QCoro::Task<> ccStopSession(qint64 chatId);
    // The readings above are computed once per state and kept: code that
    // writes what they read (`messages`, `chats`, `me`, the markers' memory)
    // emits the matching signal (timelineChanged, chatChanged, chatsReset,
    // sessionChanged, ccStateChanged), as views need anyway.
    quint64 statusEpoch() const { return m_scanEpoch; }

    // MARK: Agent preferences
    // Chosen values (the model choice map is keyed "ccModelChoice" on disk).
    // Chosen but not yet confirmed by a report.
    const QHash<qint64, CCOptimisticModel>& ccOptimisticModel() const {
        return m_ccOptimisticModel;
    }
    const QHash<qint64, CCOptimisticEffort>& ccOptimisticEffort() const {
        return m_ccOptimisticEffort;
    }
    // Reported by the host.
    const QHash<qint64, Config::CCEffort>& ccReportedEfforts() const { return m_ccReportedEfforts; }
    QList<Config::CCModelInfo> availableModels = Config::fallbackModels();
    const QSet<qint64>& pendingPrefSync() const { return m_pendingPrefSync; }
    const QSet<qint64>& ccPrefsUnsupported() const { return m_ccPrefsUnsupported; }
    Config::CCPermission ccPermission(qint64 chatId) const;
    Config::CCEffort ccEffort(qint64 chatId) const;
    QString ccModelChoice(qint64 chatId) const;
    bool ccChromeEnabled(qint64 chatId) const;
    std::optional<QString> ccModel(qint64 chatId) const;
    Config::CCEffort ccBadgeEffort(qint64 chatId) const;
    QString ccBadgeModelId(qint64 chatId) const;
    QString defaultModelId() const;
    QString defaultModelName() const;
    QList<Config::CCModelInfo> modelPickerOptions(const QString& selected) const;
    QCoro::Task<bool> updateCCPermission(qint64 chatId, Config::CCPermission permission);
    QCoro::Task<bool> updateCCEffort(qint64 chatId, Config::CCEffort effort);
    QCoro::Task<bool> updateCCModel(qint64 chatId, QString model);
    QCoro::Task<bool> updateCCChrome(qint64 chatId, bool enabled);
    QCoro::Task<PrefPushResult> ccSetPermission(qint64 chatId, Config::CCPermission permission);
    QCoro::Task<PrefPushResult> ccSetEffort(qint64 chatId, Config::CCEffort effort);
    QCoro::Task<PrefPushResult> ccSetModel(qint64 chatId, QString model);
    QCoro::Task<PrefPushResult> ccSetChrome(qint64 chatId, bool enabled);
    QCoro::Task<> ccSyncPrefs(qint64 chatId);
    QCoro::Task<> flushPendingPrefs();
    QCoro::Task<> loadAvailableModels(qint64 chatId);
    void markPrefSync(qint64 chatId, bool synced);
    void loadCCPermissions();
    void saveCCPermissions() const;
    void loadCCEfforts();
    void saveCCEfforts() const;
    void loadCCModelChoice();
    void saveCCModelChoice() const;
    void loadCCModels();
    void saveCCModels() const;
    void loadCCChrome();
    void saveCCChrome() const;
    void loadPendingPrefSync();
    void savePendingPrefSync() const;
    void loadCCReportedEfforts();
    void saveCCReportedEfforts() const;
    void loadCCWorkdirs();
    void saveCCWorkdirs() const;

    // MARK: Remote files
    QCoro::Task<std::optional<CCListing>> ccListDirs(QString path);
    QCoro::Task<std::optional<CCDirListing>> ccListDir(qint64 chatId, QString path);
    QCoro::Task<> ccOpenPrivacySettings();
    QCoro::Task<std::optional<CCFileChunk>> ccReadFileChunk(QString path, qint64 offset);
    // The viewer's read: chunk after chunk up to `cap` bytes.
    QCoro::Task<CCFileView> ccReadFileForViewer(QString path, qint64 cap);
    QCoro::Task<std::optional<QUrl>> ccDownloadFile(qint64 chatId, QString path, QString name);
    QCoro::Task<std::optional<QString>> ccCreateFolder(QString parent, QString name);
    QCoro::Task<std::optional<qint64>> ccCreateSession(QString path,
                                                       Config::CCPermission permission);
    QCoro::Task<std::optional<QString>> ccReadClaudeMd(qint64 chatId);
    QCoro::Task<bool> ccWriteClaudeMd(qint64 chatId, QString content);
    QCoro::Task<std::optional<QStringList>> ccListEnvFiles(qint64 chatId);
    QCoro::Task<std::optional<QString>> ccReadEnvFile(qint64 chatId, QString name);
    QCoro::Task<bool> ccWriteEnvFile(qint64 chatId, QString name, QString content);
    static QStringList chunkUTF8(const QString& text, int maxBytes);
    std::optional<QString> ccWorkdir(qint64 chatId) const;

    // MARK: Claude accounts
    const QHash<int, QString>& serverClaudeEmail() const { return m_serverClaudeEmail; }
    void setServerClaudeEmail(const QHash<int, QString>& emails);
    const QHash<int, ClaudeUsage>& serverClaudeUsage() const { return m_serverClaudeUsage; }
    void setServerClaudeUsage(const QHash<int, ClaudeUsage>& usage);
    const QHash<int, bool>& serverAnswering() const { return m_serverAnswering; }
    const QList<ClaudeNamedAccount>& macNamedAccounts() const { return m_macNamedAccounts; }
    const QHash<qint64, QString>& macChatAccounts() const { return m_macChatAccounts; }
    void loadServerClaudeEmail();
    void loadServerClaudeUsage();
    QCoro::Task<std::optional<CCAuthStatus>> ccAuthStatus(qint64 chatId);
    QCoro::Task<bool> ccAuthLogout(qint64 chatId);
    QCoro::Task<std::optional<CCLoginStart>> ccAuthLoginStart(qint64 chatId);
    QCoro::Task<CCLoginResult> ccAuthLoginSubmit(QString loginId, QString code, qint64 chatId);
    QCoro::Task<QList<CCAccountListEntry>> ccAccountList();
    QCoro::Task<std::optional<CCLoginStart>> ccAccountLoginStart();
    QCoro::Task<CCLoginResult> ccAccountLoginSubmit(QString loginId, QString code);
    // Nil on success, otherwise the failure text.
    QCoro::Task<std::optional<QString>> ccSetAccount(qint64 chatId, QString email);
    QCoro::Task<std::optional<QString>> ccAccountExport(QString email,
                                                        std::optional<qint64> viaChatId);
    QCoro::Task<std::optional<QString>> switchChatAccount(qint64 chatId,
                                                          std::optional<QString> toEmail);
    QCoro::Task<> realignTailnetAccount();
    QList<ClaudeClient> claudeClients() const;
    QList<ClaudeAccount> claudeAccounts() const;
    QString primaryClientSubtitle() const;
    bool hasMacRunner() const;
    QList<ChatSummary> chatsOnServers(const QSet<int>& servers) const;
    QList<ChatSummary> allSessionChats() const;
    QList<ChatSummary> chatsOnAccount(const QString& email) const;
    QStringList knownAccountEmails() const;
    bool chatClientAnswering(qint64 chatId) const;
    std::optional<QString> chatAccountEmail(qint64 chatId) const;

    // MARK: Context economy
    const QHash<qint64, qint64>& ccContextFloor() const { return m_ccContextFloor; }
    std::optional<CCContextStat> ccContext(qint64 chatId) const;
    QCoro::Task<> ccClearContext(qint64 chatId, std::optional<QString> seed);
    // The idle advice: a context to reset and an hour without the person.
    bool showIdleReset(qint64 chatId, bool dismissed) const;
    // A seed for a reset: the last visible messages of the conversation.
    QString recentDigest(qint64 chatId, int limit = 50) const;
    void loadCCContext();
    void saveCCContext() const;
    void loadCCContextFloor();
    void saveCCContextFloor() const;

    // MARK: Builds and deploys
    const QHash<qint64, CCDeployRecord>& deployByChat() const { return m_deployByChat; }
    const QHash<qint64, qint64>& seenDeploy() const { return m_seenDeploy; }
    const QHash<qint64, qint64>& notifiedDeploy() const { return m_notifiedDeploy; }
    const std::optional<DeployTarget>& lastGlobalDeploy() const { return m_lastGlobalDeploy; }
    qint64 lastGlobalDeployId() const { return m_lastGlobalDeployId; }
    void syncBuilds(const std::optional<QMap<QString, BuildStatus>>& map, int server = 0);
    void startBuildPolling();
    std::optional<CCDeployRecord> latestDeploy(qint64 chatId) const;
    std::optional<DeployTarget> activeDeploy(qint64 chatId) const;
    void markDeploySeen(qint64 chatId);
    void refreshGlobalDeploy();
    // Announces a finished deploy once the session is idle and its queue
    // empty, through the deployReady signal.
    void notifyDeployReadyIfNeeded(qint64 chatId);
    // Shows what deployReady announces: a banner, a system notification or,
    // for the conversation on screen, nothing.
    void showDeployReady(qint64 chatId, qint64 msgId, DeployTarget target, QString title,
                         QString body);
    void loadSeenDeploy();
    void saveSeenDeploy() const;
    void loadNotifiedDeploy();
    void saveNotifiedDeploy() const;
    void loadGlobalDeploy();
    void saveGlobalDeploy() const;
    void loadDeployByChat();
    void saveDeployByChat() const;

    // MARK: Usage meters
    QCoro::Task<> refreshClaudeUsage();
    void loadCachedUsage();

    // MARK: Device key
    QCoro::Task<> upgradeKeyAuth();
    static QString keyRegisteredKey(const QUrl& base);
    // Whether this device's key is registered with the server at `base`.
    static bool keyRegistered(const QUrl& base);
    // A plain address whose server's key can be pinned, which then moves it onto TLS.
    static bool pinnable(const QUrl& url);

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
    void uploadsChanged(qint64 chatId);
    void extraServersChanged();
    void connectionChanged();
    void lastErrorChanged();
    void selectionChanged();
    void settingsChanged();
    void hostChanged();
    void mutedChatsChanged();
    void navigationChanged();
    void profileUserChanged();
    void toastChanged();
    // A conversation's agent state: markers, status, preferences, context.
    void ccStateChanged(qint64 chatId);
    void ccModelsChanged();
    void accountsChanged();
    void deploysChanged(qint64 chatId);
    // A deploy is done and the session idle. The notifications side shows it:
    // a banner when the app is active and the conversation is not selected,
    // nothing for the selected one, a system notification with the identifier
    // "deploy-<chatId>-<msgId>" when the app is in the background.
    void deployReady(qint64 chatId, qint64 msgId, DeployTarget target, QString title, QString body);
    void bannerChanged();
    void groupRolesChanged();
    // A resync, or one server's connectServer, has run its last round.
    void resyncFinished();
    void serverConnectFinished(int server);

private:
    friend class StoreSeam; // tests set up states no operation reaches quickly
    // The merged picture; read through the accessors above.
    QString m_serverURLString;
    bool m_didBootstrap = false;
    bool m_suppressAutoLogin = false;
    QHash<int, qint64> m_serverMeId;
    QSet<qint64> m_extraBotIds;
    std::optional<User> m_me;
    QList<User> m_users;
    std::optional<qint64> m_agentId;
    QSet<qint64> m_botIds;
    QSet<qint64> m_onlineUserIds;
    std::optional<User> m_profileUser;
    QList<ChatSummary> m_chats;
    QHash<qint64, QList<Message>> m_messages;
    QHash<qint64, bool> m_hasMore;
    QSet<qint64> m_loadingOlder;
    qint64 m_nextTempId = -1;
    QHash<qint64, Message> m_visiblePreview;
    QHash<qint64, qint64> m_userActivity;
    QHash<qint64, qint64> m_buriedActivityResolved;
    QHash<qint64, QHash<qint64, GroupRole>> m_groupRoles;
    std::optional<qint64> m_agentChatId;
    std::optional<qint64> m_savedChatId;
    QHash<qint64, UploadState> m_uploads;
    QHash<qint64, QHash<qint64, qint64>> m_reads;
    QHash<qint64, QHash<qint64, qint64>> m_readAt;
    QHash<qint64, QHash<qint64, QDateTime>> m_typing;
    QHash<qint64, QDateTime> m_lastTypingSent;
    QHash<qint64, qint64> m_lastReadSent;
    std::optional<QString> m_toast;
    int m_toastId = 0;
    std::optional<QString> m_lastCrashReport;
    QList<TranscriptionEngine> m_availableServerEngines;
    NotifPrefs m_notifPrefs;
    std::optional<QString> m_pushToken;
    bool m_claudeHostOnline = false;
    bool m_claudeRescueOnline = false;
    bool m_claudeInputHelperOnline = false;
    int m_hostPollFails = 0;
    QHash<qint64, BuildStatus> m_builds;
    QHash<qint64, int> m_buildClearGen;
    bool m_buildPollStarted = false;
    QHash<qint64, qint64> m_ccOptimisticWorking; // deadline in ms since 1970
    QHash<qint64, qint64> m_ccSeenHighWater;
    QHash<qint64, QSet<qint64>> m_ccProcessedIds;
    QHash<qint64, bool> m_ccChromeUsedChats;
    QHash<qint64, bool> m_ccScreenshotUsedChats;
    std::optional<qint64> m_claudeControlChatId;
    QHash<qint64, Config::CCPermission> m_ccPermissions;
    QHash<qint64, Config::CCEffort> m_ccEfforts;
    QHash<qint64, QString> m_ccModelChoices;
    QHash<qint64, bool> m_ccChrome;
    QHash<qint64, CCOptimisticModel> m_ccOptimisticModel;
    QHash<qint64, CCOptimisticEffort> m_ccOptimisticEffort;
    QHash<qint64, QString> m_ccModels;
    QHash<qint64, Config::CCEffort> m_ccReportedEfforts;
    QHash<qint64, QString> m_ccWorkdirs;
    QSet<qint64> m_pendingPrefSync;
    QSet<qint64> m_ccPrefsUnsupported;
    QHash<int, bool> m_serverAnswering;
    QList<ClaudeNamedAccount> m_macNamedAccounts;
    QHash<int, QList<ClaudeNamedAccount>> m_serverNamedAccounts;
    QHash<qint64, QString> m_macChatAccounts;
    QHash<int, QHash<qint64, QString>> m_serverChatAccounts;
    QHash<qint64, CCContextStat> m_ccContextStats;
    QHash<qint64, qint64> m_ccContextFloor;
    QHash<qint64, CCDeployRecord> m_deployByChat;
    QHash<qint64, qint64> m_seenDeploy;
    QHash<qint64, qint64> m_notifiedDeploy;
    std::optional<DeployTarget> m_lastGlobalDeploy;
    qint64 m_lastGlobalDeployId = 0;

    void init();
    // Hands every server's address and token to the fetches of the views.
    void publishServerTokens() const;
    QCoro::Task<> waitWhile(std::function<bool(const Store&)> busy);
    QCoro::Task<std::optional<LoginResponse>> signInAsGuest(Api anonymous, QString name,
                                                            QString code);
    ServerLink* ensureLink(int server);
    void forgetLink(int server);
    // The primary's address as typed, and the link's parsed copy of it.
    void setPrimaryAddress(const QString& text);
    void setPrimaryToken(std::optional<QString> token);
    // No token is kept for a server that has no profile.
    void setServerToken(int server, std::optional<QString> token);
    // One link for each extra server, at its profile's address.
    void followExtraServers();
    bool sendOnLink(int server, const QJsonObject& payload);
    QCoro::Task<> onPrimaryUp();
    void onExtraUp(int server);
    void connectExtraWSIfNeeded(int server);
    void closeExtraWS(int server);
    void handleNewMessage(const Message& message, int server);
    void handleTyping(const WsEvent& event);
    void handleBuildStatus(const WsEvent& event);
    void handleRead(const WsEvent& event);
    void handlePresence(const WsEvent& event, int server);
    void handlePresenceSnapshot(const WsEvent& event, int server);
    // Extra servers.
    QCoro::Task<> pollExtraServer(int server, bool bootstrap, std::function<bool()> current);
    QCoro::Task<> sweepExtraTyping(int server);
    void reconcileTyping(qint64 chatId, int server, const QList<TypingUser>& typers);
    int adoptServerProfile(const QUrl& base, const QString& fallbackName);
    QCoro::Task<> joinExtraServer(QUrl base, QString serverToken);
    void startFederationFollowUps(const BootstrapResponse& reply);
    QCoro::Task<> resyncRound();
    QCoro::Task<std::optional<BootstrapResponse>> fetchPrimaryBootstrap();
    QCoro::Task<> refreshSelectedAfterResync();
    QCoro::Task<> connectServerRound(ServerProfile profile);
    QCoro::Task<std::optional<LoginResponse>> probeLogin(QString username);
    int insertionIndex(const QList<Message>& list, const Message& message) const;
    void fillHoles(qint64 chatId, const QList<Message>& page, qint64 upTo);
    void storeUserActivity();
    void flushUserActivity();
    void sortChats();
    void repositionChat(int index);
    bool isVisibleInTimeline(const Message& message) const;
    void readLookSettings();
    void decidePrimaryAddress();
    void startLoggedInTasks();
    void runLoadHelpers();
    // Agent internals.
    struct SessionScan;
    const SessionScan& sessionScan(qint64 chatId) const;
    const SessionScan& findSessionScan(qint64 chatId) const;
    std::shared_ptr<SessionScan> scanSession(qint64 chatId) const;
    std::optional<qint64> oldestOwnAfterReply(qint64 chatId) const;
    void wireAgentCaches();
    std::optional<Message> liveWorkingMessage(qint64 chatId) const;
    QCoro::Task<std::optional<QJsonObject>> ccRequest(QString op, QString path,
                                                      QJsonObject extra = {});
    QCoro::Task<PrefPushResult> pushPref(QString op, qint64 chatId, QJsonObject extra);
    QCoro::Task<std::optional<QString>> ccReadWholeText(QString op, QJsonObject extra);
    QCoro::Task<bool> ccWriteChunked(QString op, QJsonObject extra, QString content);
    QCoro::Task<bool> ccSetAccountOn(qint64 chatId, QString email);
    QCoro::Task<bool> ccImportAccount(std::optional<qint64> chatId, QString email,
                                      QString credentials);
    void applyHostRecord(const ClaudeHost& host);
    void applyExtraHostRecord(int server, const ClaudeHost& host);
    void applySyncedPrefs(qint64 chatId, const QJsonObject& reply);
    struct DeployScan;
    std::optional<CCDeployRecord> lastDeployIn(qint64 chatId) const;
    void followTimelineForDeploys(qint64 chatId, TimelineChange change);
    bool deploysSilenced() const;

    Options m_options;
    bool m_appActive = true;
    QSet<qint64> m_mutedChats;
    std::optional<qint64> m_selectedChatId;
    AppSection m_section = AppSection::people;
    bool m_showMainMenu = false;
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
    QHash<int, ServerLink*> m_links;
    int m_badgeCount = 0;
    bool m_userActivitySavePending = false;
    // Histories where a page was appended behind pending copies: ids no longer ascend.
    QSet<qint64> m_unorderedTimelines;
    QHash<int, QString> m_serverClaudeEmail;
    QHash<int, ClaudeUsage> m_serverClaudeUsage;
    quint64 m_scanEpoch = 0;
    mutable QHash<qint64, std::shared_ptr<SessionScan>> m_sessionScans;
    mutable std::shared_ptr<SessionScan> m_lastScan;
    mutable qint64 m_lastScanChat = 0;
    mutable QHash<qint64, std::shared_ptr<DeployScan>> m_deployScans;
    bool m_hostPollStarted = false;
    // A fetch that live events keep overtaking is taken as it is after this many tries.
    static constexpr int maxOvertakenFetches = 4;
    QHash<int, quint64> m_stateEvents;
    bool m_resyncRunning = false;
    bool m_resyncAgain = false;
    QSet<int> m_connectingServers;
    QSet<int> m_connectAgain;
    // Conversations and notifications.
    void notifyIfNeeded(const Message& message);
    void showInAppBanner(const Message& message);
    void notifyUserJoined(const User& user);
    bool passesNotificationRules(const Message& message) const;
    void finishSend(Message reply, int server);
    void adoptProfile(const User& user);
    void reindexChats() const;
    std::optional<InAppBanner> m_inAppBanner;
    QHash<qint64, QString> m_chatDrafts;
    std::optional<qint64> m_chatSettingsChatId;
    std::shared_ptr<Notifier> m_notifier;
    std::shared_ptr<Geocoder> m_geocoder;
    // Where each conversation stood in `chats` when last looked up; checked on use.
    mutable QHash<qint64, int> m_chatIndex;
};
