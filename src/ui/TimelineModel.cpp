#include "ui/TimelineModel.h"

#include "conversations/Emoji.h"
#include "conversations/Fmt.h"
#include "conversations/MessageBlocks.h"
#include "conversations/MessageDecor.h"
#include "conversations/MessageText.h"
#include "conversations/TimelineRows.h"
#include "core/Localisation.h"

namespace {
// More badges than a view shows at once: past this many the model forgets
// them rather than compare rows that went out of view long ago.
constexpr qsizetype kBadgesRemembered = 128;
} // namespace

TimelineModel::TimelineModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    connect(store, &Store::timelineChanged, this, &TimelineModel::onTimelineChanged);
    connect(store, &Store::chatChanged, this, [this](qint64 id) {
        if (id == m_chatId) refreshSenders();
    });
    connect(store, &Store::usersChanged, this, &TimelineModel::refreshSenders);
    connect(store, &Store::sessionChanged, this, [this] {
        refreshSenders();
        relayout();
        // Whose messages are mine may have changed.
        if (!m_rows.empty()) emit dataChanged(index(0), index(int(m_rows.size()) - 1));
    });
    connect(store, &Store::readsChanged, this, [this](qint64 id) {
        if (id != m_chatId || m_rows.empty()) return;
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {ReadStateRole, ReadByRole});
    });
    connect(store, &Store::typingChanged, this, [this](qint64 id) {
        if (id == m_chatId) emit typingChanged();
    });
    connect(store, &Store::selectionChanged, this, &TimelineModel::selectionMoved);
    selectionMoved();
}

// MARK: Target

void TimelineModel::selectionMoved() {
    if (m_followsSelection && m_store) setChatId(m_store->selectedChatId().value_or(0));
}

void TimelineModel::setFollowsSelection(bool follows) {
    if (m_followsSelection == follows) return;
    m_followsSelection = follows;
    emit followsSelectionChanged();
    selectionMoved();
}

void TimelineModel::setChatId(qint64 chatId) {
    if (chatId == m_chatId) return;
    // Another conversation is a real reload: the one place this model resets.
    beginResetModel();
    m_chatId = chatId;
    rebuildItems();
    m_showsSenders = m_store && chatShowsSenders(*m_store, chatId);
    m_rows.clear();
    m_dirty.clear();
    m_shownBadges.clear();
    endResetModel();
    relayout();
    emit chatIdChanged();
    emit showsSendersChanged();
    emit hasMoreChanged();
    emit typingChanged();
    emit countChanged();
}

bool TimelineModel::hasMore() const {
    return m_store && m_store->hasMore().value(m_chatId);
}

QStringList TimelineModel::typingNames() const {
    return m_store ? m_store->typingNames(m_chatId) : QStringList{};
}

// MARK: Following the store

void TimelineModel::rebuildItems() {
    m_mirror.clear();
    m_items.clear();
    if (!m_store) return;
    const auto it = m_store->messages().constFind(m_chatId);
    if (it == m_store->messages().constEnd()) return;
    m_mirror.reserve(size_t(it->size()));
    m_items.reserve(size_t(it->size()));
    for (const Message& m : *it) {
        m_mirror.push_back(m.id);
        if (isVisibleMessage(m)) m_items.push_back({m, Fmt::dayKey(m.createdAt)});
    }
    const auto byId = [](const Item& a, const Item& b) { return a.message.id < b.message.id; };
    // A history is in id order apart from pending copies: sort only when needed.
    if (!std::is_sorted(m_items.begin(), m_items.end(), byId))
        std::stable_sort(m_items.begin(), m_items.end(), byId);
}

void TimelineModel::insertItem(const Message& message) {
    if (!isVisibleMessage(message)) return;
    const auto at =
        std::upper_bound(m_items.begin(), m_items.end(), message.id,
                         [](qint64 id, const Item& item) { return id < item.message.id; });
    m_items.insert(at, {message, Fmt::dayKey(message.createdAt)});
}

void TimelineModel::removeItem(qint64 id) {
    const auto at =
        std::lower_bound(m_items.begin(), m_items.end(), id,
                         [](const Item& item, qint64 v) { return item.message.id < v; });
    if (at != m_items.end() && at->message.id == id) m_items.erase(at);
}

void TimelineModel::onTimelineChanged(qint64 chatId, TimelineChange change) {
    if (chatId != m_chatId || !m_store) return;
    const QList<Message> list = m_store->messages().value(chatId);
    const size_t from = size_t(std::max(0, change.index));
    const size_t count = size_t(std::max(0, change.count));
    if (count == 1 && (appendedNewest(list, change) || editedInPlace(list, change))) return;
    switch (change.kind) {
    case TimelineChange::reset:
        rebuildItems();
        break;
    case TimelineChange::inserted:
        if (from > m_mirror.size() || from + count > size_t(list.size())) {
            rebuildItems();
            break;
        }
        for (size_t k = 0; k < count; ++k) {
            const Message& m = list[qsizetype(from + k)];
            m_mirror.insert(m_mirror.begin() + qsizetype(from + k), m.id);
            insertItem(m);
        }
        break;
    case TimelineChange::removed:
        if (from + count > m_mirror.size()) {
            rebuildItems();
            break;
        }
        for (size_t k = 0; k < count; ++k)
            removeItem(m_mirror[from + k]);
        m_mirror.erase(m_mirror.begin() + qsizetype(from),
                       m_mirror.begin() + qsizetype(from + count));
        break;
    case TimelineChange::replaced:
        if (from + count > m_mirror.size() || from + count > size_t(list.size())) {
            rebuildItems();
            break;
        }
        for (size_t k = 0; k < count; ++k) {
            const Message& m = list[qsizetype(from + k)];
            removeItem(m_mirror[from + k]);
            m_mirror[from + k] = m.id;
            insertItem(m);
            m_dirty.insert(m.id);
        }
        break;
    }
    // Out of step with the store (a change this model missed): start over from it.
    if (m_mirror.size() != size_t(list.size())) rebuildItems();
    relayout();
    emit hasMoreChanged();
}

// Live traffic mostly adds the newest message or edits one: both change one
// row (or two, with a new day) without laying out the whole history again.
bool TimelineModel::appendedNewest(const QList<Message>& list, TimelineChange change) {
    if (change.kind != TimelineChange::inserted || size_t(change.index) != m_mirror.size() ||
        list.size() != qsizetype(m_mirror.size()) + 1 || !m_dirty.isEmpty())
        return false;
    const Message& m = list.last();
    if (!isVisibleMessage(m) || (!m_items.empty() && m.id <= m_items.back().message.id))
        return false;
    m_mirror.push_back(m.id);
    m_items.push_back({m, Fmt::dayKey(m.createdAt)});
    const int item = int(m_items.size()) - 1;
    const Item* previous = item > 0 ? &m_items[size_t(item) - 1] : nullptr;
    const bool newDay = !previous || previous->dayKey != m_items.back().dayKey;
    const std::optional<qint64> me =
        m_store->me() ? std::optional(m_store->me()->id) : std::nullopt;
    const bool showSender = m_showsSenders && (!me || m.senderId != *me) &&
                            (newDay || previous->message.senderId != m.senderId);
    std::vector<Row> added{{false, m.id, item, showSender}};
    if (newDay) added.push_back({true, m.id, item, false});
    beginInsertRows({}, 0, int(added.size()) - 1);
    m_rows.insert(m_rows.begin(), added.begin(), added.end());
    endInsertRows();
    // The message before may no longer end its run.
    emitGroupEdges({int(added.size())});
    emit countChanged();
    emit hasMoreChanged();
    return true;
}

bool TimelineModel::editedInPlace(const QList<Message>& list, TimelineChange change) {
    const size_t at = size_t(change.index);
    if (change.kind != TimelineChange::replaced || at >= m_mirror.size() ||
        list.size() != qsizetype(m_mirror.size()) || m_mirror[at] != list[qsizetype(at)].id)
        return false;
    const Message& m = list[qsizetype(at)];
    const auto item = std::lower_bound(m_items.begin(), m_items.end(), m.id,
                                       [](const Item& i, qint64 id) { return i.message.id < id; });
    // Only when nothing that decides the rows changed: visibility, sender, day.
    if (item == m_items.end() || item->message.id != m.id || !isVisibleMessage(m) ||
        item->message.senderId != m.senderId || item->dayKey != Fmt::dayKey(m.createdAt) ||
        item->message.isSystemNote() != m.isSystemNote())
        return false;
    item->message = m;
    if (const int r = messageRow(m.id); r >= 0) emit dataChanged(index(r), index(r));
    return true;
}

void TimelineModel::refreshSenders() {
    const bool shows = m_store && chatShowsSenders(*m_store, m_chatId);
    if (shows == m_showsSenders) return;
    m_showsSenders = shows;
    emit showsSendersChanged();
    relayout();
}

// MARK: Rows

void TimelineModel::relayout() {
    std::vector<RowInput> input;
    input.reserve(m_items.size());
    for (const Item& item : m_items)
        input.push_back({item.message.senderId, item.dayKey});
    const std::optional<qint64> me =
        m_store && m_store->me() ? std::optional(m_store->me()->id) : std::nullopt;
    const std::vector<RowLayout> layout = layoutRows(input, m_showsSenders, me);
    std::vector<Row> next;
    next.reserve(layout.size());
    for (auto it = layout.rbegin(); it != layout.rend(); ++it)
        next.push_back(
            {it->isDay, m_items[size_t(it->message)].message.id, it->message, it->showSender});
    applyRows(std::move(next));
}

// Turns the current rows into `next` with the fewest signals: rows that stay
// at either end are kept, the span between them is removed and inserted, and
// kept rows whose content changed get dataChanged.
void TimelineModel::applyRows(std::vector<Row> next) {
    const int oldN = int(m_rows.size());
    const int newN = int(next.size());
    int p = 0;
    while (p < oldN && p < newN && m_rows[size_t(p)] == next[size_t(p)])
        ++p;
    int s = 0;
    while (s < oldN - p && s < newN - p &&
           m_rows[size_t(oldN - 1 - s)] == next[size_t(newN - 1 - s)])
        ++s;
    std::vector<int> senderFlips;
    std::vector<int> replaced;
    const auto keep = [&](int oldRow, int newRow) {
        Row& row = m_rows[size_t(oldRow)];
        const Row& fresh = next[size_t(newRow)];
        if (row.showSender != fresh.showSender) senderFlips.push_back(newRow);
        if (m_dirty.contains(row.key)) replaced.push_back(newRow);
        row = fresh; // the same row; its message may sit elsewhere in m_items now
    };
    for (int i = 0; i < p; ++i)
        keep(i, i);
    for (int i = 0; i < s; ++i)
        keep(oldN - 1 - i, newN - 1 - i);
    const int oldMiddle = oldN - p - s;
    const int newMiddle = newN - p - s;
    if (oldMiddle > 0) {
        beginRemoveRows({}, p, p + oldMiddle - 1);
        m_rows.erase(m_rows.begin() + p, m_rows.begin() + p + oldMiddle);
        endRemoveRows();
    }
    if (newMiddle > 0) {
        beginInsertRows({}, p, p + newMiddle - 1);
        m_rows.insert(m_rows.begin() + p, next.begin() + p, next.begin() + p + newMiddle);
        endInsertRows();
    }
    m_dirty.clear();
    emitChangedRows(replaced, {});
    // A replaced message may have turned into a system note, which ends runs.
    for (int r : replaced)
        emitGroupEdges({r - 1, r + 1});
    emitChangedRows(senderFlips, {ShowSenderRole});
    if (oldMiddle > 0 || newMiddle > 0) {
        // The kept neighbours of the changed span may start or end a run now.
        emitGroupEdges({p - 1, p + newMiddle});
        emit countChanged();
    }
}

// Two visible messages belong to one run of bubbles: same sender, same day,
// neither a system note.
bool TimelineModel::sameRun(int item, int other) const {
    if (item < 0 || other < 0 || size_t(item) >= m_items.size() || size_t(other) >= m_items.size())
        return false;
    const Item& a = m_items[size_t(item)];
    const Item& b = m_items[size_t(other)];
    return a.dayKey == b.dayKey && a.message.senderId == b.message.senderId &&
           !a.message.isSystemNote() && !b.message.isSystemNote();
}

void TimelineModel::emitGroupEdges(std::initializer_list<int> rows) {
    for (int r : rows)
        if (r >= 0 && r < int(m_rows.size()))
            emit dataChanged(index(r), index(r), {GroupStartRole, GroupEndRole});
}

void TimelineModel::emitChangedRows(const std::vector<int>& rows, const QList<int>& roles) {
    std::vector<int> sorted = rows;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 0; i < sorted.size();) {
        size_t j = i;
        while (j + 1 < sorted.size() && sorted[j + 1] == sorted[j] + 1)
            ++j;
        emit dataChanged(index(sorted[i]), index(sorted[j]), roles);
        i = j + 1;
    }
}

// MARK: Agent badges

void TimelineModel::setAgentBadges(AgentBarsModel* badges) {
    if (m_agent) disconnect(m_agent, nullptr, this, nullptr);
    m_agent = badges;
    m_shownBadges.clear();
    if (badges)
        connect(badges, &AgentBarsModel::badgesChanged, this, &TimelineModel::refreshAgentBadges);
    if (!m_rows.empty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {AgentBadgeRole});
}

QVariantMap TimelineModel::currentBadge(qint64 id) const {
    // The bars follow the selection; a timeline of another conversation has no badges.
    if (!m_agent || m_agent->chatId() != m_chatId) return {};
    return m_agent->badge(id);
}

QVariantMap TimelineModel::shownBadge(qint64 id) const {
    const QVariantMap badge = currentBadge(id);
    // A pending copy never has one; its real message comes as another row.
    if (id > 0) m_shownBadges.insert(id, badge);
    return badge;
}

// Only rows a view has read can show a stale badge; the others read the
// current one when they come into view.
void TimelineModel::refreshAgentBadges() {
    if (m_shownBadges.size() > kBadgesRemembered) return forgetShownBadges();
    std::vector<int> changed;
    for (auto it = m_shownBadges.begin(); it != m_shownBadges.end();) {
        const int row = messageRow(it.key());
        if (row < 0) {
            it = m_shownBadges.erase(it);
            continue;
        }
        QVariantMap now = currentBadge(it.key());
        if (now != it.value()) {
            it.value() = std::move(now);
            changed.push_back(row);
        }
        ++it;
    }
    emitChangedRows(changed, {AgentBadgeRole});
}

// Views still showing one of the forgotten rows read it again on the signal,
// which is how the model learns which rows are in view now.
void TimelineModel::forgetShownBadges() {
    std::vector<int> rows;
    rows.reserve(size_t(m_shownBadges.size()));
    for (auto it = m_shownBadges.cbegin(); it != m_shownBadges.cend(); ++it)
        if (const int row = messageRow(it.key()); row >= 0) rows.push_back(row);
    m_shownBadges.clear();
    emitChangedRows(rows, {AgentBadgeRole});
}

// MARK: Reading

int TimelineModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

qint64 TimelineModel::lastOwnMessageId() const {
    for (auto it = m_items.rbegin(); it != m_items.rend(); ++it)
        if (it->message.id > 0 && !it->message.isSystemNote() && isMine(it->message))
            return it->message.id;
    return 0;
}

QVariantMap TimelineModel::newestPicture() const {
    for (auto it = m_items.rbegin(); it != m_items.rend(); ++it) {
        const Message& m = it->message;
        if (m.media && m.media->kind == QLatin1String("image")) return mediaMap(*m.media);
        for (const MediaInfo& item : m.album.value_or(QList<MediaInfo>{}))
            if (item.kind == QLatin1String("image")) return mediaMap(item);
    }
    return {};
}

QVariantMap TimelineModel::newestFile() const {
    for (auto it = m_items.rbegin(); it != m_items.rend(); ++it)
        if (it->message.media && it->message.media->kind == QLatin1String("file"))
            return messageData(it->message, FileRole).toMap();
    return {};
}

const Message* TimelineModel::messageAt(int row) const {
    if (row < 0 || row >= int(m_rows.size())) return nullptr;
    const Row& r = m_rows[size_t(row)];
    if (r.item < 0 || size_t(r.item) >= m_items.size()) return nullptr;
    return &m_items[size_t(r.item)].message;
}

int TimelineModel::rowOfMessage(qint64 messageId) const {
    return messageRow(messageId);
}

// Rows run from the newest id down; a message's row comes before its day's separator.
int TimelineModel::messageRow(qint64 id) const {
    const auto row = std::lower_bound(m_rows.begin(), m_rows.end(), id,
                                      [](const Row& r, qint64 v) { return r.key > v; });
    return row != m_rows.end() && !row->isDay && row->key == id ? int(row - m_rows.begin()) : -1;
}

qint64 TimelineModel::firstUnreadId() const {
    return m_store ? m_store->firstUnreadId(m_chatId).value_or(0) : 0;
}

int TimelineModel::firstUnreadRow() const {
    if (!m_store) return -1;
    const auto id = m_store->firstUnreadId(m_chatId);
    return id ? rowOfMessage(*id) : -1;
}

void TimelineModel::loadOlder() {
    if (!m_store || !hasMore()) return;
    [](QPointer<Store> store, qint64 chatId) -> QCoro::Task<> {
        if (store) co_await store->loadOlder(chatId);
    }(m_store, m_chatId);
}

void TimelineModel::markRead() {
    if (m_store && m_chatId) m_store->markRead(m_chatId);
}

QVariant TimelineModel::data(const QModelIndex& index, int role) const {
    const Message* m = index.isValid() ? messageAt(index.row()) : nullptr;
    if (!m) return {};
    if (m_rows[size_t(index.row())].isDay) {
        switch (role) {
        case KindRole:
            return QStringLiteral("day");
        case DayTextRole:
        case Qt::DisplayRole:
            return Fmt::day(m->createdAt);
        case CreatedAtRole:
            return m->createdAt;
        default:
            return {};
        }
    }
    const Row& row = m_rows[size_t(index.row())];
    if (role == ShowSenderRole) return row.showSender;
    if (role == GroupStartRole) return !sameRun(row.item, row.item - 1);
    if (role == GroupEndRole) return !sameRun(row.item, row.item + 1);
    if (role == AgentBadgeRole) return shownBadge(m->id);
    return messageData(*m, role);
}

bool TimelineModel::isMine(const Message& m) const {
    return m_store && m_store->me() && m_store->me()->id == m.senderId;
}

QVariantMap TimelineModel::mediaMap(const MediaInfo& media) const {
    const auto url = m_store ? m_store->mediaURL(media) : std::nullopt;
    QVariantMap out{{QStringLiteral("kind"), media.kind},
                    {QStringLiteral("url"), url ? *url : QUrl()}};
    if (media.width) out.insert(QStringLiteral("width"), *media.width);
    if (media.height) out.insert(QStringLiteral("height"), *media.height);
    if (media.name) out.insert(QStringLiteral("name"), *media.name);
    return out;
}

QVariant TimelineModel::blocks(const QString& text, bool mine) const {
    QVariantList out;
    for (const MessageBlock& block : parseMessageBlocks(text)) {
        if (block.kind == MessageBlock::Kind::Text) {
            out.push_back(QVariantMap{
                {QStringLiteral("kind"), QStringLiteral("text")},
                {QStringLiteral("richText"), mentionRichText(block.text, mine, m_palette)}});
            continue;
        }
        const auto rich = [&](const QStringList& cells) {
            QStringList row;
            row.reserve(cells.size());
            for (const QString& cell : cells)
                row.push_back(mentionRichText(cell, mine, m_palette));
            return row;
        };
        QVariantList rows;
        for (const QStringList& cells : block.rows)
            rows.push_back(rich(cells));
        QStringList aligns;
        for (qsizetype c = 0; c < block.header.size(); ++c) {
            const TableAlign a = tableColumnAlign(block, c);
            aligns.push_back(a == TableAlign::Center     ? QStringLiteral("center")
                             : a == TableAlign::Trailing ? QStringLiteral("trailing")
                                                         : QStringLiteral("leading"));
        }
        out.push_back(QVariantMap{{QStringLiteral("kind"), QStringLiteral("table")},
                                  {QStringLiteral("header"), rich(block.header)},
                                  {QStringLiteral("rows"), rows},
                                  {QStringLiteral("aligns"), aligns}});
    }
    return out;
}

QVariant TimelineModel::messageData(const Message& m, int role) const {
    switch (role) {
    case KindRole:
        return m.isSystemNote() ? QStringLiteral("system") : QStringLiteral("message");
    case MessageIdRole:
        return m.id;
    case Qt::DisplayRole:
    case TextRole:
        return m.displayText();
    case RichTextRole:
        return mentionRichText(m.displayText(), isMine(m), m_palette);
    case BlocksRole:
        return blocks(m.displayText(), isMine(m));
    case HasTableRole: {
        const auto parsed = parseMessageBlocks(m.displayText());
        return std::any_of(parsed.begin(), parsed.end(), [](const MessageBlock& b) {
            return b.kind == MessageBlock::Kind::Table;
        });
    }
    case SenderIdRole:
        return m.senderId;
    case SenderNameRole:
        return m.senderName;
    case SenderColorRole:
        return senderColor(m.senderName);
    case TimeRole:
        return Fmt::time(m.createdAt);
    case CreatedAtRole:
        return m.createdAt;
    case IsMineRole:
        return isMine(m);
    case PendingRole:
        return m.isPending || m.id < 0;
    case EditedRole:
        return m.editedAt.has_value();
    case ReplyRole: {
        if (!m.replyTo) return QVariantMap{};
        Message quoted;
        quoted.text = m.replyTo->text;
        return QVariantMap{{QStringLiteral("id"), m.replyTo->id},
                           {QStringLiteral("senderName"), m.replyTo->senderName},
                           {QStringLiteral("text"), quoted.displayText()}};
    }
    case ForwardedRole:
        return m.forwardedFrom
                   ? Lf(QStringLiteral("Forwarded from %@"), m.forwardedFrom->senderName)
                   : QString();
    case MediaRole:
        return m.media ? mediaMap(*m.media) : QVariantMap{};
    case AlbumRole: {
        QVariantList album;
        for (const MediaInfo& item : m.album.value_or(QList<MediaInfo>{}))
            album.push_back(mediaMap(item));
        return album;
    }
    case FileRole: {
        if (!m.media || m.media->kind != QLatin1String("file")) return QVariantMap{};
        const QString name = m.media->name.value_or(m.displayText());
        const auto url = m_store ? m_store->mediaURL(*m.media) : std::nullopt;
        return QVariantMap{{QStringLiteral("name"), name},
                           {QStringLiteral("icon"), FileChip::fileIcon(name)},
                           {QStringLiteral("url"), url ? url->toString() : QString()}};
    }
    case TranscriptRole:
        return m.transcript.value_or(QString());
    case ReadStateRole:
        if (!isMine(m)) return QString();
        if (m.isPending || m.id < 0) return QStringLiteral("pending");
        return m_store->isReadByOthers(m) ? QStringLiteral("read") : QStringLiteral("sent");
    case SystemTextRole:
        return m.isSystemNote() ? LSys(m.systemNoteText()) : QString();
    case EmojiOnlyRole:
        return isEmojiOnly(m.displayText());
    case ReadByRole: {
        // In a group, who has read an own message; a direct chat has its tick.
        QStringList names;
        if (!m_showsSenders || !isMine(m) || m.id <= 0) return names;
        for (const Store::ReadReceipt& receipt : m_store->readReceipts(m))
            names.push_back(receipt.user.username);
        return names;
    }
    case ReactionsRole: {
        QVariantList out;
        const qint64 me = m_store && m_store->me() ? m_store->me()->id : 0;
        for (const Reaction& r : m.reactions.value_or(QList<Reaction>{}))
            out.push_back(QVariantMap{{QStringLiteral("emoji"), r.emoji},
                                      {QStringLiteral("count"), int(r.userIds.size())},
                                      {QStringLiteral("mine"), r.userIds.contains(me)}});
        return out;
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> TimelineModel::roleNames() const {
    return {{KindRole, "kind"},
            {MessageIdRole, "messageId"},
            {DayTextRole, "dayText"},
            {TextRole, "text"},
            {RichTextRole, "richText"},
            {BlocksRole, "blocks"},
            {HasTableRole, "hasTable"},
            {SenderIdRole, "senderId"},
            {SenderNameRole, "senderName"},
            {SenderColorRole, "senderColor"},
            {ShowSenderRole, "showSender"},
            {TimeRole, "time"},
            {CreatedAtRole, "createdAt"},
            {IsMineRole, "isMine"},
            {PendingRole, "pending"},
            {EditedRole, "edited"},
            {ReplyRole, "reply"},
            {ForwardedRole, "forwarded"},
            {MediaRole, "media"},
            {AlbumRole, "album"},
            {FileRole, "file"},
            {TranscriptRole, "transcript"},
            {ReadStateRole, "readState"},
            {SystemTextRole, "systemText"},
            {EmojiOnlyRole, "emojiOnly"},
            {ReactionsRole, "reactions"},
            {GroupStartRole, "groupStart"},
            {GroupEndRole, "groupEnd"},
            {ReadByRole, "readBy"},
            {AgentBadgeRole, "agentBadge"}};
}
