#pragma once

// The read-only view of a session's working folder: a stack of folder levels,
// a text viewer for one file, and saving chosen files into a local folder.

#include "model/AgentTypes.h"

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QUrl>
#include <QVariantList>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;

class RemoteFilesModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId NOTIFY levelsChanged)
    Q_PROPERTY(int depth READ depth NOTIFY levelsChanged)
    // The top level: {path, title, loading, failed, blocked, truncated, entries}
    // where an entry is {name, path, isDir, size, sizeText, icon, selected}.
    Q_PROPERTY(QVariantMap level READ level NOTIFY levelsChanged)
    Q_PROPERTY(bool selecting READ selecting WRITE setSelecting NOTIFY levelsChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY levelsChanged)
    // The viewer: {name, loading, text, error, truncated}.
    Q_PROPERTY(QVariantMap viewer READ viewer NOTIFY viewerChanged)
    // Saving: how far it is (i of n), and whether a file failed.
    Q_PROPERTY(int saveIndex READ saveIndex NOTIFY savingChanged)
    Q_PROPERTY(int saveCount READ saveCount NOTIFY savingChanged)
    Q_PROPERTY(bool saveFailed READ saveFailed NOTIFY savingChanged)
    Q_PROPERTY(int viewerCap READ viewerCap CONSTANT)

public:
    struct Level {
        QString path;
        QString title;
        bool loading = true;
        bool failed = false;
        std::optional<CCDirListing> listing;
    };

    explicit RemoteFilesModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    int depth() const { return int(m_levels.size()); }
    QVariantMap level() const;
    bool selecting() const { return m_selecting; }
    void setSelecting(bool selecting);
    int selectedCount() const { return int(m_selected.size()); }
    QVariantMap viewer() const;
    int saveIndex() const { return m_saveIndex; }
    int saveCount() const { return m_saveCount; }
    bool saveFailed() const { return m_saveFailed; }
    int viewerCap() const;
    const QList<Level>& levels() const { return m_levels; }
    const CCFileView& viewed() const { return m_viewed; }
    QList<QUrl> downloaded() const { return m_downloaded; }

    // "Files": the session's working folder.
    Q_INVOKABLE void openExplorer(qint64 chatId);
    Q_INVOKABLE void openDir(const QString& path, const QString& title);
    Q_INVOKABLE void back();
    Q_INVOKABLE void retry();
    Q_INVOKABLE void openPrivacySettings();
    Q_INVOKABLE void toggleSelected(const QString& path);
    Q_INVOKABLE void openFile(const QString& path, const QString& name);
    // Fetches the selected files (or the viewed one) to local copies; the
    // view then asks where to put them.
    Q_INVOKABLE void fetchSelected();
    Q_INVOKABLE void fetchViewed();
    // Copies the fetched files into a local folder; false when one failed.
    Q_INVOKABLE bool saveInto(const QUrl& folder);
    Q_INVOKABLE void clearSaveFailure();

    QCoro::Task<> loadTop();
    QCoro::Task<> view(QString path, QString name);
    QCoro::Task<bool> fetch(QList<CCEntry> entries);

signals:
    void levelsChanged();
    void viewerChanged();
    void savingChanged();
    // Every requested file is here locally: pick the folder to save them in.
    void readyToSave();

private:
    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    QList<Level> m_levels;
    bool m_selecting = false;
    QSet<QString> m_selected;
    QString m_viewedName;
    QString m_viewedPath;
    bool m_viewLoading = false;
    CCFileView m_viewed;
    quint64 m_viewGeneration = 0;
    int m_saveIndex = 0;
    int m_saveCount = 0;
    bool m_saveFailed = false;
    QList<QUrl> m_downloaded;
};
