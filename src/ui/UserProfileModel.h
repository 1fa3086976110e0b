#pragma once

// Another person's profile sheet beyond their own words: the picture, whether
// they are online, the device and app they last connected with, and the way
// to write to them. Follows the store's profileUser.

#include "model/Models.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <optional>

class Store;

class UserProfileModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 userId READ userId NOTIFY userChanged)
    Q_PROPERTY(QUrl avatarUrl READ avatarUrl NOTIFY userChanged)
    Q_PROPERTY(QString presence READ presence NOTIFY presenceChanged)
    Q_PROPERTY(bool online READ online NOTIFY presenceChanged)
    // "Last connected: Mac · app 1.2 (34)", empty until the server has told.
    Q_PROPERTY(QString lastConnected READ lastConnected NOTIFY clientChanged)
    Q_PROPERTY(QString deviceIcon READ deviceIcon NOTIFY clientChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    explicit UserProfileModel(Store* store, QObject* parent = nullptr);

    // The symbol for the device a person last used, by its name.
    static QString deviceIconFor(const QString& lastDevice);
    static QString lastConnectedText(const UserClient& client);

    qint64 userId() const;
    QUrl avatarUrl() const;
    QString presence() const;
    bool online() const;
    QString lastConnected() const;
    QString deviceIcon() const;
    bool busy() const { return m_busy; }
    QString errorText() const { return m_error; }

    // "Conversation": the direct conversation with the person, opened; the
    // sheet closes once it is there.
    Q_INVOKABLE void startConversation();

signals:
    void userChanged();
    void presenceChanged();
    void clientChanged();
    void busyChanged();
    void errorTextChanged();

private:
    void follow();
    void setBusy(bool busy);

    QPointer<Store> m_store;
    std::optional<UserClient> m_client;
    quint64 m_generation = 0;
    bool m_busy = false;
    QString m_error;
};
