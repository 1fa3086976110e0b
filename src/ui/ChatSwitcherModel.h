#pragma once

// The conversations by title, newest activity first, narrowed by a search
// text: what the quick switcher (Ctrl+K) and the list search offer. Follows
// the store row by row: inserts, removals, moves and changed roles only.

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class Store;

class ChatSwitcherModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString filter READ filter WRITE setFilter NOTIFY filterChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    // BadgeRole: the unread count as the badge shows it ("99+" above 99).
    enum Role { ChatIdRole = Qt::UserRole + 1, TitleRole, UnreadRole, BadgeRole, IsGroupRole };

    // QML makes it with the store of AppModel::current().
    explicit ChatSwitcherModel(QObject* parent = nullptr);
    explicit ChatSwitcherModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString filter() const { return m_filter; }
    void setFilter(const QString& filter);
    // The chat id of a row, 0 when out of range.
    Q_INVOKABLE qint64 chatIdAt(int row) const;

signals:
    void filterChanged();
    void countChanged();

private:
    struct Row {
        qint64 id = 0;
        QString title;
        int unread = 0;
        bool group = false;
        bool operator==(const Row&) const = default;
    };
    QList<Row> target() const;
    void sync();
    void removeMissing(const QList<Row>& wanted);
    void placeRows(const QList<Row>& wanted);

    QPointer<Store> m_store;
    QString m_filter;
    QList<Row> m_rows;
};
