#pragma once

// The settings of a group: its title and picture, its members with their
// roles, adding and removing people, making admins, and leaving. Rows are the
// members, the owner first, then admins, then everyone else by name. Also
// decides which settings a conversation's row menu opens.

#include "model/Models.h"

#include <QAbstractListModel>
#include <QCoroTask>
#include <QPointer>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>

class Store;

class GroupSettingsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId NOTIFY chatChanged)
    // False once the group is gone: deleted, or this person left or was removed.
    Q_PROPERTY(bool exists READ exists NOTIFY chatChanged)
    Q_PROPERTY(QString title READ title NOTIFY chatChanged)
    Q_PROPERTY(QUrl avatarUrl READ avatarUrl NOTIFY chatChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY chatChanged)
    // Adding and removing people takes the owner or an admin.
    Q_PROPERTY(bool canManage READ canManage NOTIFY chatChanged)
    // Only the owner sets roles, and the owner cannot leave.
    Q_PROPERTY(bool isOwner READ isOwner NOTIFY chatChanged)
    // People of the group's server who are not in it, found by `candidateSearch`.
    Q_PROPERTY(QVariantList candidates READ candidates NOTIFY candidatesChanged)
    Q_PROPERTY(QString candidateSearch READ candidateSearch WRITE setCandidateSearch NOTIFY
                   candidatesChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    enum Role {
        UserIdRole = Qt::UserRole + 1,
        NameRole,
        GroupRoleRole, // "Owner", "Admin" or "User"
        RoleLabelRole, // the English key of what the view shows for it
        OnlineRole,
        PresenceRole,
        IsMeRole,
        AvatarUrlRole,
        CanRemoveRole,
        CanChangeRoleRole
    };
    Q_ENUM(Role)

    explicit GroupSettingsModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    qint64 chatId() const { return m_chatId; }
    bool exists() const;
    QString title() const;
    QUrl avatarUrl() const;
    bool canManage() const;
    bool isOwner() const;
    QVariantList candidates() const;
    QString candidateSearch() const { return m_candidateSearch; }
    void setCandidateSearch(const QString& search);
    bool busy() const { return m_busy; }
    QString errorText() const { return m_error; }

    // Which settings a conversation has: "session" for an agent session,
    // "group", "person" for a direct conversation with someone, else empty.
    Q_INVOKABLE QString settingsKindOf(qint64 chatId) const;
    // Opens what it can itself: a group here, a person's profile through the
    // store; the view opens a session's sheet.
    Q_INVOKABLE QString openSettingsOf(qint64 chatId);
    // A fresh sheet for the group: no search, no error, the roles re-read.
    Q_INVOKABLE void open(qint64 chatId);
    Q_INVOKABLE void rename(const QString& title);
    Q_INVOKABLE void addMembers(const QVariantList& userIds);
    Q_INVOKABLE void removeMember(qint64 userId);
    Q_INVOKABLE void setAdmin(qint64 userId, bool admin);
    Q_INVOKABLE void leave();
    // A picture file chosen by the person, made into the group's JPEG.
    Q_INVOKABLE void setPicture(const QUrl& file);
    Q_INVOKABLE void showProfile(qint64 userId);

signals:
    void chatChanged();
    void candidatesChanged();
    void busyChanged();
    void errorTextChanged();
    // This person is out of the group: the sheet closes.
    void left();

private:
    void rebuild();
    const ChatSummary* group() const;
    bool canRemove(const User& member) const;
    // Runs one store operation, showing busy meanwhile and its failure after.
    void run(std::function<QCoro::Task<>(Store&)> operation);
    QCoro::Task<> runTask(std::function<QCoro::Task<>(Store&)> operation);
    void setBusy(bool busy);
    void setError(const QString& error);

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    QList<User> m_members;
    QString m_candidateSearch;
    bool m_busy = false;
    QString m_error;
};
