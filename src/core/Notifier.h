#pragma once

// Where system notifications and the application badge go. The store decides
// what to show; a Notifier only shows it. The desktop uses the freedesktop
// implementation; tests record what would have been shown.

#include <QList>
#include <QObject>
#include <QString>
#include <optional>

struct SystemNotification {
    QString identifier; // "msg-<id>", "join-<user id>", ...
    QString title;
    QString subtitle;
    QString body;
    bool sound = false;
    std::optional<qint64> chatId; // the conversation its default action opens
    bool operator==(const SystemNotification&) const = default;
};

class Notifier : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~Notifier() override;

    virtual void post(const SystemNotification& notification) = 0;
    // What is still on screen, as far as this notifier knows.
    virtual QList<SystemNotification> delivered() const = 0;
    virtual void remove(const QStringList& identifiers) = 0;
    virtual void removeAll() = 0;
    virtual void setBadge(int count) = 0;

signals:
    // The person clicked a notification that names a conversation.
    void activated(qint64 chatId);
};

// Keeps everything in memory; tests read it back.
class RecordingNotifier : public Notifier {
    Q_OBJECT
public:
    using Notifier::Notifier;

    void post(const SystemNotification& notification) override;
    QList<SystemNotification> delivered() const override { return m_delivered; }
    void remove(const QStringList& identifiers) override;
    void removeAll() override { m_delivered.clear(); }
    void setBadge(int count) override { m_badge = count; }

    // Every notification ever posted, in order.
    const QList<SystemNotification>& posted() const { return m_posted; }
    int badge() const { return m_badge; }
    // As if the person clicked the notification.
    void click(const QString& identifier);

private:
    QList<SystemNotification> m_posted;
    QList<SystemNotification> m_delivered;
    int m_badge = 0;
};
