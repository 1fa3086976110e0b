#include "ui/RemoteFilesModel.h"

#include "agent/Files.h"
#include "store/Store.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVariantMap>

RemoteFilesModel::RemoteFilesModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {}

int RemoteFilesModel::viewerCap() const {
    return int(fileViewerCap);
}

QVariantMap RemoteFilesModel::level() const {
    // Before the first level the working folder is still being asked for.
    if (m_levels.isEmpty())
        return {{QStringLiteral("loading"), true}, {QStringLiteral("entries"), QVariantList()}};
    const Level& top = m_levels.last();
    QVariantList entries;
    if (top.listing)
        for (const CCEntry& e : top.listing->entries)
            entries << QVariantMap{
                {QStringLiteral("name"), e.name},
                {QStringLiteral("path"), e.path},
                {QStringLiteral("isDir"), e.isDir},
                {QStringLiteral("size"), e.size},
                {QStringLiteral("sizeText"), e.isDir ? QString() : sizeString(e.size)},
                {QStringLiteral("icon"), e.isDir ? folderIcon() : fileIcon(e.name)},
                {QStringLiteral("selected"), m_selected.contains(e.path)}};
    return {{QStringLiteral("path"), top.path},
            {QStringLiteral("title"), top.title},
            {QStringLiteral("loading"), top.loading},
            {QStringLiteral("failed"), top.failed},
            {QStringLiteral("blocked"), top.listing && top.listing->blocked},
            {QStringLiteral("truncated"), top.listing && top.listing->truncated},
            {QStringLiteral("entries"), entries}};
}

void RemoteFilesModel::setSelecting(bool selecting) {
    if (selecting == m_selecting) return;
    m_selecting = selecting;
    m_selected.clear();
    emit levelsChanged();
}

// MARK: Levels

void RemoteFilesModel::openExplorer(qint64 chatId) {
    m_chatId = chatId;
    m_levels.clear();
    m_selecting = false;
    m_selected.clear();
    emit levelsChanged();
    [](QPointer<RemoteFilesModel> self, QPointer<Store> store, qint64 chat) -> QCoro::Task<> {
        if (!store) co_return;
        // The working folder comes with the host's settings; ask once if unknown.
        if (!store->ccWorkdir(chat)) {
            auto pull = store->ccSyncPrefs(chat);
            co_await pull;
        }
        if (!self || !store || self->m_chatId != chat || !self->m_levels.isEmpty()) co_return;
        const QString root = store->ccWorkdir(chat).value_or(QStringLiteral("~"));
        self->openDir(root, QStringLiteral("Files"));
    }(QPointer<RemoteFilesModel>(this), m_store, chatId);
}

void RemoteFilesModel::openDir(const QString& path, const QString& title) {
    m_levels.append(Level{path, title});
    m_selected.clear();
    emit levelsChanged();
    loadTop();
}

void RemoteFilesModel::back() {
    if (m_levels.size() <= 1) return;
    m_levels.removeLast();
    m_selected.clear();
    emit levelsChanged();
}

void RemoteFilesModel::retry() {
    if (m_levels.isEmpty()) return;
    m_levels.last().loading = true;
    m_levels.last().failed = false;
    emit levelsChanged();
    loadTop();
}

QCoro::Task<> RemoteFilesModel::loadTop() {
    QPointer<RemoteFilesModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || m_levels.isEmpty()) co_return;
    const int index = int(m_levels.size()) - 1;
    const QString path = m_levels.last().path;
    auto call = store->ccListDir(m_chatId, path);
    const std::optional<CCDirListing> listing = co_await call;
    // The level may have been left while the host answered.
    if (!self || index >= m_levels.size() || m_levels[index].path != path) co_return;
    Level& level = m_levels[index];
    level.loading = false;
    level.failed = !listing;
    level.listing = listing;
    emit levelsChanged();
}

void RemoteFilesModel::openPrivacySettings() {
    if (m_store) m_store->ccOpenPrivacySettings();
}

void RemoteFilesModel::toggleSelected(const QString& path) {
    if (m_levels.isEmpty() || !m_levels.last().listing) return;
    for (const CCEntry& e : m_levels.last().listing->entries) {
        if (e.path != path || e.isDir) continue;
        if (!m_selected.remove(path)) m_selected.insert(path);
        emit levelsChanged();
        return;
    }
}

// MARK: Viewer

QVariantMap RemoteFilesModel::viewer() const {
    return {{QStringLiteral("name"), m_viewedName},
            {QStringLiteral("path"), m_viewedPath},
            {QStringLiteral("loading"), m_viewLoading},
            {QStringLiteral("text"), m_viewed.text},
            {QStringLiteral("error"), m_viewed.error.value_or(QString())},
            {QStringLiteral("truncated"), m_viewed.truncated},
            {QStringLiteral("capText"), sizeString(fileViewerCap)}};
}

void RemoteFilesModel::openFile(const QString& path, const QString& name) {
    view(path, name);
}

QCoro::Task<> RemoteFilesModel::view(QString path, QString name) {
    QPointer<RemoteFilesModel> self(this);
    QPointer<Store> store = m_store;
    if (!store) co_return;
    const quint64 generation = ++m_viewGeneration;
    m_viewedName = name;
    m_viewedPath = path;
    m_viewLoading = true;
    m_viewed = {};
    emit viewerChanged();
    auto call = store->ccReadFileForViewer(path, fileViewerCap);
    CCFileView read = co_await call;
    if (!self || generation != m_viewGeneration) co_return;
    m_viewLoading = false;
    m_viewed = std::move(read);
    emit viewerChanged();
}

// MARK: Saving

void RemoteFilesModel::fetchSelected() {
    QList<CCEntry> entries;
    if (!m_levels.isEmpty() && m_levels.last().listing)
        for (const CCEntry& e : m_levels.last().listing->entries)
            if (m_selected.contains(e.path)) entries << e;
    fetch(entries);
}

void RemoteFilesModel::fetchViewed() {
    if (m_viewedPath.isEmpty()) return;
    fetch({CCEntry{m_viewedName, m_viewedPath, false, 0}});
}

QCoro::Task<bool> RemoteFilesModel::fetch(QList<CCEntry> entries) {
    QPointer<RemoteFilesModel> self(this);
    QPointer<Store> store = m_store;
    if (!store || entries.isEmpty() || m_saveCount > 0) co_return false;
    m_downloaded.clear();
    m_saveFailed = false;
    m_saveCount = int(entries.size());
    const qint64 chatId = m_chatId;
    for (int i = 0; i < entries.size(); ++i) {
        m_saveIndex = i + 1;
        emit savingChanged();
        auto call = store->ccDownloadFile(chatId, entries[i].path, entries[i].name);
        const std::optional<QUrl> local = co_await call;
        if (!self) co_return false;
        if (!local) {
            m_saveFailed = true;
            break;
        }
        m_downloaded << *local;
    }
    m_saveCount = 0;
    m_saveIndex = 0;
    emit savingChanged();
    if (m_saveFailed) co_return false;
    emit readyToSave();
    co_return true;
}

bool RemoteFilesModel::saveInto(const QUrl& folder) {
    const QDir target(folder.isLocalFile() ? folder.toLocalFile() : folder.toString());
    bool ok = target.exists();
    for (const QUrl& file : std::as_const(m_downloaded)) {
        if (!ok) break;
        const QString from = file.toLocalFile();
        const QString to = target.filePath(QFileInfo(from).fileName());
        // Saving over a file of the same name is what the person asked for.
        if (QFile::exists(to)) QFile::remove(to);
        ok = QFile::copy(from, to);
    }
    for (const QUrl& file : std::as_const(m_downloaded))
        QDir(QFileInfo(file.toLocalFile()).absolutePath()).removeRecursively();
    m_downloaded.clear();
    if (!ok) {
        m_saveFailed = true;
        emit savingChanged();
    } else {
        setSelecting(false);
    }
    return ok;
}

void RemoteFilesModel::clearSaveFailure() {
    m_saveFailed = false;
    emit savingChanged();
}
