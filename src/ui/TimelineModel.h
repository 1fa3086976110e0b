#pragma once

// The rows of the open conversation for a ListView with
// `verticalLayoutDirection: ListView.BottomToTop`: row 0 is the newest
// message, older pages are appended at the end, and a day separator stands
// after (above) the messages of its day. It follows Store::timelineChanged
// and changes by inserted, removed and changed rows; only a switch to another
// conversation resets it.

#include "conversations/StyledText.h"
#include "model/Models.h"
#include "store/Store.h"
#include "ui/AgentBarsModel.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QSet>
#include <QtQml/qqmlregistration.h>
#include <initializer_list>
#include <vector>

class TimelineModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(qint64 chatId READ chatId WRITE setChatId NOTIFY chatIdChanged)
    Q_PROPERTY(bool followsSelection READ followsSelection WRITE setFollowsSelection NOTIFY
                   followsSelectionChanged)
    Q_PROPERTY(bool showsSenders READ showsSenders NOTIFY showsSendersChanged)
    Q_PROPERTY(bool hasMore READ hasMore NOTIFY hasMoreChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)
    Q_PROPERTY(QStringList typingNames READ typingNames NOTIFY typingChanged)
    Q_PROPERTY(int firstUnreadRow READ firstUnreadRow NOTIFY countChanged)

public:
    enum Role {
        KindRole = Qt::UserRole + 1, // "day", "message" or "system"
        MessageIdRole,
        DayTextRole,
        TextRole,     // the display text, plain
        RichTextRole, // the display text with inline Markdown, mentions and links
        BlocksRole,   // [{kind: "text", richText} | {kind: "table", header, rows, aligns}]
        HasTableRole,
        SenderIdRole,
        SenderNameRole,
        SenderColorRole,
        ShowSenderRole,
        TimeRole,
        CreatedAtRole,
        IsMineRole,
        PendingRole,
        EditedRole,
        ReplyRole,     // {id, senderName, text} or empty
        ForwardedRole, // "Forwarded from <name>" or empty
        MediaRole,     // {kind, url, width, height, name} or empty
        AlbumRole,     // [media...]
        FileRole,      // {name, icon, url} for a file, or empty
        TranscriptRole,
        ReadStateRole, // own messages: "pending", "sent" or "read"; others: empty
        SystemTextRole,
        EmojiOnlyRole,
        ReactionsRole,  // [{emoji, count, mine}]
        GroupStartRole, // the first (oldest) of a run by one sender on one day
        GroupEndRole,   // the last (newest) of such a run: its bubble has the tail corner
        ReadByRole,     // own messages in groups: the names of those who read it, latest first
        AgentBadgeRole, // the agent's word on the message, as AgentBarsModel::badge gives it
    };
    Q_ENUM(Role)

    explicit TimelineModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    qint64 chatId() const { return m_chatId; }
    void setChatId(qint64 chatId);
    bool followsSelection() const { return m_followsSelection; }
    void setFollowsSelection(bool follows);
    bool showsSenders() const { return m_showsSenders; }
    bool hasMore() const;
    QStringList typingNames() const;
    // The row of the first unread message from someone else, or -1.
    int firstUnreadRow() const;
    // Its message id, or 0.
    Q_INVOKABLE qint64 firstUnreadId() const;
    void setPalette(const RichTextPalette& palette) { m_palette = palette; }
    // Where the agentBadge role reads from. A change of the badges signals only
    // the rows whose badge a view has read and that now read differently; once
    // views have read many, it signals all of those once and starts afresh.
    void setAgentBadges(AgentBarsModel* badges);

    // The view calls it when its last (oldest) row comes into view.
    Q_INVOKABLE void loadOlder();
    Q_INVOKABLE void markRead();
    Q_INVOKABLE int rowOfMessage(qint64 messageId) const;
    // Up on an empty draft edits this one: the newest own message the server has, or 0.
    Q_INVOKABLE qint64 lastOwnMessageId() const;
    // The newest picture ({kind, url, width, height, name}) or file chip
    // ({name, icon, url}) on screen, or empty.
    Q_INVOKABLE QVariantMap newestPicture() const;
    Q_INVOKABLE QVariantMap newestFile() const;
    // The whole message for actions on it (reply, edit, forward, pin, delete).
    const Message* messageAt(int row) const;

signals:
    void chatIdChanged();
    void followsSelectionChanged();
    void showsSendersChanged();
    void hasMoreChanged();
    void countChanged();
    void typingChanged();

private:
    struct Item {
        Message message;
        qint64 dayKey = 0;
    };
    struct Row {
        bool isDay = false;
        qint64 key = 0; // the message's id; for a day, the id of its first message
        int item = 0;   // index into m_items
        bool showSender = false;
        bool operator==(const Row& o) const { return isDay == o.isDay && key == o.key; }
    };

    void onTimelineChanged(qint64 chatId, TimelineChange change);
    bool sameRun(int item, int other) const;
    void emitGroupEdges(std::initializer_list<int> rows);
    bool appendedNewest(const QList<Message>& list, TimelineChange change);
    bool editedInPlace(const QList<Message>& list, TimelineChange change);
    void rebuildItems();
    void insertItem(const Message& message);
    void removeItem(qint64 id);
    void relayout();
    void applyRows(std::vector<Row> next);
    void emitChangedRows(const std::vector<int>& rows, const QList<int>& roles);
    int messageRow(qint64 id) const;
    QVariantMap currentBadge(qint64 id) const;
    QVariantMap shownBadge(qint64 id) const;
    void refreshAgentBadges();
    void forgetShownBadges();
    void refreshSenders();
    void selectionMoved();
    QVariant messageData(const Message& m, int role) const;
    QVariantMap mediaMap(const MediaInfo& media) const;
    QVariant blocks(const QString& text, bool mine) const;
    bool isMine(const Message& m) const;

    QPointer<Store> m_store;
    qint64 m_chatId = 0;
    bool m_followsSelection = true;
    bool m_showsSenders = false;
    std::vector<qint64> m_mirror; // the store's array, by id, in its order
    std::vector<Item> m_items;    // the visible messages, ascending id
    std::vector<Row> m_rows;      // newest first
    QSet<qint64> m_dirty;         // messages replaced since the last layout
    RichTextPalette m_palette;
    QPointer<AgentBarsModel> m_agent;
    // The badge last handed out per message: what a view shows now.
    mutable QHash<qint64, QVariantMap> m_shownBadges;
};
