#include "ui/FolderBrowserModel.h"

#include "store/Store.h"

#include <QVariantMap>

FolderBrowserModel::FolderBrowserModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {}

QString FolderBrowserModel::path() const {
    return m_stack.isEmpty() ? QString() : m_stack.last().path;
}

bool FolderBrowserModel::hasParent() const {
    return !m_stack.isEmpty() && m_stack.last().parent.has_value();
}

QVariantList FolderBrowserModel::folders() const {
    QVariantList rows;
    if (m_stack.isEmpty()) return rows;
    for (const CCFolder& f : m_stack.last().dirs)
        rows << QVariantMap{{QStringLiteral("name"), f.name}, {QStringLiteral("path"), f.path}};
    return rows;
}

QString FolderBrowserModel::permission() const {
    return rawValue(m_permission);
}

void FolderBrowserModel::setPermission(const QString& raw) {
    const auto value = Config::permissionFromRaw(raw);
    if (!value || *value == m_permission) return;
    m_permission = *value;
    emit stateChanged();
}

void FolderBrowserModel::setLoading(bool loading, bool failed) {
    m_loading = loading;
    m_failed = failed;
    emit stateChanged();
}

// MARK: Walking

void FolderBrowserModel::start() {
    m_stack.clear();
    emit listingChanged();
    list(QStringLiteral("~"), true);
}

void FolderBrowserModel::openFolder(const QString& path) {
    list(path, false);
}

void FolderBrowserModel::upLevel() {
    if (m_stack.size() > 1) {
        m_stack.removeLast();
        emit listingChanged();
    } else if (hasParent()) {
        list(*m_stack.last().parent, true);
    }
}

void FolderBrowserModel::retry() {
    list(m_lastAsked, m_lastReplace);
}

QCoro::Task<bool> FolderBrowserModel::list(QString path, bool replaceTop) {
    QPointer<FolderBrowserModel> self(this);
    QPointer<Store> store = m_store;
    if (!store) co_return false;
    m_lastAsked = path;
    m_lastReplace = replaceTop;
    setLoading(true, false);
    auto call = store->ccListDirs(path);
    const std::optional<CCListing> listing = co_await call;
    if (!self) co_return false;
    setLoading(false, !listing);
    if (!listing) co_return false;
    if (replaceTop && !m_stack.isEmpty()) m_stack.removeLast();
    m_stack.append(*listing);
    emit listingChanged();
    co_return true;
}

// MARK: Making

void FolderBrowserModel::createFolder(const QString& name) {
    makeFolder(name);
}

QCoro::Task<bool> FolderBrowserModel::makeFolder(QString name) {
    QPointer<FolderBrowserModel> self(this);
    QPointer<Store> store = m_store;
    const QString trimmed = name.trimmed();
    if (!store || trimmed.isEmpty() || m_stack.isEmpty()) co_return false;
    const QString parent = path();
    auto call = store->ccCreateFolder(parent, trimmed);
    const std::optional<QString> made = co_await call;
    if (!self) co_return false;
    if (!made) {
        setLoading(false, true);
        co_return false;
    }
    // The listing we came from must show the new folder when we go back up.
    auto refresh = list(parent, true);
    co_await refresh;
    if (!self) co_return false;
    auto open = list(*made, false);
    co_return co_await open;
}

void FolderBrowserModel::startHere() {
    [](QPointer<FolderBrowserModel> self) -> QCoro::Task<> {
        auto call = self->startSession();
        const std::optional<qint64> chatId = co_await call;
        if (self) emit self->finished(chatId.value_or(0));
    }(QPointer<FolderBrowserModel>(this));
}

QCoro::Task<std::optional<qint64>> FolderBrowserModel::startSession() {
    QPointer<FolderBrowserModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || m_stack.isEmpty() || m_creating) co_return std::nullopt;
    m_creating = true;
    emit stateChanged();
    auto call = store->ccCreateSession(path(), m_permission);
    const std::optional<qint64> chatId = co_await call;
    if (!self) co_return chatId;
    m_creating = false;
    emit stateChanged();
    co_return chatId;
}
