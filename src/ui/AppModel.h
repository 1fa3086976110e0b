#pragma once

// The one view model the QML frame reads: the session, navigation, settings
// and look of the app, over the one Store. The singleton "AppModel" of
// Velmarin.Models; every engine gets the instance that exists at the time, so
// tests can make a fresh one per case.

#include "ui/AgentBarsModel.h"
#include "ui/ChatActionsModel.h"
#include "ui/ChatListModel.h"
#include "ui/ClaudeSignInModel.h"
#include "ui/ComposerModel.h"
#include "ui/FolderBrowserModel.h"
#include "ui/GroupSettingsModel.h"
#include "ui/InviteViewModel.h"
#include "ui/JoinViewModel.h"
#include "ui/LinkRouter.h"
#include "ui/MediaTransfers.h"
#include "ui/NewChatViewModel.h"
#include "ui/PeopleModel.h"
#include "ui/RemoteFilesModel.h"
#include "ui/ServersViewModel.h"
#include "ui/SessionSettingsModel.h"
#include "ui/TextFileEditorModel.h"
#include "ui/TimelineModel.h"
#include "ui/UsageViewModel.h"
#include "ui/UserProfileModel.h"
#include "voice/AudioPlayer.h"
#include "voice/VoiceRecording.h"

#include <QObject>
#include <QPointer>
#include <QVariantList>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>
#include <memory>

class QJSEngine;
class QQmlEngine;
class Store;

class AppModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    // Session
    Q_PROPERTY(bool signedIn READ signedIn NOTIFY sessionChanged)
    Q_PROPERTY(QString myName READ myName NOTIFY sessionChanged)
    Q_PROPERTY(bool isGuest READ isGuest NOTIFY sessionChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)
    Q_PROPERTY(QString toast READ toast NOTIFY toastChanged)
    Q_PROPERTY(QString buildFooter READ buildFooter NOTIFY sessionChanged)
    // Navigation
    Q_PROPERTY(QString section READ section WRITE setSection NOTIFY navigationChanged)
    Q_PROPERTY(QVariantList railSections READ railSections NOTIFY railChanged)
    Q_PROPERTY(QVariantList menuSections READ menuSections NOTIFY railChanged)
    Q_PROPERTY(bool showMainMenu READ showMainMenu WRITE setShowMainMenu NOTIFY navigationChanged)
    Q_PROPERTY(qint64 selectedChatId READ selectedChatId NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedChatTitle READ selectedChatTitle NOTIFY selectionChanged)
    // Another person's profile while its sheet is open, else empty: id, name
    // and the info rows (address, competence, experience, email, phone).
    Q_PROPERTY(QVariantMap profileUser READ profileUser NOTIFY profileUserChanged)
    Q_PROPERTY(QString hostName READ hostName NOTIFY hostChanged)
    Q_PROPERTY(QString hostStatus READ hostStatus NOTIFY hostChanged)
    // Settings and look
    Q_PROPERTY(QString design READ design WRITE setDesign NOTIFY settingsChanged)
    Q_PROPERTY(QString accent READ accent WRITE setAccent NOTIFY settingsChanged)
    Q_PROPERTY(QString language READ language WRITE setLanguage NOTIFY settingsChanged)
    Q_PROPERTY(QVariantList designs READ designs NOTIFY railChanged)
    Q_PROPERTY(QVariantList accents READ accents NOTIFY railChanged)
    Q_PROPERTY(QVariantMap palette READ palette NOTIFY settingsChanged)
    Q_PROPERTY(bool muteAll READ muteAll WRITE setMuteAll NOTIFY settingsChanged)
    Q_PROPERTY(QString iconFont READ iconFont CONSTANT)
    Q_PROPERTY(QString monoFont READ monoFont CONSTANT)
    // The open conversation: the list, its rows and its composer follow the selection.
    Q_PROPERTY(ChatListModel* chatList READ chatList CONSTANT)
    Q_PROPERTY(TimelineModel* timeline READ timeline CONSTANT)
    Q_PROPERTY(ComposerModel* composer READ composer CONSTANT)
    // Servers, invites, new conversations and the list's row actions.
    Q_PROPERTY(ServersViewModel* servers READ servers CONSTANT)
    Q_PROPERTY(InviteViewModel* invite READ invite CONSTANT)
    Q_PROPERTY(NewChatViewModel* newChat READ newChat CONSTANT)
    Q_PROPERTY(ChatActionsModel* chatActions READ chatActions CONSTANT)
    // Session settings, remote files, usage and Claude accounts.
    Q_PROPERTY(SessionSettingsModel* sessionSettings READ sessionSettings CONSTANT)
    Q_PROPERTY(TextFileEditorModel* fileEditor READ fileEditor CONSTANT)
    Q_PROPERTY(FolderBrowserModel* folderBrowser READ folderBrowser CONSTANT)
    Q_PROPERTY(RemoteFilesModel* remoteFiles READ remoteFiles CONSTANT)
    Q_PROPERTY(UsageViewModel* usage READ usage CONSTANT)
    Q_PROPERTY(ClaudeSignInModel* claudeSignIn READ claudeSignIn CONSTANT)
    // The agent's bars over the composer and the badges of its bubbles.
    Q_PROPERTY(AgentBarsModel* agent READ agent CONSTANT)
    // Who is typing, else the other person's presence, else the member count.
    Q_PROPERTY(QString selectedChatSubtitle READ selectedChatSubtitle NOTIFY subtitleChanged)
    Q_PROPERTY(bool selectedChatWorking READ selectedChatWorking NOTIFY agentStateChanged)
    Q_PROPERTY(QString selectedChatStatusLine READ selectedChatStatusLine NOTIFY agentStateChanged)
    // The in-app notice of a new message: chatId, title, sender, text; empty when none.
    Q_PROPERTY(QVariantMap banner READ banner NOTIFY bannerChanged)
    // The open conversation's pinned message: {id, sender, text}, or empty.
    Q_PROPERTY(QVariantMap selectedChatPinned READ selectedChatPinned NOTIFY pinnedChanged)
    // Whether the signed-in person may pin and unpin in the open conversation.
    Q_PROPERTY(bool selectedChatPinnable READ selectedChatPinnable NOTIFY pinnedChanged)
    // Joining by code, by invite link, and the empty list's prompt.
    Q_PROPERTY(JoinViewModel* join READ join CONSTANT)
    // A group's settings, the people section and another person's profile.
    Q_PROPERTY(GroupSettingsModel* groupSettings READ groupSettings CONSTANT)
    Q_PROPERTY(PeopleModel* people READ people CONSTANT)
    Q_PROPERTY(UserProfileModel* userProfile READ userProfile CONSTANT)
    // Saving and opening the files and pictures of messages.
    Q_PROPERTY(MediaTransfers* transfers READ transfers CONSTANT)
    // Recording voice messages, and playing them one at a time.
    Q_PROPERTY(VoiceRecording* voice READ voice CONSTANT)
    Q_PROPERTY(AudioPlayer* player READ player CONSTANT)
    // Whether a server engine transcribes voice messages.
    Q_PROPERTY(bool whisperAvailable READ whisperAvailable NOTIFY sessionChanged)

public:
    explicit AppModel(Store* store, QObject* parent = nullptr);
    ~AppModel() override;

    // The instance QML engines are given; the most recently made one.
    static AppModel* current();
    // What an engine is given: current(), which stays the app's to delete.
    static AppModel* create(QQmlEngine*, QJSEngine*);
    // Points an engine at the views compiled into the binary (Qt 6.4 does not
    // look in qrc:/qt/qml by itself).
    static void configureEngine(QQmlEngine& engine);

    Store* store() const { return m_store; }
    LinkRouter& links() { return m_links; }

    bool signedIn() const;
    QString myName() const;
    bool isGuest() const;
    QString lastError() const;
    QString toast() const;
    QString buildFooter() const;

    QString section() const;
    void setSection(const QString& raw);
    QVariantList railSections() const;
    QVariantList menuSections() const;
    bool showMainMenu() const;
    void setShowMainMenu(bool show);
    qint64 selectedChatId() const;
    QString selectedChatTitle() const;
    QVariantMap profileUser() const;
    QString hostName() const;
    QString hostStatus() const;

    QString design() const;
    void setDesign(const QString& raw);
    QString accent() const;
    void setAccent(const QString& raw);
    QString language() const;
    void setLanguage(const QString& raw);
    QVariantList designs() const;
    QVariantList accents() const;
    QVariantMap palette() const;
    bool muteAll() const;
    void setMuteAll(bool mute);
    QString iconFont() const;
    QString monoFont() const;

    // The glyph of a symbol name in the icon font.
    Q_INVOKABLE QString icon(const QString& symbol) const;
    Q_INVOKABLE void selectChat(qint64 chatId);
    Q_INVOKABLE void clearSelection();
    // The drawer's choice: the conversations section also closes any open chat.
    Q_INVOKABLE void selectFromMenu(const QString& raw);
    // Internal links first, anything else to the desktop; true when handled here.
    Q_INVOKABLE bool openLink(const QString& url);
    Q_INVOKABLE void logout();
    Q_INVOKABLE void closeProfile();

    ChatListModel* chatList() const { return m_chatList.get(); }
    TimelineModel* timeline() const { return m_timeline.get(); }
    ComposerModel* composer() const { return m_composer.get(); }
    ServersViewModel* servers() const { return m_servers.get(); }
    InviteViewModel* invite() const { return m_invite.get(); }
    NewChatViewModel* newChat() const { return m_newChat.get(); }
    ChatActionsModel* chatActions() const { return m_chatActions.get(); }
    // Asks the view that owns the named sheet to open it ("servers",
    // "addServer", "pairing", "invite", "newChat", "newGroup").
    Q_INVOKABLE void openSheet(const QString& name, qint64 chatId = 0);
    SessionSettingsModel* sessionSettings() const { return m_sessionSettings.get(); }
    TextFileEditorModel* fileEditor() const { return m_fileEditor.get(); }
    FolderBrowserModel* folderBrowser() const { return m_folderBrowser.get(); }
    RemoteFilesModel* remoteFiles() const { return m_remoteFiles.get(); }
    UsageViewModel* usage() const { return m_usage.get(); }
    ClaudeSignInModel* claudeSignIn() const { return m_claudeSignIn.get(); }
    AgentBarsModel* agent() const { return m_agent.get(); }
    JoinViewModel* join() const { return m_join.get(); }
    MediaTransfers* transfers() const { return m_transfers.get(); }
    QString selectedChatSubtitle() const;
    bool selectedChatWorking() const;
    QString selectedChatStatusLine() const;
    QVariantMap banner() const;
    Q_INVOKABLE void dismissBanner();
    // Opens the banner's conversation and dismisses it.
    Q_INVOKABLE void openBanner();
    // Actions on a message of the open conversation, by id.
    Q_INVOKABLE void copyMessage(qint64 messageId);
    Q_INVOKABLE void deleteMessage(qint64 messageId);
    Q_INVOKABLE void forwardMessage(qint64 messageId, qint64 toChatId);
    Q_INVOKABLE void stopAgent();
    QVariantMap selectedChatPinned() const;
    bool selectedChatPinnable() const;
    Q_INVOKABLE void setPinned(qint64 messageId, bool pinned);
    GroupSettingsModel* groupSettings() const { return m_groupSettings.get(); }
    PeopleModel* people() const { return m_people.get(); }
    UserProfileModel* userProfile() const { return m_userProfile.get(); }
    VoiceRecording* voice() const { return m_voice.get(); }
    AudioPlayer* player() const { return m_player.get(); }
    bool whisperAvailable() const;
    // "m:ss" of a voice message's length (rounded) and of a running recording (truncated).
    Q_INVOKABLE QString formatDuration(double seconds) const;
    Q_INVOKABLE QString formatClock(double seconds) const;
    // Starts recording for the open conversation, locked, or sends the one running.
    Q_INVOKABLE void toggleVoiceRecording();

    // The application came forward or went back.
    void setApplicationActive(bool active);

signals:
    void sessionChanged();
    void lastErrorChanged();
    void toastChanged();
    void navigationChanged();
    void railChanged();
    void selectionChanged();
    void hostChanged();
    void profileUserChanged();
    void settingsChanged();
    void subtitleChanged();
    void agentStateChanged();
    void bannerChanged();
    void pinnedChanged();
    void sheetRequested(const QString& name, qint64 chatId);

private:
    QVariantMap sectionEntry(int section) const;
    void onSelectionChanged();
    void connectConversation();
    std::optional<Message> selectedMessage(qint64 messageId) const;

    QPointer<Store> m_store;
    LinkRouter m_links;
    int m_lastUnread = -1;
    std::unique_ptr<ChatListModel> m_chatList;
    std::unique_ptr<TimelineModel> m_timeline;
    std::unique_ptr<ComposerModel> m_composer;
    std::unique_ptr<ServersViewModel> m_servers;
    std::unique_ptr<InviteViewModel> m_invite;
    std::unique_ptr<NewChatViewModel> m_newChat;
    std::unique_ptr<ChatActionsModel> m_chatActions;
    std::unique_ptr<SessionSettingsModel> m_sessionSettings;
    std::unique_ptr<TextFileEditorModel> m_fileEditor;
    std::unique_ptr<FolderBrowserModel> m_folderBrowser;
    std::unique_ptr<RemoteFilesModel> m_remoteFiles;
    std::unique_ptr<UsageViewModel> m_usage;
    std::unique_ptr<ClaudeSignInModel> m_claudeSignIn;
    std::unique_ptr<AgentBarsModel> m_agent;
    std::unique_ptr<JoinViewModel> m_join;
    std::unique_ptr<GroupSettingsModel> m_groupSettings;
    std::unique_ptr<PeopleModel> m_people;
    std::unique_ptr<UserProfileModel> m_userProfile;
    std::unique_ptr<MediaTransfers> m_transfers;
    std::unique_ptr<VoiceRecording> m_voice;
    std::unique_ptr<AudioPlayer> m_player;
};
