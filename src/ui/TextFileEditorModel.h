#pragma once

// The editor of one text file in a session's folder: the project
// instructions (CLAUDE.md) or an env file. It keeps the person's text when a
// save fails, and tells whether there is anything to save.

#include <QObject>
#include <QPointer>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;

class TextFileEditorModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId NOTIFY fileChanged)
    // Empty for CLAUDE.md, else the env file's name.
    Q_PROPERTY(QString envName READ envName NOTIFY fileChanged)
    Q_PROPERTY(QString title READ title NOTIFY fileChanged)
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(bool dirty READ dirty NOTIFY textChanged)
    Q_PROPERTY(bool loading READ loading NOTIFY stateChanged)
    Q_PROPERTY(bool loadFailed READ loadFailed NOTIFY stateChanged)
    Q_PROPERTY(bool saving READ saving NOTIFY stateChanged)
    Q_PROPERTY(bool saveFailed READ saveFailed NOTIFY stateChanged)

public:
    explicit TextFileEditorModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    QString envName() const { return m_envName; }
    QString title() const;
    QString text() const { return m_text; }
    void setText(const QString& text);
    bool dirty() const { return m_text != m_original; }
    bool loading() const { return m_loading; }
    bool loadFailed() const { return m_loadFailed; }
    bool saving() const { return m_saving; }
    bool saveFailed() const { return m_saveFailed; }

    Q_INVOKABLE void openClaudeMd(qint64 chatId);
    Q_INVOKABLE void openEnvFile(qint64 chatId, const QString& name);
    Q_INVOKABLE void reload();
    Q_INVOKABLE void save();
    Q_INVOKABLE void copyAll() const;

    QCoro::Task<> load();
    // True when the host took the whole text.
    QCoro::Task<bool> write();

signals:
    void fileChanged();
    void textChanged();
    void stateChanged();
    // The host has the text; the sheet closes and lists refresh.
    void saved();

private:
    void open(qint64 chatId, const QString& envName);

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    QString m_envName;
    QString m_text;
    QString m_original;
    bool m_loading = false;
    bool m_loadFailed = false;
    bool m_saving = false;
    bool m_saveFailed = false;
    quint64 m_generation = 0;
};
