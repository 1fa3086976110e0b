#include "ui/MediaTransfers.h"

#include "model/Errors.h"
#include "net/Download.h"
#include "shell/Localisation.h"
#include "store/Store.h"

#include <QCryptographicHash>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

// A name from the server is only a name: no folders, nothing hidden.
QString safeFileName(const QString& name) {
    QString base = QFileInfo(name).fileName().trimmed();
    while (base.startsWith(QLatin1Char('.')))
        base.remove(0, 1);
    return base.isEmpty() ? QStringLiteral("file") : base;
}

bool isRemote(const QUrl& url) {
    return url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
}

} // namespace

MediaTransfers::MediaTransfers(Store* store, QObject* parent) : QObject(parent), m_store(store) {}

QUrl MediaTransfers::suggestedTarget(const QString& name) const {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (folder.isEmpty()) folder = QDir::homePath();
    return QUrl::fromLocalFile(QDir(folder).filePath(safeFileName(name)));
}

QString MediaTransfers::cachePath(const QString& url, const QString& name) {
    // One folder per address: two files of the same name never meet.
    const QString key = QString::fromLatin1(
        QCryptographicHash::hash(url.toUtf8(), QCryptographicHash::Sha256).toHex().left(16));
    const QString root = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    return QDir(root).filePath(QStringLiteral("files/%1/%2").arg(key, safeFileName(name)));
}

void MediaTransfers::save(const QString& url, const QUrl& target) {
    if (m_progress.contains(url) || !target.isLocalFile()) return;
    [](QPointer<MediaTransfers> self, QString url, QString path) -> QCoro::Task<> {
        auto call = self->fetch(url, path);
        const bool ok = co_await call;
        if (self && ok) {
            if (self->m_store) self->m_store->showToast(L(QStringLiteral("Saved")));
            emit self->saved(url, path);
        }
    }(this, url, target.toLocalFile());
}

void MediaTransfers::open(const QString& url, const QString& name) {
    if (m_progress.contains(url)) return;
    const QString path = cachePath(url, name);
    // Files on a server never change under their address: a cached copy is the file.
    if (QFileInfo::exists(path)) {
        QDesktopServices::openUrl(QUrl::fromLocalFile(path));
        emit opened(url, path);
        return;
    }
    [](QPointer<MediaTransfers> self, QString url, QString path) -> QCoro::Task<> {
        if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
            emit self->failed(url, L(QStringLiteral("The file could not be written.")));
            co_return;
        }
        auto call = self->fetch(url, path);
        const bool ok = co_await call;
        if (!self || !ok) co_return;
        QDesktopServices::openUrl(QUrl::fromLocalFile(path));
        emit self->opened(url, path);
    }(this, url, path);
}

// The file appears at `path` only once it is whole; a failure leaves what was
// there before and tells the person why.
QCoro::Task<bool> MediaTransfers::fetch(QString url, QString path) {
    QPointer<MediaTransfers> self(this);
    const QUrl remote(url);
    if (!isRemote(remote)) co_return false;
    setProgress(url, -1);
    QSaveFile file(path);
    QString failure;
    if (!file.open(QIODevice::WriteOnly)) {
        failure = L(QStringLiteral("The file could not be written."));
    } else {
        try {
            auto download = downloadTo(remote, file, [self, url](qint64 received, qint64 total) {
                if (self) self->setProgress(url, total > 0 ? double(received) / total : -1);
            });
            co_await download;
            if (!file.commit()) failure = L(QStringLiteral("The file could not be written."));
        } catch (const std::exception& e) {
            failure = describeError(e);
        }
    }
    if (!failure.isEmpty()) file.cancelWriting();
    if (!self) co_return false;
    finish(url);
    if (failure.isEmpty()) co_return true;
    if (m_store) m_store->setLastError(failure);
    emit failed(url, failure);
    co_return false;
}

void MediaTransfers::setProgress(const QString& url, double fraction) {
    m_progress.insert(url, fraction);
    emit progressChanged();
}

void MediaTransfers::finish(const QString& url) {
    m_progress.remove(url);
    emit progressChanged();
}
