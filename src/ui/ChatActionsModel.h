#pragma once

// What a conversation's row offers besides opening it: muting, deleting
// (after the view has asked), its settings, and its invite.

#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

class Store;

class ChatActionsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")

public:
    explicit ChatActionsModel(Store* store, QObject* parent = nullptr);

    Q_INVOKABLE bool isMuted(qint64 chatId) const;
    Q_INVOKABLE void setMuted(qint64 chatId, bool muted);
    Q_INVOKABLE QString titleOf(qint64 chatId) const;
    // Only a conversation of a server it can be routed to can hand out a code.
    Q_INVOKABLE bool canInvite(qint64 chatId) const;
    Q_INVOKABLE void deleteChat(qint64 chatId);
    // Opens the conversation with its settings asked for.
    Q_INVOKABLE void openSettings(qint64 chatId);

signals:
    void mutedChanged();
    // A view that shows a conversation's settings opens them for this id.
    void settingsRequested(qint64 chatId);

private:
    QPointer<Store> m_store;
};
