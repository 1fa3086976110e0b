#pragma once

#include "store/Store.h"

// Tests that need a state no single operation reaches quickly (a long history,
// a server that went quiet) write it here, and only here.
class StoreSeam {
public:
    explicit StoreSeam(Store& store) : s(store) {}

    // MARK: Connection
    void setServerURLString(const QString& text) { s.setPrimaryAddress(text); }
    void setToken(std::optional<QString> token) { s.setPrimaryToken(std::move(token)); }
    bool& didBootstrap() { return s.m_didBootstrap; }
    // MARK: Login
    bool& suppressAutoLogin() { return s.m_suppressAutoLogin; }
    QHash<int, qint64>& serverMeId() { return s.m_serverMeId; }
    QSet<qint64>& extraBotIds() { return s.m_extraBotIds; }
    // MARK: Directory
    std::optional<User>& me() { return s.m_me; }
    QList<User>& users() { return s.m_users; }
    std::optional<qint64>& agentId() { return s.m_agentId; }
    QSet<qint64>& botIds() { return s.m_botIds; }
    QSet<qint64>& onlineUserIds() { return s.m_onlineUserIds; }
    std::optional<User>& profileUser() { return s.m_profileUser; }
    // MARK: Conversations
    QList<ChatSummary>& chats() { return s.m_chats; }
    QHash<qint64, QList<Message>>& messages() { return s.m_messages; }
    QHash<qint64, bool>& hasMore() { return s.m_hasMore; }
    QSet<qint64>& loadingOlder() { return s.m_loadingOlder; }
    qint64& nextTempId() { return s.m_nextTempId; }
    QHash<qint64, Message>& visiblePreview() { return s.m_visiblePreview; }
    QHash<qint64, qint64>& userActivity() { return s.m_userActivity; }
    QHash<qint64, qint64>& buriedActivityResolved() { return s.m_buriedActivityResolved; }
    QHash<qint64, QHash<qint64, GroupRole>>& groupRoles() { return s.m_groupRoles; }
    std::optional<qint64>& agentChatId() { return s.m_agentChatId; }
    std::optional<qint64>& savedChatId() { return s.m_savedChatId; }
    QHash<qint64, Store::UploadState>& uploads() { return s.m_uploads; }
    // MARK: Reads and typing
    QHash<qint64, QHash<qint64, qint64>>& reads() { return s.m_reads; }
    QHash<qint64, QHash<qint64, qint64>>& readAt() { return s.m_readAt; }
    QHash<qint64, QHash<qint64, QDateTime>>& typing() { return s.m_typing; }
    QHash<qint64, QDateTime>& lastTypingSent() { return s.m_lastTypingSent; }
    QHash<qint64, qint64>& lastReadSent() { return s.m_lastReadSent; }
    std::optional<QString>& toast() { return s.m_toast; }
    int& toastId() { return s.m_toastId; }
    std::optional<QString>& lastCrashReport() { return s.m_lastCrashReport; }
    QList<TranscriptionEngine>& availableServerEngines() { return s.m_availableServerEngines; }
    NotifPrefs& notifPrefs() { return s.m_notifPrefs; }
    std::optional<QString>& pushToken() { return s.m_pushToken; }
    // MARK: Agent host
    bool& claudeHostOnline() { return s.m_claudeHostOnline; }
    bool& claudeRescueOnline() { return s.m_claudeRescueOnline; }
    bool& claudeInputHelperOnline() { return s.m_claudeInputHelperOnline; }
    int& hostPollFails() { return s.m_hostPollFails; }
    // MARK: Builds
    QHash<qint64, BuildStatus>& builds() { return s.m_builds; }
    QHash<qint64, int>& buildClearGen() { return s.m_buildClearGen; }
    bool& buildPollStarted() { return s.m_buildPollStarted; }
    // restarts and outlives the loaded history.
    QHash<qint64, qint64>& ccOptimisticWorking() { return s.m_ccOptimisticWorking; }
    QHash<qint64, qint64>& ccSeenHighWater() { return s.m_ccSeenHighWater; }
    QHash<qint64, QSet<qint64>>& ccProcessedIds() { return s.m_ccProcessedIds; }
    QHash<qint64, bool>& ccChromeUsedChats() { return s.m_ccChromeUsedChats; }
    QHash<qint64, bool>& ccScreenshotUsedChats() { return s.m_ccScreenshotUsedChats; }
    // MARK: Agent control channel
    // The self-conversation of the primary server that carries control traffic.
    std::optional<qint64>& claudeControlChatId() { return s.m_claudeControlChatId; }
    QHash<qint64, Config::CCPermission>& ccPermissions() { return s.m_ccPermissions; }
    QHash<qint64, Config::CCEffort>& ccEfforts() { return s.m_ccEfforts; }
    QHash<qint64, QString>& ccModelChoices() { return s.m_ccModelChoices; }
    QHash<qint64, bool>& ccChrome() { return s.m_ccChrome; }
    // Chosen but not yet confirmed by a report.
    QHash<qint64, CCOptimisticModel>& ccOptimisticModel() { return s.m_ccOptimisticModel; }
    QHash<qint64, CCOptimisticEffort>& ccOptimisticEffort() { return s.m_ccOptimisticEffort; }
    // Reported by the host.
    QHash<qint64, QString>& ccModels() { return s.m_ccModels; }
    QHash<qint64, Config::CCEffort>& ccReportedEfforts() { return s.m_ccReportedEfforts; }
    QHash<qint64, QString>& ccWorkdirs() { return s.m_ccWorkdirs; }
    QSet<qint64>& pendingPrefSync() { return s.m_pendingPrefSync; }
    QSet<qint64>& ccPrefsUnsupported() { return s.m_ccPrefsUnsupported; }
    QHash<int, bool>& serverAnswering() { return s.m_serverAnswering; }
    QList<ClaudeNamedAccount>& macNamedAccounts() { return s.m_macNamedAccounts; }
    QHash<int, QList<ClaudeNamedAccount>>& serverNamedAccounts() { return s.m_serverNamedAccounts; }
    QHash<qint64, QString>& macChatAccounts() { return s.m_macChatAccounts; }
    QHash<int, QHash<qint64, QString>>& serverChatAccounts() { return s.m_serverChatAccounts; }
    // MARK: Context economy
    QHash<qint64, CCContextStat>& ccContextStats() { return s.m_ccContextStats; }
    QHash<qint64, qint64>& ccContextFloor() { return s.m_ccContextFloor; }
    // MARK: Builds and deploys
    QHash<qint64, CCDeployRecord>& deployByChat() { return s.m_deployByChat; }
    QHash<qint64, qint64>& seenDeploy() { return s.m_seenDeploy; }
    QHash<qint64, qint64>& notifiedDeploy() { return s.m_notifiedDeploy; }
    std::optional<DeployTarget>& lastGlobalDeploy() { return s.m_lastGlobalDeploy; }
    qint64& lastGlobalDeployId() { return s.m_lastGlobalDeployId; }

private:
    Store& s;
};

inline StoreSeam seam(Store& store) {
    return StoreSeam(store);
}
inline StoreSeam seam(Store* store) {
    return StoreSeam(*store);
}
// Smart pointers and QPointer.
template <class Pointer>
StoreSeam seam(const Pointer& store) {
    return StoreSeam(*store);
}
