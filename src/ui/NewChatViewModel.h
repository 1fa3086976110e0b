#pragma once

// The "new chat" and "new group" sheets: the people one can write to, found
// by name; one person starts a direct conversation, several people and a
// title make a group.

#include <QAbstractListModel>
#include <QPointer>
#include <QSet>
#include <QtQml/qqmlregistration.h>

class Store;
struct User;

class NewChatViewModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    // A group is made on the primary server, so it offers only its people.
    Q_PROPERTY(bool groupMode READ groupMode WRITE setGroupMode NOTIFY groupModeChanged)
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(int pickedCount READ pickedCount NOTIFY pickedChanged)
    Q_PROPERTY(bool canCreateGroup READ canCreateGroup NOTIFY pickedChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)

public:
    enum Role { UserIdRole = Qt::UserRole + 1, NameRole, PickedRole, OnlineRole, IsBotRole };
    Q_ENUM(Role)

    explicit NewChatViewModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    bool groupMode() const { return m_groupMode; }
    void setGroupMode(bool group);
    QString search() const { return m_search; }
    void setSearch(const QString& search);
    QString title() const { return m_title; }
    void setTitle(const QString& title);
    int pickedCount() const { return int(m_picked.size()); }
    bool canCreateGroup() const;
    bool busy() const { return m_busy; }
    QString errorText() const { return m_error; }

    // A fresh sheet: no search, no picks, no title, the people as they are now.
    Q_INVOKABLE void reset(bool groupMode);
    Q_INVOKABLE void toggle(qint64 userId);
    Q_INVOKABLE qint64 userIdAt(int row) const;
    // Opens the direct conversation with that person, made if need be.
    Q_INVOKABLE void startChat(qint64 userId);
    Q_INVOKABLE void createGroup();

signals:
    void countChanged();
    void groupModeChanged();
    void searchChanged();
    void titleChanged();
    void pickedChanged();
    void busyChanged();
    void errorTextChanged();
    // The conversation is made and selected: the sheet may close.
    void done(qint64 chatId);

private:
    void rebuild();
    bool offers(const User& user) const;
    void finish(std::optional<qint64> chatId);
    void setBusy(bool busy);
    void setError(const QString& error);

    QPointer<Store> m_store;
    QList<User> m_people;
    QSet<qint64> m_picked;
    bool m_groupMode = false;
    QString m_search;
    QString m_title;
    bool m_busy = false;
    QString m_error;
};
