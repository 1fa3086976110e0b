#include "ui/NewChatViewModel.h"

#include "model/IDCodec.h"
#include "store/Store.h"

#include <algorithm>

NewChatViewModel::NewChatViewModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    connect(store, &Store::usersChanged, this, &NewChatViewModel::rebuild);
    connect(store, &Store::presenceChanged, this, [this] {
        if (!m_people.isEmpty())
            emit dataChanged(index(0), index(int(m_people.size()) - 1), {OnlineRole});
    });
}

int NewChatViewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_people.size());
}

QVariant NewChatViewModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_people.size() || !m_store) return {};
    const User& user = m_people[index.row()];
    switch (role) {
    case UserIdRole:
        return user.id;
    case Qt::DisplayRole:
    case NameRole:
        return user.username;
    case PickedRole:
        return m_picked.contains(user.id);
    case OnlineRole:
        return m_store->isOnline(user.id);
    case IsBotRole:
        return m_store->isBotUser(user.id);
    default:
        return {};
    }
}

QHash<int, QByteArray> NewChatViewModel::roleNames() const {
    return {{UserIdRole, "userId"},
            {NameRole, "name"},
            {PickedRole, "picked"},
            {OnlineRole, "online"},
            {IsBotRole, "isBot"}};
}

bool NewChatViewModel::offers(const User& user) const {
    if (m_store->me() && user.id == m_store->me()->id) return false;
    if (m_groupMode && IDCodec::serverId(user.id) != 0) return false;
    const QString needle = m_search.trimmed();
    return needle.isEmpty() || user.username.contains(needle, Qt::CaseInsensitive);
}

// People by name; a pick that the search hides stays picked.
void NewChatViewModel::rebuild() {
    QList<User> people;
    if (m_store)
        for (const User& user : m_store->users())
            if (offers(user)) people.push_back(user);
    std::sort(people.begin(), people.end(), [](const User& a, const User& b) {
        const int order = QString::compare(a.username, b.username, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a.id < b.id;
    });
    beginResetModel();
    m_people = people;
    endResetModel();
    emit countChanged();
}

void NewChatViewModel::setGroupMode(bool group) {
    if (m_groupMode == group) return;
    m_groupMode = group;
    emit groupModeChanged();
    rebuild();
}

void NewChatViewModel::setSearch(const QString& search) {
    if (m_search == search) return;
    m_search = search;
    emit searchChanged();
    rebuild();
}

void NewChatViewModel::setTitle(const QString& title) {
    if (m_title == title) return;
    m_title = title;
    emit titleChanged();
    emit pickedChanged();
}

bool NewChatViewModel::canCreateGroup() const {
    return !m_busy && !m_picked.isEmpty() && !m_title.trimmed().isEmpty();
}

void NewChatViewModel::reset(bool groupMode) {
    m_groupMode = groupMode;
    m_search.clear();
    m_title.clear();
    m_picked.clear();
    setError({});
    emit groupModeChanged();
    emit searchChanged();
    emit titleChanged();
    emit pickedChanged();
    rebuild();
}

void NewChatViewModel::toggle(qint64 userId) {
    if (!m_picked.remove(userId)) m_picked.insert(userId);
    const auto it = std::find_if(m_people.cbegin(), m_people.cend(),
                                 [userId](const User& u) { return u.id == userId; });
    if (it != m_people.cend()) {
        const QModelIndex at = index(int(it - m_people.cbegin()));
        emit dataChanged(at, at, {PickedRole});
    }
    emit pickedChanged();
}

qint64 NewChatViewModel::userIdAt(int row) const {
    return row >= 0 && row < m_people.size() ? m_people[row].id : 0;
}

void NewChatViewModel::startChat(qint64 userId) {
    if (m_busy || !m_store) return;
    const auto it = std::find_if(m_store->users().cbegin(), m_store->users().cend(),
                                 [userId](const User& u) { return u.id == userId; });
    if (it == m_store->users().cend()) return;
    setBusy(true);
    setError({});
    m_store->setLastError(std::nullopt);
    [](QPointer<NewChatViewModel> self, QPointer<Store> store, User user) -> QCoro::Task<> {
        auto call = store->startDirect(user);
        const auto chat = co_await call;
        if (self) self->finish(chat ? std::optional<qint64>(chat->id) : std::nullopt);
    }(this, m_store, *it);
}

void NewChatViewModel::createGroup() {
    if (!canCreateGroup() || !m_store) return;
    setBusy(true);
    setError({});
    m_store->setLastError(std::nullopt);
    QList<qint64> members(m_picked.cbegin(), m_picked.cend());
    std::sort(members.begin(), members.end());
    [](QPointer<NewChatViewModel> self, QPointer<Store> store, QString title,
       QList<qint64> members) -> QCoro::Task<> {
        auto call = store->createGroup(title, members);
        const auto chat = co_await call;
        if (self) self->finish(chat ? std::optional<qint64>(chat->id) : std::nullopt);
    }(this, m_store, m_title.trimmed(), members);
}

void NewChatViewModel::finish(std::optional<qint64> chatId) {
    setBusy(false);
    if (!m_store) return;
    if (!chatId) {
        setError(m_store->lastError().value_or(QString()));
        return;
    }
    m_store->setSelectedChatId(*chatId);
    emit done(*chatId);
}

void NewChatViewModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
    emit pickedChanged();
}

void NewChatViewModel::setError(const QString& error) {
    if (m_error == error) return;
    m_error = error;
    emit errorTextChanged();
}
