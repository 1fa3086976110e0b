#pragma once

// The people section: everyone the person knows, on the primary server and
// on every extra one, found by name. Rows go by server, the primary first,
// then by name. Agents are listed apart, for the new AI chat sheet.

#include <QAbstractListModel>
#include <QCoroTask>
#include <QPointer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>

class Store;
struct User;

class PeopleModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    // How many servers the rows come from: the view heads each group of rows
    // with its server only when there is more than one.
    Q_PROPERTY(int serverCount READ serverCount NOTIFY countChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)
    // {userId, name, serverName, online, isMain}: the agents of every server,
    // the primary server's own agent first.
    Q_PROPERTY(QVariantList agents READ agents NOTIFY agentsChanged)

public:
    enum Role {
        UserIdRole = Qt::UserRole + 1,
        NameRole,
        PresenceRole,
        OnlineRole,
        // 0 for the primary server.
        ServerIdRole,
        AvatarUrlRole,
        // Competence, else experience: what the person tells about themselves.
        AboutRole
    };
    Q_ENUM(Role)

    explicit PeopleModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString search() const { return m_search; }
    void setSearch(const QString& search);
    int serverCount() const;
    bool busy() const { return m_busy; }
    QString errorText() const { return m_error; }

    QVariantList agents() const;

    Q_INVOKABLE void showProfile(qint64 userId);
    // Opens the direct conversation with that person or agent, made if need
    // be, in the conversations section.
    Q_INVOKABLE void message(qint64 userId);
    Q_INVOKABLE void openSavedMessages();

signals:
    void countChanged();
    void searchChanged();
    void busyChanged();
    void errorTextChanged();
    void agentsChanged();
    // A conversation was opened from here: the sheet that asked may close.
    void opened();

private:
    void rebuild();
    bool offers(const User& user) const;
    std::optional<User> known(qint64 userId) const;
    void runOpen(std::function<QCoro::Task<bool>()> open);
    void setBusy(bool busy);

    QPointer<Store> m_store;
    QList<User> m_people;
    QString m_search;
    bool m_busy = false;
    QString m_error;
};
