// Launch order, persisted fields and the fields whose writes have side effects.

#include "store/Store.h"
#include "core/PrefKeys.h"

#include "core/Localisation.h"
#include "core/Prefs.h"
#include "core/PrefsMaps.h"
#include "net/ServerTokens.h"
#include "store/ServerLink.h"

#include <QTimer>
#include <QUuid>
#include <qcoro/qcorotimer.h>

Store::Store(Options options, QObject* parent) : QObject(parent), m_options(options) {
    wireAgentCaches();
    // The primary's link holds its address and token from the start.
    ensureLink(0);
    // Every change of a token or a server's address comes with one of these.
    connect(this, &Store::sessionChanged, this, &Store::publishServerTokens);
    connect(this, &Store::extraServersChanged, this, &Store::publishServerTokens);
    init();
    publishServerTokens();
}

Store::~Store() {
    ServerTokens::shared().publish(this, {});
    flushUserActivity();
    // Links die with the store; their last signals must not reach a half-destroyed store.
    for (ServerLink* link : std::as_const(m_links))
        link->disconnect(this);
}

// MARK: Time

QCoro::Task<> Store::sleep(double seconds) const {
    const qint64 ms = scaledMs(seconds);
    co_await QCoro::sleepFor(std::chrono::milliseconds(ms));
}

// Polled rather than awaited on a change signal: a queued signal awaiter that
// sees two emissions before it runs resumes its coroutine a second time, after
// the first resumption may have finished it.
QCoro::Task<> Store::waitWhile(std::function<bool(const Store&)> busy) {
    QPointer<Store> self(this);
    while (self && busy(*self))
        co_await QCoro::sleepFor(std::chrono::milliseconds(10));
}

qint64 Store::scaledMs(double seconds) const {
    return qint64(seconds * 1000.0 * m_options.timeScale);
}

qint64 Store::nowMs() {
    return QDateTime::currentMSecsSinceEpoch();
}

// MARK: Identity of this install

QString Store::deviceId() {
    static const QString id = [] {
        const QString key = QStringLiteral("deviceUUID");
        if (auto stored = Prefs::shared().string(key); stored && !stored->isEmpty()) return *stored;
        const QString fresh = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        Prefs::shared().setValue(key, fresh);
        return fresh;
    }();
    return id;
}

std::optional<Api> Store::api() const {
    return apiFor(0);
}

namespace {
std::optional<QUrl> primaryBase(const QString& typed) {
    QString text = typed.trimmed();
    if (text.endsWith(QLatin1Char('/'))) text.chop(1);
    const QUrl url(text, QUrl::StrictMode);
    if (text.isEmpty() || !url.isValid() || url.scheme().isEmpty()) return std::nullopt;
    return url;
}
} // namespace

void Store::setPrimaryAddress(const QString& text) {
    m_serverURLString = text;
    ensureLink(0)->setBase(primaryBase(text));
}

void Store::setPrimaryToken(std::optional<QString> token) {
    ensureLink(0)->setToken(std::move(token));
}

const std::optional<QString>& Store::token() const {
    return m_links.value(0)->token();
}

// MARK: Launch

void Store::init() {
    m_availableServerEngines = {};
    readLookSettings();
    m_claudeCodeEnabled = true;
    decidePrimaryAddress();
    auto stored = Prefs::shared().string(PrefKey::token);
    if (stored && stored->isEmpty()) stored.reset();
    setPrimaryToken(stored);
    m_me = Prefs::shared().readJson<User>(PrefKey::me);
    runLoadHelpers();
    if (token()) startLoggedInTasks();
    // Stored extra servers come up even without a primary session.
    startExtraServerTasksIfAny();
}

void Store::readLookSettings() {
    Prefs& prefs = Prefs::shared();
    m_design = designFromRaw(prefs.string(PrefKey::design).value_or(QString()))
                   .value_or(AppDesign::classic);
    m_accent =
        accentFromRaw(prefs.string(PrefKey::accent).value_or(QString())).value_or(AppAccent::blue);
    m_language = Loc::loadFromPrefs();
    m_transcriptionEngine =
        engineFromRaw(prefs.string(PrefKey::transcriptionEngine).value_or(QString()))
            .value_or(TranscriptionEngine::apple);
}

void Store::decidePrimaryAddress() {
    Prefs& prefs = Prefs::shared();
    if (auto stored = prefs.string(PrefKey::primaryBaseURL)) {
        setPrimaryAddress(*stored);
    } else if (prefs.contains(PrefKey::token)) {
        // An install from before the address was stored: it used the default server.
        setPrimaryAddress(Config::defaultServer());
        prefs.setValue(PrefKey::primaryBaseURL, m_serverURLString);
    } else {
        setPrimaryAddress(QString());
    }
    if (auto guest = prefs.string(PrefKey::guestServerURL); guest && !guest->isEmpty())
        setPrimaryAddress(*guest);
}

void Store::runLoadHelpers() {
    m_notifPrefs = Prefs::shared().readJson<NotifPrefs>(PrefKey::notifPrefs).value_or(NotifPrefs{});
    loadCCPermissions();
    loadCCEfforts();
    loadCCModelChoice();
    loadCCModels();
    loadServerClaudeEmail();
    loadServerClaudeUsage();
    loadServerPlatform();
    loadServerOS();
    loadCCReportedEfforts();
    loadCCWorkdirs();
    loadCCChromeUsed();
    loadCCScreenshotUsed();
    loadCCSeenHighWater();
    loadCCProcessedIds();
    loadCCChrome();
    loadPendingPrefSync();
    loadSeenDeploy();
    loadNotifiedDeploy();
    loadGlobalDeploy();
    loadDeployByChat();
    loadCCContext();
    loadCCContextFloor();
    loadUserActivity();
    loadCachedUsage();
    loadExtraServers();
    const auto muted = Prefs::shared().readJson<QList<qint64>>(PrefKey::mutedChats);
    m_mutedChats = muted ? QSet<qint64>(muted->begin(), muted->end()) : QSet<qint64>{};
}

void Store::startLoggedInTasks() {
    QPointer<Store> self(this);
    [](QPointer<Store> s) -> QCoro::Task<> {
        if (s) co_await s->resync();
    }(self);
    connectWS();
    registerForPush();
    [](QPointer<Store> s) -> QCoro::Task<> {
        if (!s) co_return;
        co_await s->selectPrimaryBase();
        if (!s) co_return;
        co_await s->upgradeKeyAuth();
        if (!s) co_return;
        co_await s->realignTailnetAccount();
    }(self);
    startHostStatusPolling();
}

// MARK: Fields with side effects

void Store::setAppActive(bool active) {
    if (m_appActive == active) return;
    m_appActive = active;
    sendActive(active);
    emit connectionChanged();
}

void Store::setMutedChats(const QSet<qint64>& muted) {
    if (m_mutedChats == muted) return;
    m_mutedChats = muted;
    QList<qint64> list(muted.begin(), muted.end());
    std::sort(list.begin(), list.end());
    Prefs::shared().writeJson(PrefKey::mutedChats, list);
    emit mutedChatsChanged();
}

void Store::setSelectedChatId(std::optional<qint64> chatId) {
    if (m_selectedChatId == chatId) return;
    m_selectedChatId = chatId;
    m_chatSettingsChatId.reset();
    emit selectionChanged();
}

void Store::openChatSettings(qint64 chatId) {
    setSelectedChatId(chatId);
    m_chatSettingsChatId = chatId;
}

void Store::setChatDraft(qint64 chatId, const QString& text) {
    if (text.isEmpty())
        m_chatDrafts.remove(chatId);
    else
        m_chatDrafts.insert(chatId, text);
}

void Store::setLastError(std::optional<QString> error) {
    if (m_lastError == error) return;
    m_lastError = std::move(error);
    emit lastErrorChanged();
}

void Store::setDesign(AppDesign design) {
    if (m_design == design) return;
    m_design = design;
    Prefs::shared().setValue(PrefKey::design, rawValue(design));
    emit settingsChanged();
}

void Store::setAccent(AppAccent accent) {
    if (m_accent == accent) return;
    m_accent = accent;
    Prefs::shared().setValue(PrefKey::accent, rawValue(accent));
    emit settingsChanged();
}

void Store::setLanguage(AppLanguage language) {
    if (m_language == language) return;
    m_language = language;
    Prefs::shared().setValue(PrefKey::appLanguage, rawValue(language));
    Loc::setCurrent(language);
    emit settingsChanged();
}

void Store::setTranscriptionEngine(TranscriptionEngine engine) {
    if (m_transcriptionEngine == engine) return;
    m_transcriptionEngine = engine;
    Prefs::shared().setValue(PrefKey::transcriptionEngine, rawValue(engine));
    emit settingsChanged();
}

void Store::setClaudeCodeEnabled(bool enabled) {
    if (m_claudeCodeEnabled == enabled) return;
    m_claudeCodeEnabled = enabled;
    Prefs::shared().setValue(PrefKey::claudeCodeEnabled, enabled);
    emit settingsChanged();
}

void Store::setClaudeHostName(std::optional<QString> name) {
    if (m_claudeHostName == name) return;
    m_claudeHostName = std::move(name);
    Prefs::shared().setValue(PrefKey::claudeHostName, m_claudeHostName.value_or(QString()));
    emit hostChanged();
}

void Store::setClaudeUsage(std::optional<ClaudeUsage> usage) {
    if (m_claudeUsage == usage) return;
    m_claudeUsage = std::move(usage);
    if (m_claudeUsage) Prefs::shared().writeJson(PrefKey::claudeUsageCache, *m_claudeUsage);
    emit hostChanged();
}

void Store::setServerPlatform(const QHash<int, QString>& platforms) {
    if (m_serverPlatform == platforms) return;
    m_serverPlatform = platforms;
    prefsmaps::writeIntMap(PrefKey::serverPlatform, platforms);
    emit hostChanged();
}

void Store::setServerOS(const QHash<int, QString>& os) {
    if (m_serverOS == os) return;
    m_serverOS = os;
    prefsmaps::writeIntMap(PrefKey::serverOSByServer, os);
    emit hostChanged();
}
