#include "ui/PeopleModel.h"

#include "model/IDCodec.h"
#include "store/Store.h"
#include "ui/DirectChat.h"

#include <QSet>
#include <algorithm>

PeopleModel::PeopleModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    connect(store, &Store::usersChanged, this, &PeopleModel::rebuild);
    connect(store, &Store::sessionChanged, this, &PeopleModel::rebuild);
    connect(store, &Store::extraServersChanged, this, &PeopleModel::rebuild);
    connect(store, &Store::usersChanged, this, &PeopleModel::agentsChanged);
    connect(store, &Store::sessionChanged, this, &PeopleModel::agentsChanged);
    connect(store, &Store::presenceChanged, this, &PeopleModel::agentsChanged);
    connect(store, &Store::presenceChanged, this, [this] {
        if (!m_people.isEmpty())
            emit dataChanged(index(0), index(int(m_people.size()) - 1), {PresenceRole, OnlineRole});
    });
    rebuild();
}

int PeopleModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_people.size());
}

QVariant PeopleModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_people.size() || !m_store) return {};
    const User& user = m_people[index.row()];
    const int server = IDCodec::serverId(user.id);
    switch (role) {
    case UserIdRole:
        return user.id;
    case Qt::DisplayRole:
    case NameRole:
        return user.username;
    case PresenceRole:
        return m_store->presenceText(user);
    case OnlineRole:
        return m_store->isOnline(user.id);
    case ServerIdRole:
        return server;
    case AvatarUrlRole:
        return m_store->avatarURL(user.id).value_or(QUrl());
    case AboutRole:
        return user.competence.value_or(user.experience.value_or(QString()));
    default:
        return {};
    }
}

QHash<int, QByteArray> PeopleModel::roleNames() const {
    return {{UserIdRole, "userId"}, {NameRole, "name"},         {PresenceRole, "presence"},
            {OnlineRole, "online"}, {ServerIdRole, "serverId"}, {AvatarUrlRole, "avatarUrl"},
            {AboutRole, "about"}};
}

void PeopleModel::setSearch(const QString& search) {
    if (m_search == search) return;
    m_search = search;
    emit searchChanged();
    rebuild();
}

int PeopleModel::serverCount() const {
    QSet<int> servers;
    for (const User& user : m_people)
        servers.insert(IDCodec::serverId(user.id));
    return int(servers.size());
}

bool PeopleModel::offers(const User& user) const {
    if (m_store->me() && user.id == m_store->me()->id) return false;
    if (m_store->isBotUser(user.id)) return false;
    const QString needle = m_search.trimmed();
    return needle.isEmpty() || user.username.contains(needle, Qt::CaseInsensitive);
}

void PeopleModel::rebuild() {
    QList<User> people;
    if (m_store)
        for (const User& user : std::as_const(m_store->users()))
            if (offers(user)) people.push_back(user);
    std::sort(people.begin(), people.end(), [](const User& a, const User& b) {
        const int sa = IDCodec::serverId(a.id), sb = IDCodec::serverId(b.id);
        if (sa != sb) return sa < sb;
        const int order = QString::compare(a.username, b.username, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a.id < b.id;
    });
    beginResetModel();
    m_people = people;
    endResetModel();
    emit countChanged();
}

std::optional<User> PeopleModel::known(qint64 userId) const {
    const auto it = std::find_if(m_people.cbegin(), m_people.cend(),
                                 [userId](const User& u) { return u.id == userId; });
    return it == m_people.cend() ? std::nullopt : std::optional(*it);
}

void PeopleModel::showProfile(qint64 userId) {
    if (const auto user = known(userId)) m_store->setProfileUser(*user);
}

QVariantList PeopleModel::agents() const {
    QList<User> bots;
    if (m_store)
        for (const User& user : std::as_const(m_store->users()))
            if (m_store->isBotUser(user.id)) bots.push_back(user);
    const auto isMain = [this](const User& u) {
        return m_store->agentId() && *m_store->agentId() == u.id;
    };
    std::stable_sort(bots.begin(), bots.end(), [&](const User& a, const User& b) {
        if (isMain(a) != isMain(b)) return isMain(a);
        return IDCodec::serverId(a.id) < IDCodec::serverId(b.id);
    });
    QVariantList out;
    for (const User& bot : bots) {
        const ServerProfile* profile = m_store->extraServer(IDCodec::serverId(bot.id));
        out.append(QVariantMap{{QStringLiteral("userId"), bot.id},
                               {QStringLiteral("name"), bot.username},
                               {QStringLiteral("serverName"), profile ? profile->name : QString()},
                               {QStringLiteral("online"), m_store->isOnline(bot.id)},
                               {QStringLiteral("isMain"), isMain(bot)}});
    }
    return out;
}

void PeopleModel::message(qint64 userId) {
    if (!m_store) return;
    // The primary server's agent has a conversation of its own, kept by the store.
    if (m_store->agentId() && *m_store->agentId() == userId) {
        runOpen([store = m_store]() -> QCoro::Task<bool> {
            auto call = store->openAgentChat();
            co_await call;
            co_return store && store->agentChatId() &&
                store->selectedChatId() == store->agentChatId();
        });
        return;
    }
    const auto it = std::find_if(m_store->users().cbegin(), m_store->users().cend(),
                                 [userId](const User& u) { return u.id == userId; });
    if (it == m_store->users().cend()) return;
    runOpen([store = m_store, user = *it]() -> QCoro::Task<bool> {
        auto call = openDirectChat(store, user);
        const auto chatId = co_await call;
        co_return chatId.has_value();
    });
}

void PeopleModel::openSavedMessages() {
    runOpen([store = m_store]() -> QCoro::Task<bool> {
        auto call = store->openSavedMessages();
        co_await call;
        co_return store && store->savedChatId() && store->selectedChatId() == store->savedChatId();
    });
}

void PeopleModel::runOpen(std::function<QCoro::Task<bool>()> open) {
    if (m_busy || !m_store) return;
    setBusy(true);
    m_store->setLastError(std::nullopt);
    [](QPointer<PeopleModel> self, std::function<QCoro::Task<bool>()> open) -> QCoro::Task<> {
        auto call = open();
        const bool done = co_await call;
        if (!self) co_return;
        self->setBusy(false);
        const QString error =
            done || !self->m_store ? QString() : self->m_store->lastError().value_or(QString());
        if (done) {
            self->m_store->setSection(AppSection::people);
            emit self->opened();
        }
        if (self->m_error == error) co_return;
        self->m_error = error;
        emit self->errorTextChanged();
    }(this, std::move(open));
}

void PeopleModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}
