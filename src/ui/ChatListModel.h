#pragma once

// The conversation list: every conversation but saved messages, ordered by
// the last human activity (newest first), filtered by the search text. One
// new message moves or changes one row; only a new search or a whole new
// list from the server resets it.

#include "store/Store.h"
#include "ui/SortedBlocks.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqmlregistration.h>
#include <vector>

class ChatListModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role {
        ChatIdRole = Qt::UserRole + 1,
        TitleRole,
        PreviewRole,     // plain text of the second line
        PreviewRichRole, // the same with inline Markdown
        PreviewSenderRole,
        TimeRole, // when the shown message was sent, as a day or a time
        ActivityAtRole,
        UnreadRole,
        MutedRole,
        IsGroupRole,
        AvatarUrlRole,
        OnlineRole, // a direct conversation's other person is online
        TypingRole, // names typing now, joined
        SelectedRole,
        IsAIChannelRole,
        PinnedRole,      // has a pinned message
        WorkingRole,     // the agent of the conversation is at work
        StatusLineRole,  // what the agent does now, while it works
        QueuedRole,      // messages waiting for the agent
        BuildHintRole,   // the build's short line ("Compiling… 40%"), or empty
        BuildSymbolRole, // its symbol
        DeployRole,      // a deploy the user has not opened yet
    };
    Q_ENUM(Role)

    explicit ChatListModel(Store* store, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QString search() const { return m_search; }
    void setSearch(const QString& search);

    Q_INVOKABLE void select(qint64 chatId);
    Q_INVOKABLE int rowOf(qint64 chatId) const;
    Q_INVOKABLE qint64 chatIdAt(int row) const;

signals:
    void searchChanged();
    void countChanged();

private:
    struct Entry {
        qint64 id = 0;
        qint64 at = 0; // userActivityAt when last placed
    };
    // Newest activity first; the id decides between equals so positions are stable.
    struct Before {
        bool operator()(const Entry& a, const Entry& b) const {
            return a.at != b.at ? a.at > b.at : a.id > b.id;
        }
    };

    void rebuild();
    std::vector<Entry> visibleEntries() const;
    bool shows(const ChatSummary& chat) const;
    void chatChanged(qint64 chatId);
    void removeRow(int row);
    int findRow(qint64 chatId) const;
    void emitRole(int role);
    void emitRow(qint64 chatId, const QList<int>& roles = {});

    QPointer<Store> m_store;
    QString m_search;
    SortedBlocks<Entry, Before> m_rows;
    QHash<qint64, qint64> m_placedAt; // the `at` each shown conversation was placed by
    std::optional<qint64> m_selected;
};
