#pragma once

// System notifications through the freedesktop Notifications service on the
// session bus, with a default action that opens the conversation, and the
// badge through the launcher-entry signal. Without a session bus it does
// nothing, quietly.

#include "core/Notifier.h"

#include <QHash>

class FreedesktopNotifier : public Notifier {
    Q_OBJECT
public:
    // `desktopEntry`: the application's desktop file id without ".desktop".
    explicit FreedesktopNotifier(QString desktopEntry, QObject* parent = nullptr);
    // The launcher entry packaging installs (velmarin.desktop), without ".desktop".
    static QString desktopEntryName();

    void post(const SystemNotification& notification) override;
    QList<SystemNotification> delivered() const override;
    void remove(const QStringList& identifiers) override;
    void removeAll() override;
    void setBadge(int count) override;

private slots:
    void onActionInvoked(uint id, const QString& action);
    void onClosed(uint id, uint reason);

private:
    struct Shown {
        SystemNotification notification;
        uint serverId = 0; // 0 until the service has answered
        bool closeWhenKnown = false;
    };
    void close(uint serverId);
    void remember(const QString& identifier, uint serverId);
    QString bodyText(const SystemNotification& n) const;

    QString m_desktopEntry;
    bool m_connected = false;
    bool m_markup = true; // until the service says otherwise, escape the body
    QHash<QString, Shown> m_shown;
    QHash<uint, QString> m_byServerId;
    int m_badge = -1;
};
