#include "ui/AppModel.h"

#include "BuildSettings.h"
#include "core/LocNotifier.h"
#include "store/Store.h"
#include "ui/Icons.h"
#include "ui/Palette.h"
#include "ui/PinnedImageLoader.h"
#include "voice/AudioBackendLoader.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QQmlEngine>

// Generated with the module; it registers Velmarin.Models when its file is linked.
void qml_register_types_Velmarin_Models();
void qml_register_types_Velmarin_Voice();

namespace {
QPointer<AppModel>& currentInstance() {
    static QPointer<AppModel> instance;
    return instance;
}

constexpr AppSection railOrder[] = {AppSection::people, AppSection::work, AppSection::contacts,
                                    AppSection::fleet, AppSection::usage};

QString orUnknown(const char* text) {
    const QString s = QString::fromUtf8(text);
    return s.isEmpty() ? QStringLiteral("?") : s;
}

void copyToClipboard(const QString& text) {
    if (QClipboard* clipboard = QGuiApplication::clipboard()) clipboard->setText(text);
}
} // namespace

AppModel::AppModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store), m_links(*store, copyToClipboard),
      m_chatList(std::make_unique<ChatListModel>(store)),
      m_timeline(std::make_unique<TimelineModel>(store)),
      m_composer(std::make_unique<ComposerModel>(store)),
      m_servers(std::make_unique<ServersViewModel>(store)),
      m_invite(std::make_unique<InviteViewModel>(store)),
      m_newChat(std::make_unique<NewChatViewModel>(store)),
      m_chatActions(std::make_unique<ChatActionsModel>(store)),
      m_sessionSettings(std::make_unique<SessionSettingsModel>(store)),
      m_fileEditor(std::make_unique<TextFileEditorModel>(store)),
      m_folderBrowser(std::make_unique<FolderBrowserModel>(store)),
      m_remoteFiles(std::make_unique<RemoteFilesModel>(store)),
      m_usage(std::make_unique<UsageViewModel>(store)),
      m_claudeSignIn(std::make_unique<ClaudeSignInModel>(store)),
      m_agent(std::make_unique<AgentBarsModel>(store)),
      m_join(std::make_unique<JoinViewModel>(store)),
      m_groupSettings(std::make_unique<GroupSettingsModel>(store)),
      m_people(std::make_unique<PeopleModel>(store)),
      m_userProfile(std::make_unique<UserProfileModel>(store)),
      m_transfers(std::make_unique<MediaTransfers>(store)),
      m_voice(std::make_unique<VoiceRecording>(loadAudioBackend)),
      m_player(std::make_unique<AudioPlayer>(loadAudioBackend)) {
    currentInstance() = this;
    m_voice->setStore(store);
    m_timeline->setAgentBadges(m_agent.get());
    m_links.setInviteHandler([this](const QUrl& url) { m_join->openInviteLink(url); });
    connectConversation();
    connect(store, &Store::sessionChanged, this, [this] {
        emit sessionChanged();
        emit railChanged();
        emit selectionChanged();
    });
    connect(store, &Store::lastErrorChanged, this, &AppModel::lastErrorChanged);
    connect(store, &Store::toastChanged, this, &AppModel::toastChanged);
    connect(store, &Store::navigationChanged, this, &AppModel::navigationChanged);
    connect(store, &Store::selectionChanged, this, &AppModel::onSelectionChanged);
    connect(store, &Store::hostChanged, this, &AppModel::hostChanged);
    connect(store, &Store::profileUserChanged, this, &AppModel::profileUserChanged);
    connect(store, &Store::settingsChanged, this, &AppModel::settingsChanged);
    const auto unreadMayHaveChanged = [this] {
        const int unread = m_store ? m_store->unreadChatCount() : 0;
        if (unread == m_lastUnread) return;
        m_lastUnread = unread;
        emit railChanged();
    };
    connect(store, &Store::chatsReset, this, unreadMayHaveChanged);
    connect(store, &Store::chatChanged, this, unreadMayHaveChanged);
    connect(store, &Store::chatRemoved, this, unreadMayHaveChanged);
    connect(store, &Store::chatsReset, this, &AppModel::selectionChanged);
    connect(LocNotifier::instance(), &LocNotifier::languageChanged, this, [this] {
        emit railChanged();
        emit settingsChanged();
    });
}

AppModel::~AppModel() = default;

AppModel* AppModel::current() {
    return currentInstance();
}

AppModel* AppModel::create(QQmlEngine*, QJSEngine*) {
    AppModel* model = current();
    if (model) QQmlEngine::setObjectOwnership(model, QQmlEngine::CppOwnership);
    return model;
}

void AppModel::configureEngine(QQmlEngine& engine) {
    // Naming the registration keeps the linker from dropping it from the
    // static library.
    volatile auto registration = &qml_register_types_Velmarin_Models;
    Q_UNUSED(registration);
    volatile auto voiceRegistration = &qml_register_types_Velmarin_Voice;
    Q_UNUSED(voiceRegistration);
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    static PinnedNetworkFactory pinned;
    engine.setNetworkAccessManagerFactory(&pinned);
}

void AppModel::openSheet(const QString& name, qint64 chatId) {
    emit sheetRequested(name, chatId);
}

// MARK: Session

bool AppModel::signedIn() const {
    return m_store && m_store->token().has_value();
}

QString AppModel::myName() const {
    return m_store && m_store->me() ? m_store->me()->username : QString();
}

bool AppModel::isGuest() const {
    return m_store && m_store->me() && m_store->me()->isGuest.value_or(false);
}

QString AppModel::lastError() const {
    return m_store ? m_store->lastError().value_or(QString()) : QString();
}

QString AppModel::toast() const {
    return m_store ? m_store->toast().value_or(QString()) : QString();
}

QString AppModel::buildFooter() const {
    QString footer = QStringLiteral("Velmarin ") + orUnknown(BuildSettings::version) +
                     QStringLiteral(" · build ") + orUnknown(BuildSettings::buildNumber);
    if (m_store && m_store->me())
        footer += QStringLiteral(" · id ") + QString::number(m_store->me()->id);
    return footer;
}

void AppModel::logout() {
    if (m_store) m_store->logout();
}

// MARK: Navigation

QString AppModel::section() const {
    return rawValue(m_store ? m_store->section() : AppSection::people);
}

void AppModel::setSection(const QString& raw) {
    if (const auto section = sectionFromRaw(raw); section && m_store) m_store->setSection(*section);
}

QVariantMap AppModel::sectionEntry(int index) const {
    const auto section = static_cast<AppSection>(index);
    const int badge = section == AppSection::people && m_store ? m_store->unreadChatCount() : 0;
    return {{QStringLiteral("section"), rawValue(section)},
            {QStringLiteral("title"), localizedTitle(section)},
            {QStringLiteral("symbol"), customIcon(section).value_or(::icon(section))},
            {QStringLiteral("badge"), badgeText(badge)}};
}

QVariantList AppModel::railSections() const {
    QVariantList list;
    for (AppSection section : railOrder)
        list.append(sectionEntry(int(section)));
    return list;
}

QVariantList AppModel::menuSections() const {
    QVariantList list;
    for (AppSection section : allSections) {
        if (section == AppSection::mac && isGuest()) continue;
        list.append(sectionEntry(int(section)));
    }
    return list;
}

bool AppModel::showMainMenu() const {
    return m_store && m_store->showMainMenu();
}

void AppModel::setShowMainMenu(bool show) {
    if (m_store) m_store->setShowMainMenu(show);
}

void AppModel::selectFromMenu(const QString& raw) {
    const auto section = sectionFromRaw(raw);
    if (!section || !m_store) return;
    if (*section == AppSection::people) m_store->setSelectedChatId(std::nullopt);
    m_store->setSection(*section);
    // Closed on the next turn, after the drawer has seen its own click through.
    QMetaObject::invokeMethod(
        this, [this] { setShowMainMenu(false); }, Qt::QueuedConnection);
}

qint64 AppModel::selectedChatId() const {
    if (!m_store) return 0;
    const auto id = m_store->selectedChatId();
    return id && m_store->chat(*id) ? *id : 0;
}

QString AppModel::selectedChatTitle() const {
    const qint64 id = selectedChatId();
    if (!id) return {};
    const std::optional<qint64> me =
        m_store->me() ? std::optional(m_store->me()->id) : std::nullopt;
    return m_store->chat(id)->displayTitle(me);
}

void AppModel::selectChat(qint64 chatId) {
    if (!m_store || !m_store->chat(chatId)) return;
    m_store->setSection(AppSection::people);
    m_store->setSelectedChatId(chatId);
}

void AppModel::clearSelection() {
    if (m_store) m_store->setSelectedChatId(std::nullopt);
}

void AppModel::onSelectionChanged() {
    emit selectionChanged();
    if (!m_store) return;
    const auto id = m_store->selectedChatId();
    if (!id) return;
    [](QPointer<Store> store, qint64 chatId) -> QCoro::Task<> {
        if (store) co_await store->openChat(chatId);
    }(m_store, *id);
    // The context bar's menus and badge show what the host holds, not what it held.
    if (const ChatSummary* chat = m_store->chat(*id); chat && m_store->isClaudeSessionChat(*chat))
        [](QPointer<Store> store, qint64 chatId) -> QCoro::Task<> {
            if (store) co_await store->ccSyncPrefs(chatId);
        }(m_store, *id);
}

QVariantMap AppModel::profileUser() const {
    if (!m_store || !m_store->profileUser()) return {};
    const User& u = *m_store->profileUser();
    const auto text = [](const std::optional<QString>& v) { return v.value_or(QString()); };
    return {{QStringLiteral("id"), u.id},
            {QStringLiteral("name"), u.username},
            {QStringLiteral("address"), text(u.address)},
            {QStringLiteral("competence"), text(u.competence)},
            {QStringLiteral("experience"), text(u.experience)},
            {QStringLiteral("email"), text(u.email)},
            {QStringLiteral("phone"), text(u.phone)}};
}

void AppModel::closeProfile() {
    if (m_store) m_store->setProfileUser(std::nullopt);
}

QString AppModel::hostName() const {
    return m_store ? m_store->claudeHostName().value_or(QString()) : QString();
}

QString AppModel::hostStatus() const {
    if (!m_store) return QStringLiteral("unknown");
    if (m_store->claudeHostOnline()) return QStringLiteral("online");
    return m_store->claudeHostName() ? QStringLiteral("offline") : QStringLiteral("unknown");
}

bool AppModel::openLink(const QString& text) {
    const QUrl url(text);
    if (!url.isValid() || !m_store) return false;
    switch (m_links.open(url)) {
    case LinkRouter::Outcome::handled:
    case LinkRouter::Outcome::discarded:
        return true;
    case LinkRouter::Outcome::system:
        break;
    }
    QDesktopServices::openUrl(url);
    return false;
}

void AppModel::setApplicationActive(bool active) {
    if (!m_store) return;
    m_store->setAppActive(active);
    if (!active) return;
    m_store->ensureConnected();
    m_store->refreshBadge();
}

// MARK: Settings and look

QString AppModel::design() const {
    return rawValue(m_store ? m_store->design() : AppDesign::classic);
}

void AppModel::setDesign(const QString& raw) {
    if (const auto d = designFromRaw(raw); d && m_store) m_store->setDesign(*d);
}

QString AppModel::accent() const {
    return rawValue(m_store ? m_store->accent() : AppAccent::blue);
}

void AppModel::setAccent(const QString& raw) {
    if (const auto a = accentFromRaw(raw); a && m_store) m_store->setAccent(*a);
}

QString AppModel::language() const {
    return rawValue(m_store ? m_store->language() : AppLanguage::system);
}

void AppModel::setLanguage(const QString& raw) {
    if (const auto l = appLanguageFromRaw(raw); l && m_store) m_store->setLanguage(*l);
}

QVariantList AppModel::designs() const {
    QVariantList list;
    for (AppDesign d : allDesigns)
        list.append(QVariantMap{{QStringLiteral("value"), rawValue(d)},
                                {QStringLiteral("label"), L(rawValue(d))}});
    return list;
}

QVariantList AppModel::accents() const {
    QVariantList list;
    for (AppAccent a : allAccents)
        list.append(QVariantMap{{QStringLiteral("value"), rawValue(a)},
                                {QStringLiteral("label"), L(rawValue(a))},
                                {QStringLiteral("color"), color(a)}});
    return list;
}

QVariantMap AppModel::palette() const {
    if (!m_store) return toVariantMap(paletteFor(AppDesign::classic, AppAccent::blue));
    return toVariantMap(paletteFor(m_store->design(), m_store->accent()));
}

bool AppModel::muteAll() const {
    return m_store && m_store->notifPrefs().muteAll;
}

void AppModel::setMuteAll(bool mute) {
    if (!m_store || m_store->notifPrefs().muteAll == mute) return;
    NotifPrefs prefs = m_store->notifPrefs();
    prefs.muteAll = mute;
    [](QPointer<Store> store, NotifPrefs wanted) -> QCoro::Task<> {
        if (store) co_await store->setNotifPrefs(wanted);
    }(m_store, prefs);
}

QString AppModel::iconFont() const {
    return Icons::fontFamily();
}

QString AppModel::monoFont() const {
    return QFontDatabase::systemFont(QFontDatabase::FixedFont).family();
}

QString AppModel::icon(const QString& symbol) const {
    return Icons::glyph(symbol);
}
