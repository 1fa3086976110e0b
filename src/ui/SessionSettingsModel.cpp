#include "ui/SessionSettingsModel.h"

#include "agent/Files.h"
#include "core/Localisation.h"
#include "store/Store.h"

#include <QVariantMap>

SessionSettingsModel::SessionSettingsModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {
    connect(store, &Store::ccStateChanged, this, [this](qint64 chatId) {
        if (chatId == m_chatId) emit prefsChanged();
    });
    connect(store, &Store::ccModelsChanged, this, &SessionSettingsModel::prefsChanged);
    connect(store, &Store::hostChanged, this, &SessionSettingsModel::prefsChanged);
    connect(store, &Store::accountsChanged, this, &SessionSettingsModel::accountChanged);
    for (auto signal : {&Store::selectionChanged, &Store::chatsReset, &Store::sessionChanged})
        connect(store, signal, this, &SessionSettingsModel::selectedIsSessionChanged);
    connect(store, &Store::chatChanged, this, &SessionSettingsModel::selectedIsSessionChanged);
}

void SessionSettingsModel::setChatId(qint64 chatId) {
    if (chatId == m_chatId) return;
    m_chatId = chatId;
    m_envFiles.clear();
    m_envLoaded = false;
    m_envLoadFailed = false;
    ++m_envGeneration;
    emit chatIdChanged();
    emit prefsChanged();
    emit envChanged();
    emit accountChanged();
}

bool SessionSettingsModel::isSession() const {
    const ChatSummary* chat = m_store ? m_store->chat(m_chatId) : nullptr;
    return chat && m_store->isClaudeSessionChat(*chat);
}

bool SessionSettingsModel::selectedIsSession() const {
    const std::optional<qint64> selected = m_store ? m_store->selectedChatId() : std::nullopt;
    const ChatSummary* chat = selected ? m_store->chat(*selected) : nullptr;
    // A conversation with a person has no agent to set up.
    return chat && m_store->isClaudeSessionChat(*chat) && m_store->isClaudeCodeChat(*chat);
}

bool SessionSettingsModel::hasMacTools() const {
    return m_store && m_chatId && m_store->chatHasMacTools(m_chatId);
}

QString SessionSettingsModel::permission() const {
    return m_store ? rawValue(m_store->ccPermission(m_chatId)) : QString();
}

QString SessionSettingsModel::permissionIcon() const {
    return m_store ? Config::icon(m_store->ccPermission(m_chatId)) : QString();
}

QString SessionSettingsModel::effort() const {
    return m_store ? rawValue(m_store->ccEffort(m_chatId)) : QString();
}

QString SessionSettingsModel::model() const {
    return m_store ? m_store->ccModelChoice(m_chatId) : QString();
}

bool SessionSettingsModel::chrome() const {
    return m_store && m_store->ccChromeEnabled(m_chatId);
}

QVariantList SessionSettingsModel::permissionOptions() const {
    QVariantList options;
    for (Config::CCPermission p : Config::allPermissions)
        options << QVariantMap{{QStringLiteral("value"), rawValue(p)},
                               {QStringLiteral("label"), Config::label(p)},
                               {QStringLiteral("detail"), Config::detail(p)},
                               {QStringLiteral("icon"), Config::icon(p)}};
    return options;
}

QVariantList SessionSettingsModel::effortOptions() const {
    QVariantList options;
    for (Config::CCEffort e : Config::allEfforts)
        options << QVariantMap{{QStringLiteral("value"), rawValue(e)},
                               {QStringLiteral("label"), Config::label(e)},
                               {QStringLiteral("detail"), Config::detail(e)},
                               {QStringLiteral("icon"), Config::icon(e)}};
    return options;
}

QVariantList SessionSettingsModel::modelOptions() const {
    QVariantList options;
    if (!m_store) return options;
    for (const Config::CCModelInfo& info : m_store->modelPickerOptions(model())) {
        // The inherited entry names the model it stands for.
        const bool isDefault = info.id.isEmpty();
        const QString label =
            isDefault ? m_store->defaultModelName() + L(QStringLiteral(" (default)")) : info.name;
        options << QVariantMap{{QStringLiteral("value"), info.id},
                               {QStringLiteral("label"), label},
                               {QStringLiteral("isDefault"), isDefault}};
    }
    return options;
}

QString SessionSettingsModel::workdir() const {
    return m_store ? m_store->ccWorkdir(m_chatId).value_or(QString()) : QString();
}

QString SessionSettingsModel::accountEmail() const {
    return m_store ? m_store->chatAccountEmail(m_chatId).value_or(QString()) : QString();
}

QStringList SessionSettingsModel::accountChoices() const {
    return m_store ? m_store->knownAccountEmails() : QStringList();
}

// MARK: Changes

void SessionSettingsModel::open(qint64 chatId) {
    setChatId(chatId);
    [](QPointer<SessionSettingsModel> self) -> QCoro::Task<> {
        auto pull = self->sync();
        co_await pull;
        if (!self) co_return;
        auto list = self->loadEnvFiles();
        co_await list;
    }(QPointer<SessionSettingsModel>(this));
}

QCoro::Task<> SessionSettingsModel::sync() {
    QPointer<Store> store = m_store;
    if (!store || !m_chatId) co_return;
    auto pull = store->ccSyncPrefs(m_chatId);
    co_await pull;
}

void SessionSettingsModel::setPermission(const QString& raw) {
    const auto value = Config::permissionFromRaw(raw);
    if (!value || !m_store || !m_chatId) return;
    m_store->updateCCPermission(m_chatId, *value);
}

void SessionSettingsModel::setEffort(const QString& raw) {
    const auto value = Config::effortFromRaw(raw);
    if (!value || !m_store || !m_chatId) return;
    m_store->updateCCEffort(m_chatId, *value);
}

void SessionSettingsModel::setModel(const QString& modelId) {
    if (!m_store || !m_chatId) return;
    m_store->updateCCModel(m_chatId, modelId);
}

void SessionSettingsModel::setChrome(bool enabled) {
    if (!m_store || !m_chatId) return;
    m_store->updateCCChrome(m_chatId, enabled);
}

// MARK: Env files

void SessionSettingsModel::reloadEnvFiles() {
    loadEnvFiles();
}

QCoro::Task<> SessionSettingsModel::loadEnvFiles() {
    QPointer<SessionSettingsModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || !m_chatId) co_return;
    const quint64 generation = ++m_envGeneration;
    m_envLoadFailed = false;
    emit envChanged();
    auto list = store->ccListEnvFiles(m_chatId);
    const std::optional<QStringList> files = co_await list;
    // Another conversation or a newer load took over meanwhile.
    if (!self || generation != m_envGeneration) co_return;
    m_envLoadFailed = !files;
    m_envFiles = files.value_or(QStringList());
    m_envLoaded = true;
    emit envChanged();
}

QString SessionSettingsModel::acceptedEnvFileName(const QString& typed) const {
    return validEnvFileName(typed).value_or(QString());
}

// MARK: Account

void SessionSettingsModel::setMoving(bool moving) {
    if (moving == m_moving) return;
    m_moving = moving;
    emit accountChanged();
}

void SessionSettingsModel::moveToAccount(const QString& email) {
    [](QPointer<SessionSettingsModel> self, QString target) -> QCoro::Task<> {
        auto call = self->move(target);
        const std::optional<QString> failure = co_await call;
        if (self && failure) emit self->moveFailed(*failure);
    }(QPointer<SessionSettingsModel>(this), email);
}

QCoro::Task<std::optional<QString>> SessionSettingsModel::move(QString email) {
    QPointer<SessionSettingsModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || !m_chatId || m_moving) co_return std::nullopt;
    setMoving(true);
    auto call = store->switchChatAccount(m_chatId, email);
    const std::optional<QString> failure = co_await call;
    if (!self) co_return failure;
    setMoving(false);
    emit accountChanged();
    co_return failure;
}

void SessionSettingsModel::requestSheet(const QString& sheet) {
    const qsizetype colon = sheet.indexOf(u':');
    emit sheetRequested(colon < 0 ? sheet : sheet.left(colon),
                        colon < 0 ? QString() : sheet.mid(colon + 1));
}
