#pragma once

// The settings sheet of a session conversation: what the person asked the
// host for (access level, effort, model, Chrome), the working folder, its env
// files, and the Claude account the conversation runs on.

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QVariantList>

#include <QCoroTask>
#include <QtQml/qqmlregistration.h>

class Store;

class SessionSettingsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId WRITE setChatId NOTIFY chatIdChanged)
    Q_PROPERTY(bool isSession READ isSession NOTIFY chatIdChanged)
    // Whether the conversation open in the window is a session: its header
    // then offers this sheet.
    Q_PROPERTY(bool selectedIsSession READ selectedIsSession NOTIFY selectedIsSessionChanged)
    Q_PROPERTY(bool hasMacTools READ hasMacTools NOTIFY prefsChanged)
    Q_PROPERTY(QString permission READ permission NOTIFY prefsChanged)
    Q_PROPERTY(QString permissionIcon READ permissionIcon NOTIFY prefsChanged)
    Q_PROPERTY(QString effort READ effort NOTIFY prefsChanged)
    Q_PROPERTY(QString model READ model NOTIFY prefsChanged)
    Q_PROPERTY(bool chrome READ chrome NOTIFY prefsChanged)
    Q_PROPERTY(QVariantList permissionOptions READ permissionOptions CONSTANT)
    Q_PROPERTY(QVariantList effortOptions READ effortOptions CONSTANT)
    Q_PROPERTY(QVariantList modelOptions READ modelOptions NOTIFY prefsChanged)
    Q_PROPERTY(QString workdir READ workdir NOTIFY prefsChanged)
    Q_PROPERTY(QStringList envFiles READ envFiles NOTIFY envChanged)
    Q_PROPERTY(bool envLoaded READ envLoaded NOTIFY envChanged)
    Q_PROPERTY(bool envLoadFailed READ envLoadFailed NOTIFY envChanged)
    Q_PROPERTY(QString accountEmail READ accountEmail NOTIFY accountChanged)
    Q_PROPERTY(QStringList accountChoices READ accountChoices NOTIFY accountChanged)
    Q_PROPERTY(bool moving READ moving NOTIFY accountChanged)

public:
    explicit SessionSettingsModel(Store* store, QObject* parent = nullptr);

    qint64 chatId() const { return m_chatId; }
    void setChatId(qint64 chatId);
    bool isSession() const;
    bool selectedIsSession() const;
    bool hasMacTools() const;
    QString permission() const;
    QString permissionIcon() const;
    QString effort() const;
    QString model() const;
    bool chrome() const;
    // {value, label, detail, icon}; labels are English keys for the view to translate.
    QVariantList permissionOptions() const;
    QVariantList effortOptions() const;
    // {value, label, isDefault}: the empty id stands for the inherited model.
    QVariantList modelOptions() const;
    QString workdir() const;
    QStringList envFiles() const { return m_envFiles; }
    bool envLoaded() const { return m_envLoaded; }
    bool envLoadFailed() const { return m_envLoadFailed; }
    QString accountEmail() const;
    QStringList accountChoices() const;
    bool moving() const { return m_moving; }

    // Opening the sheet: pull the host's values, then list the env files.
    Q_INVOKABLE void open(qint64 chatId);
    Q_INVOKABLE void setPermission(const QString& raw);
    Q_INVOKABLE void setEffort(const QString& raw);
    Q_INVOKABLE void setModel(const QString& modelId);
    Q_INVOKABLE void setChrome(bool enabled);
    Q_INVOKABLE void reloadEnvFiles();
    // The name a new env file may take, or empty when the typed one is refused.
    Q_INVOKABLE QString acceptedEnvFileName(const QString& typed) const;
    Q_INVOKABLE void moveToAccount(const QString& email);
    // Opens one of the session's sheets over the open conversation: "settings",
    // "folders", "files", "claudemd", "env:<name>" or "file:<path>".
    Q_INVOKABLE void requestSheet(const QString& sheet);

    // The pieces the tests await.
    QCoro::Task<> sync();
    QCoro::Task<> loadEnvFiles();
    QCoro::Task<std::optional<QString>> move(QString email);

signals:
    void chatIdChanged();
    void selectedIsSessionChanged();
    void prefsChanged();
    void envChanged();
    void accountChanged();
    // The move failed; `reason` is already in the person's language.
    void moveFailed(const QString& reason);
    void sheetRequested(const QString& name, const QString& argument);

private:
    void setMoving(bool moving);

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    QStringList m_envFiles;
    bool m_envLoaded = false;
    bool m_envLoadFailed = false;
    bool m_moving = false;
    quint64 m_envGeneration = 0;
};
