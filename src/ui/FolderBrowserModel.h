#pragma once

// The folder browser that starts a new session: walks the host's folders from
// the home folder, makes new ones, and starts a session in the chosen one.

#include "model/AgentTypes.h"

#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;

class FolderBrowserModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(QString path READ path NOTIFY listingChanged)
    Q_PROPERTY(bool hasParent READ hasParent NOTIFY listingChanged)
    // {name, path} of each subfolder.
    Q_PROPERTY(QVariantList folders READ folders NOTIFY listingChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY stateChanged)
    Q_PROPERTY(bool failed READ failed NOTIFY stateChanged)
    Q_PROPERTY(bool creating READ creating NOTIFY stateChanged)
    Q_PROPERTY(QString permission READ permission WRITE setPermission NOTIFY stateChanged)

public:
    explicit FolderBrowserModel(Store* store, QObject* parent = nullptr);

    QString path() const;
    bool hasParent() const;
    QVariantList folders() const;
    bool loading() const { return m_loading; }
    bool failed() const { return m_failed; }
    bool creating() const { return m_creating; }
    QString permission() const;
    void setPermission(const QString& raw);
    int depth() const { return int(m_stack.size()); }

    // From the home folder again.
    Q_INVOKABLE void start();
    Q_INVOKABLE void openFolder(const QString& path);
    Q_INVOKABLE void upLevel();
    Q_INVOKABLE void retry();
    Q_INVOKABLE void createFolder(const QString& name);
    Q_INVOKABLE void startHere();

    // Lists `path` on top of the stack (or in place of the top).
    QCoro::Task<bool> list(QString path, bool replaceTop);
    QCoro::Task<bool> makeFolder(QString name);
    QCoro::Task<std::optional<qint64>> startSession();

signals:
    void listingChanged();
    void stateChanged();
    // A session was started in the chosen folder (0 when the host refused).
    void finished(qint64 chatId);

private:
    void setLoading(bool loading, bool failed);

    QPointer<Store> m_store;
    QList<CCListing> m_stack;
    QString m_lastAsked = QStringLiteral("~");
    bool m_lastReplace = true;
    bool m_loading = false;
    bool m_failed = false;
    bool m_creating = false;
    Config::CCPermission m_permission = Config::CCPermission::ask;
};
