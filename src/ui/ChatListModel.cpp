#include "ui/ChatListModel.h"

#include "agent/Builds.h"
#include "conversations/ChatList.h"
#include "conversations/ChatPreview.h"
#include "conversations/Fmt.h"

#include <QDate>
#include <QDateTime>

ChatListModel::ChatListModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    connect(store, &Store::chatsReset, this, &ChatListModel::rebuild);
    connect(store, &Store::chatChanged, this, &ChatListModel::chatChanged);
    connect(store, &Store::chatRemoved, this, [this](qint64 id) { removeRow(findRow(id)); });
    connect(store, &Store::timelineChanged, this, [this](qint64 id, TimelineChange) {
        emitRow(id, {PreviewRole, PreviewRichRole, PreviewSenderRole, TimeRole, WorkingRole,
                     StatusLineRole, QueuedRole});
    });
    connect(store, &Store::typingChanged, this, [this](qint64 id) { emitRow(id, {TypingRole}); });
    connect(store, &Store::ccStateChanged, this, [this](qint64 id) {
        emitRow(id, {WorkingRole, StatusLineRole, QueuedRole});
    });
    connect(store, &Store::buildsChanged, this, [this](qint64 id) {
        emitRow(id, {BuildHintRole, BuildSymbolRole});
    });
    connect(store, &Store::deploysChanged, this, [this](qint64 id) { emitRow(id, {DeployRole}); });
    connect(store, &Store::presenceChanged, this, [this] { emitRole(OnlineRole); });
    connect(store, &Store::mutedChatsChanged, this, [this] { emitRole(MutedRole); });
    connect(store, &Store::usersChanged, this, [this] { emitRole(-1); });
    connect(store, &Store::sessionChanged, this, &ChatListModel::rebuild);
    connect(store, &Store::selectionChanged, this, [this] {
        const auto previous = m_selected;
        m_selected = m_store->selectedChatId();
        if (previous) emitRow(*previous, {SelectedRole});
        if (m_selected) emitRow(*m_selected, {SelectedRole});
    });
    m_selected = store->selectedChatId();
    rebuild();
}

// MARK: Which conversations, in which order

bool ChatListModel::shows(const ChatSummary& c) const {
    return listsConversation(*m_store, c, m_search);
}

std::vector<ChatListModel::Entry> ChatListModel::visibleEntries() const {
    std::vector<Entry> out;
    if (!m_store) return out;
    out.reserve(size_t(m_store->chats().size()));
    for (const ChatSummary& c : std::as_const(m_store->chats()))
        if (shows(c)) out.push_back({c.id, m_store->userActivityAt(c)});
    std::sort(out.begin(), out.end(), Before{});
    return out;
}

void ChatListModel::rebuild() {
    beginResetModel();
    const std::vector<Entry> entries = visibleEntries();
    m_rows.assign(entries);
    m_placedAt.clear();
    for (const Entry& e : entries)
        m_placedAt.insert(e.id, e.at);
    endResetModel();
    emit countChanged();
}

void ChatListModel::setSearch(const QString& search) {
    if (search == m_search) return;
    m_search = search;
    rebuild();
    emit searchChanged();
}

int ChatListModel::findRow(qint64 chatId) const {
    const auto placed = m_placedAt.constFind(chatId);
    if (placed == m_placedAt.constEnd()) return -1;
    const int row = m_rows.lowerBound(Entry{chatId, *placed});
    return row < m_rows.size() && m_rows.at(row).id == chatId ? row : -1;
}

void ChatListModel::removeRow(int row) {
    if (row < 0) return;
    beginRemoveRows({}, row, row);
    m_placedAt.remove(m_rows.at(row).id);
    m_rows.removeAt(row);
    endRemoveRows();
    emit countChanged();
}

// One conversation changed: it keeps its row, moves, appears or goes.
void ChatListModel::chatChanged(qint64 chatId) {
    if (!m_store) return;
    const ChatSummary* c = m_store->chat(chatId);
    const int row = findRow(chatId);
    if (!c || !shows(*c)) {
        removeRow(row);
        return;
    }
    const Entry fresh{chatId, m_store->userActivityAt(*c)};
    if (row < 0) {
        const int place = m_rows.lowerBound(fresh);
        beginInsertRows({}, place, place);
        m_rows.insert(fresh);
        m_placedAt.insert(chatId, fresh.at);
        endInsertRows();
        emit countChanged();
        return;
    }
    // Where it belongs among the others, leaving itself out.
    int target = m_rows.lowerBound(fresh);
    if (target > row) --target;
    if (target != row) beginMoveRows({}, row, row, {}, target > row ? target + 1 : target);
    m_rows.removeAt(row);
    m_rows.insert(fresh);
    if (target != row) endMoveRows();
    m_placedAt.insert(chatId, fresh.at);
    emit dataChanged(index(target), index(target));
}

// MARK: Reading

int ChatListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows.size();
}

qint64 ChatListModel::chatIdAt(int row) const {
    return row >= 0 && row < m_rows.size() ? m_rows.at(row).id : 0;
}

int ChatListModel::rowOf(qint64 chatId) const {
    return findRow(chatId);
}

void ChatListModel::select(qint64 chatId) {
    if (m_store) m_store->setSelectedChatId(chatId);
}

void ChatListModel::emitRow(qint64 chatId, const QList<int>& roles) {
    const int row = findRow(chatId);
    if (row >= 0) emit dataChanged(index(row), index(row), roles);
}

void ChatListModel::emitRole(int role) {
    if (m_rows.empty()) return;
    emit dataChanged(index(0), index(m_rows.size() - 1),
                     role < 0 ? QList<int>{} : QList<int>{role});
}

namespace {
// Today's messages show their time, older ones their day.
QString listTime(qint64 ms) {
    if (ms <= 0) return {};
    return QDateTime::fromMSecsSinceEpoch(ms).date() == QDate::currentDate() ? Fmt::time(ms)
                                                                             : Fmt::day(ms);
}
} // namespace

QVariant ChatListModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || !m_store || index.row() >= m_rows.size()) return {};
    const qint64 id = m_rows.at(index.row()).id;
    const ChatSummary* c = m_store->chat(id);
    if (!c) return {};
    const std::optional<qint64> me =
        m_store->me() ? std::optional(m_store->me()->id) : std::nullopt;
    switch (role) {
    case ChatIdRole:
        return id;
    case Qt::DisplayRole:
    case TitleRole:
        return c->displayTitle(me);
    case PreviewRole: {
        const auto latest = m_store->latestVisibleMessage(id);
        return latest ? previewBody(*latest) : QString();
    }
    case PreviewRichRole: {
        const auto latest = m_store->latestVisibleMessage(id);
        return latest ? toRichText(previewStyled(*latest)) : QString();
    }
    case PreviewSenderRole: {
        const auto latest = m_store->latestVisibleMessage(id);
        if (!latest || !c->isGroup()) return QString();
        return me && latest->senderId == *me ? L(QStringLiteral("You")) : latest->senderName;
    }
    case TimeRole: {
        const auto latest = m_store->latestVisibleMessage(id);
        return listTime(latest ? latest->createdAt : c->createdAt);
    }
    case ActivityAtRole:
        return m_rows.at(index.row()).at;
    case UnreadRole:
        return int(c->unread.value_or(0));
    case MutedRole:
        return m_store->isMuted(id);
    case IsGroupRole:
        return c->isGroup();
    case AvatarUrlRole: {
        const auto url = m_store->chatAvatarURL(*c);
        return url ? *url : QUrl();
    }
    case OnlineRole:
        if (c->isGroup()) return false;
        return std::any_of(c->members.begin(), c->members.end(), [&](const User& u) {
            return (!me || u.id != *me) && m_store->isOnline(u.id);
        });
    case TypingRole:
        return m_store->typingNames(id).join(QStringLiteral(", "));
    case SelectedRole:
        return m_selected == id;
    case IsAIChannelRole:
        return m_store->isAIChannel(*c);
    case PinnedRole:
        return c->pinnedMessage.has_value();
    case WorkingRole:
        return m_store->ccWorking(id);
    case StatusLineRole:
        if (!m_store->ccWorking(id)) return QString();
        return m_store->ccStatusLine(id).value_or(L(QStringLiteral("Claude is working…")));
    case QueuedRole:
        return int(m_store->backloggedMessages(id).size());
    case BuildHintRole:
        return m_store->builds().contains(id) ? buildRowHint(m_store->builds().value(id))
                                              : QString();
    case BuildSymbolRole:
        return m_store->builds().contains(id) ? buildSymbol(m_store->builds().value(id))
                                              : QString();
    case DeployRole:
        return m_store->activeDeploy(id).has_value();
    default:
        return {};
    }
}

QHash<int, QByteArray> ChatListModel::roleNames() const {
    return {{ChatIdRole, "chatId"},
            {TitleRole, "title"},
            {PreviewRole, "preview"},
            {PreviewRichRole, "previewRich"},
            {PreviewSenderRole, "previewSender"},
            {TimeRole, "time"},
            {ActivityAtRole, "activityAt"},
            {UnreadRole, "unread"},
            {MutedRole, "muted"},
            {IsGroupRole, "isGroup"},
            {AvatarUrlRole, "avatarUrl"},
            {OnlineRole, "online"},
            {TypingRole, "typing"},
            {SelectedRole, "selected"},
            {IsAIChannelRole, "isAIChannel"},
            {PinnedRole, "pinned"},
            {WorkingRole, "working"},
            {StatusLineRole, "statusLine"},
            {QueuedRole, "queued"},
            {BuildHintRole, "buildHint"},
            {BuildSymbolRole, "buildSymbol"},
            {DeployRole, "deployReady"}};
}
