#include "ui/GroupSettingsModel.h"

#include "conversations/ImageEncoding.h"
#include "core/Localisation.h"
#include "model/IDCodec.h"
#include "store/Store.h"

#include <QFile>
#include <algorithm>

namespace {
int rank(GroupRole role) {
    switch (role) {
    case GroupRole::owner:
        return 0;
    case GroupRole::admin:
        return 1;
    case GroupRole::user:
        break;
    }
    return 2;
}

QString roleLabel(GroupRole role) {
    switch (role) {
    case GroupRole::owner:
        return QStringLiteral("Owner");
    case GroupRole::admin:
        return QStringLiteral("Admin");
    case GroupRole::user:
        break;
    }
    return QStringLiteral("Member");
}

bool byName(const User& a, const User& b) {
    const int order = QString::compare(a.username, b.username, Qt::CaseInsensitive);
    return order != 0 ? order < 0 : a.id < b.id;
}
} // namespace

GroupSettingsModel::GroupSettingsModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    connect(store, &Store::chatChanged, this, [this](qint64 id) {
        if (id == m_chatId) rebuild();
    });
    connect(store, &Store::chatsReset, this, &GroupSettingsModel::rebuild);
    connect(store, &Store::groupRolesChanged, this, &GroupSettingsModel::rebuild);
    connect(store, &Store::chatRemoved, this, [this](qint64 id) {
        if (id != m_chatId) return;
        // Leaving removes the group twice: by the reply and by the server's event.
        const bool wasThere = !m_members.isEmpty();
        rebuild();
        if (wasThere) emit left();
    });
    connect(store, &Store::usersChanged, this, &GroupSettingsModel::candidatesChanged);
    connect(store, &Store::presenceChanged, this, [this] {
        if (!m_members.isEmpty())
            emit dataChanged(index(0), index(int(m_members.size()) - 1),
                             {OnlineRole, PresenceRole});
    });
}

// MARK: Rows

int GroupSettingsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_members.size());
}

QVariant GroupSettingsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_members.size() || !m_store) return {};
    const User& member = m_members[index.row()];
    const GroupRole groupRole = m_store->groupRole(m_chatId, member.id);
    switch (role) {
    case UserIdRole:
        return member.id;
    case Qt::DisplayRole:
    case NameRole:
        return member.username;
    case GroupRoleRole:
        return toWire(groupRole);
    case RoleLabelRole:
        return roleLabel(groupRole);
    case OnlineRole:
        return m_store->isOnline(member.id);
    case PresenceRole:
        return m_store->presenceText(member);
    case IsMeRole:
        return m_store->me() && m_store->me()->id == member.id;
    case AvatarUrlRole:
        return m_store->avatarURL(member.id).value_or(QUrl());
    case CanRemoveRole:
        return canRemove(member);
    case CanChangeRoleRole:
        return isOwner() && groupRole != GroupRole::owner;
    default:
        return {};
    }
}

QHash<int, QByteArray> GroupSettingsModel::roleNames() const {
    return {{UserIdRole, "userId"},       {NameRole, "name"},
            {GroupRoleRole, "groupRole"}, {RoleLabelRole, "roleLabel"},
            {OnlineRole, "online"},       {PresenceRole, "presence"},
            {IsMeRole, "isMe"},           {AvatarUrlRole, "avatarUrl"},
            {CanRemoveRole, "canRemove"}, {CanChangeRoleRole, "canChangeRole"}};
}

// The owner first, then the admins, then everyone else, each by name.
void GroupSettingsModel::rebuild() {
    QList<User> members;
    if (const ChatSummary* g = group()) members = g->members;
    std::sort(members.begin(), members.end(), [this](const User& a, const User& b) {
        const int ra = rank(m_store->groupRole(m_chatId, a.id));
        const int rb = rank(m_store->groupRole(m_chatId, b.id));
        return ra != rb ? ra < rb : byName(a, b);
    });
    beginResetModel();
    m_members = members;
    endResetModel();
    emit chatChanged();
    emit candidatesChanged();
}

const ChatSummary* GroupSettingsModel::group() const {
    const ChatSummary* chat = m_store && m_chatId ? m_store->chat(m_chatId) : nullptr;
    return chat && chat->isGroup() ? chat : nullptr;
}

bool GroupSettingsModel::canRemove(const User& member) const {
    const bool self = m_store->me() && m_store->me()->id == member.id;
    return !self && canManage() && m_store->groupRole(m_chatId, member.id) != GroupRole::owner;
}

// MARK: The group

bool GroupSettingsModel::exists() const {
    return group() != nullptr;
}

QString GroupSettingsModel::title() const {
    const ChatSummary* g = group();
    return g ? g->displayTitle(m_store->me() ? std::optional(m_store->me()->id) : std::nullopt)
             : QString();
}

QUrl GroupSettingsModel::avatarUrl() const {
    const ChatSummary* g = group();
    return g ? m_store->chatAvatarURL(*g).value_or(QUrl()) : QUrl();
}

bool GroupSettingsModel::canManage() const {
    return group() && m_store->canManageGroup(m_chatId);
}

bool GroupSettingsModel::isOwner() const {
    return group() && m_store->me() &&
           m_store->groupRole(m_chatId, m_store->me()->id) == GroupRole::owner;
}

// Members are added on the primary server only, so only its groups take new people.
QVariantList GroupSettingsModel::candidates() const {
    const ChatSummary* g = group();
    if (!g || !canManage() || IDCodec::serverId(m_chatId) != 0) return {};
    const QString needle = m_candidateSearch.trimmed();
    QList<User> people;
    for (const User& user : std::as_const(m_store->users())) {
        if (IDCodec::serverId(user.id) != 0) continue;
        const bool member = std::any_of(g->members.begin(), g->members.end(),
                                        [&](const User& m) { return m.id == user.id; });
        if (member || (m_store->me() && m_store->me()->id == user.id)) continue;
        if (needle.isEmpty() || user.username.contains(needle, Qt::CaseInsensitive))
            people.push_back(user);
    }
    std::sort(people.begin(), people.end(), byName);
    QVariantList out;
    for (const User& user : people)
        out.append(QVariantMap{{QStringLiteral("userId"), user.id},
                               {QStringLiteral("name"), user.username},
                               {QStringLiteral("online"), m_store->isOnline(user.id)}});
    return out;
}

void GroupSettingsModel::setCandidateSearch(const QString& search) {
    if (m_candidateSearch == search) return;
    m_candidateSearch = search;
    emit candidatesChanged();
}

QString GroupSettingsModel::settingsKindOf(qint64 chatId) const {
    const ChatSummary* chat = m_store ? m_store->chat(chatId) : nullptr;
    if (!chat) return {};
    if (m_store->isClaudeSessionChat(*chat) && m_store->isClaudeCodeChat(*chat))
        return QStringLiteral("session");
    if (chat->isGroup()) return QStringLiteral("group");
    if (m_store->isSavedMessages(*chat)) return {};
    return QStringLiteral("person");
}

QString GroupSettingsModel::openSettingsOf(qint64 chatId) {
    const QString kind = settingsKindOf(chatId);
    if (kind == QLatin1String("group")) open(chatId);
    if (kind != QLatin1String("person")) return kind;
    const ChatSummary* chat = m_store->chat(chatId);
    const auto other =
        std::find_if(chat->members.cbegin(), chat->members.cend(),
                     [&](const User& u) { return !m_store->me() || u.id != m_store->me()->id; });
    if (other != chat->members.cend()) m_store->setProfileUser(*other);
    return kind;
}

// MARK: Operations

void GroupSettingsModel::open(qint64 chatId) {
    m_chatId = chatId;
    m_candidateSearch.clear();
    setError({});
    rebuild();
    // Someone else may have changed a role since the last resync.
    if (m_store)
        [](QPointer<Store> store) -> QCoro::Task<> {
            if (store) co_await store->loadGroupRoles();
        }(m_store);
}

void GroupSettingsModel::rename(const QString& title) {
    const QString trimmed = title.trimmed();
    if (trimmed.isEmpty() || trimmed == this->title()) return;
    const qint64 id = m_chatId;
    run([id, trimmed](Store& store) { return store.renameGroup(id, trimmed); });
}

void GroupSettingsModel::addMembers(const QVariantList& userIds) {
    QList<qint64> ids;
    for (const QVariant& id : userIds)
        ids.push_back(id.toLongLong());
    if (ids.isEmpty()) return;
    const qint64 id = m_chatId;
    run([id, ids](Store& store) { return store.addGroupMembers(id, ids); });
}

void GroupSettingsModel::removeMember(qint64 userId) {
    const auto it = std::find_if(m_members.cbegin(), m_members.cend(),
                                 [userId](const User& u) { return u.id == userId; });
    if (it == m_members.cend() || !canRemove(*it)) return;
    const qint64 id = m_chatId;
    run([id, member = *it](Store& store) { return store.removeChatMember(id, member); });
}

void GroupSettingsModel::setAdmin(qint64 userId, bool admin) {
    if (!isOwner()) return;
    const qint64 id = m_chatId;
    const GroupRole role = admin ? GroupRole::admin : GroupRole::user;
    run([id, userId, role](Store& store) { return store.setGroupRole(id, userId, role); });
}

void GroupSettingsModel::leave() {
    if (!exists() || !m_store->me() || isOwner()) return;
    const qint64 id = m_chatId;
    run([id, me = *m_store->me()](Store& store) { return store.removeChatMember(id, me); });
}

void GroupSettingsModel::setPicture(const QUrl& file) {
    if (!exists()) return;
    QFile picture(file.toLocalFile());
    if (!picture.open(QIODevice::ReadOnly)) {
        setError(L(QStringLiteral("Could not read file")));
        return;
    }
    const auto jpeg = makeAvatarJPEG(picture.readAll());
    if (!jpeg) {
        setError(L(QStringLiteral("Unsupported image format")));
        return;
    }
    const qint64 id = m_chatId;
    run([id, data = *jpeg](Store& store) { return store.uploadGroupAvatar(id, data); });
}

void GroupSettingsModel::showProfile(qint64 userId) {
    for (const User& member : std::as_const(m_members))
        if (member.id == userId) m_store->setProfileUser(member);
}

void GroupSettingsModel::run(std::function<QCoro::Task<>(Store&)> operation) {
    if (!m_store || m_busy) return;
    setBusy(true);
    setError({});
    runTask(std::move(operation));
}

QCoro::Task<> GroupSettingsModel::runTask(std::function<QCoro::Task<>(Store&)> operation) {
    QPointer<GroupSettingsModel> self(this);
    QPointer<Store> store = m_store;
    store->setLastError(std::nullopt);
    auto call = operation(*store);
    co_await call;
    if (!self) co_return;
    setBusy(false);
    if (store && store->lastError()) setError(*store->lastError());
}

void GroupSettingsModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}

void GroupSettingsModel::setError(const QString& error) {
    if (m_error == error) return;
    m_error = error;
    emit errorTextChanged();
}
