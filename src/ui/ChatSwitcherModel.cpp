#include "ui/ChatSwitcherModel.h"

#include "core/AppSection.h"
#include "store/Store.h"
#include "ui/AppModel.h"

#include <QSet>

ChatSwitcherModel::ChatSwitcherModel(QObject* parent)
    : ChatSwitcherModel(AppModel::current() ? AppModel::current()->store() : nullptr, parent) {}

ChatSwitcherModel::ChatSwitcherModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    if (!store) return;
    connect(store, &Store::chatsReset, this, &ChatSwitcherModel::sync);
    connect(store, &Store::chatChanged, this, &ChatSwitcherModel::sync);
    connect(store, &Store::chatRemoved, this, &ChatSwitcherModel::sync);
    connect(store, &Store::sessionChanged, this, &ChatSwitcherModel::sync);
    m_rows = target();
}

int ChatSwitcherModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant ChatSwitcherModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Row& row = m_rows.at(index.row());
    switch (role) {
    case ChatIdRole:
        return row.id;
    case Qt::DisplayRole:
    case TitleRole:
        return row.title;
    case UnreadRole:
        return row.unread;
    case BadgeRole:
        return badgeText(row.unread);
    case IsGroupRole:
        return row.group;
    default:
        return {};
    }
}

QHash<int, QByteArray> ChatSwitcherModel::roleNames() const {
    return {{ChatIdRole, "chatId"},
            {TitleRole, "title"},
            {UnreadRole, "unread"},
            {BadgeRole, "badge"},
            {IsGroupRole, "isGroup"}};
}

void ChatSwitcherModel::setFilter(const QString& filter) {
    if (m_filter == filter) return;
    m_filter = filter;
    emit filterChanged();
    sync();
}

qint64 ChatSwitcherModel::chatIdAt(int row) const {
    return row >= 0 && row < m_rows.size() ? m_rows.at(row).id : 0;
}

QList<ChatSwitcherModel::Row> ChatSwitcherModel::target() const {
    QList<Row> rows;
    if (!m_store || !m_store->token()) return rows;
    const std::optional<qint64> me =
        m_store->me() ? std::optional(m_store->me()->id) : std::nullopt;
    const QString needle = m_filter.trimmed();
    for (const ChatSummary& chat : std::as_const(m_store->chats())) {
        if (m_store->isSavedMessages(chat)) continue;
        Row row{chat.id, chat.displayTitle(me), int(chat.unread.value_or(0)), chat.isGroup()};
        if (!needle.isEmpty() && !row.title.contains(needle, Qt::CaseInsensitive)) continue;
        rows.append(row);
    }
    return rows;
}

void ChatSwitcherModel::sync() {
    const QList<Row> wanted = target();
    const int before = int(m_rows.size());
    removeMissing(wanted);
    placeRows(wanted);
    if (before != m_rows.size()) emit countChanged();
}

void ChatSwitcherModel::removeMissing(const QList<Row>& wanted) {
    QSet<qint64> keep;
    for (const Row& row : wanted)
        keep.insert(row.id);
    for (int i = int(m_rows.size()) - 1; i >= 0; --i) {
        if (keep.contains(m_rows.at(i).id)) continue;
        int first = i;
        while (first > 0 && !keep.contains(m_rows.at(first - 1).id))
            --first;
        beginRemoveRows({}, first, i);
        m_rows.remove(first, i - first + 1);
        endRemoveRows();
        i = first;
    }
}

// After removeMissing every current row is wanted, so walking the wanted order
// either finds the row in place, moves it up from further down, or inserts it.
void ChatSwitcherModel::placeRows(const QList<Row>& wanted) {
    for (int i = 0; i < wanted.size(); ++i) {
        const Row& want = wanted.at(i);
        int at = -1;
        for (int j = i; j < m_rows.size(); ++j)
            if (m_rows.at(j).id == want.id) {
                at = j;
                break;
            }
        if (at < 0) {
            beginInsertRows({}, i, i);
            m_rows.insert(i, want);
            endInsertRows();
            continue;
        }
        if (at != i) {
            beginMoveRows({}, at, at, {}, i);
            m_rows.move(at, i);
            endMoveRows();
        }
        if (!(m_rows.at(i) == want)) {
            QList<int> roles;
            if (m_rows.at(i).title != want.title) roles << TitleRole << Qt::DisplayRole;
            if (m_rows.at(i).unread != want.unread) roles << UnreadRole << BadgeRole;
            if (m_rows.at(i).group != want.group) roles << IsGroupRole;
            m_rows[i] = want;
            emit dataChanged(index(i), index(i), roles);
        }
    }
}
