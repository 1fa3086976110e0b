#pragma once

// Files and pictures of the conversation, fetched on the person's command:
// saved to a place they chose, or fetched once into the cache and handed to
// the desktop's handler. Every fetch goes through the pinned session, and the
// views show how far each one is, by the media's address.

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>

class Store;

class MediaTransfers : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    // Media address -> fraction received (0 to 1), or -1 while the size is unknown.
    Q_PROPERTY(QVariantMap progress READ progress NOTIFY progressChanged)

public:
    explicit MediaTransfers(Store* store, QObject* parent = nullptr);

    QVariantMap progress() const { return m_progress; }
    // A second request for an address already under way is ignored.
    Q_INVOKABLE void save(const QString& url, const QUrl& target);
    Q_INVOKABLE void open(const QString& url, const QString& name);
    // Where the save dialog starts: the downloads folder and the file's own name.
    Q_INVOKABLE QUrl suggestedTarget(const QString& name) const;
    // The cache file an opened medium lands in.
    static QString cachePath(const QString& url, const QString& name);

signals:
    void progressChanged();
    void saved(const QString& url, const QString& path);
    void opened(const QString& url, const QString& path);
    void failed(const QString& url, const QString& message);

private:
    QCoro::Task<bool> fetch(QString url, QString path);
    void setProgress(const QString& url, double fraction);
    void finish(const QString& url);

    QPointer<Store> m_store;
    QVariantMap m_progress;
};
