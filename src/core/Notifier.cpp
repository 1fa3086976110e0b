#include "core/Notifier.h"

Notifier::~Notifier() = default;

void RecordingNotifier::post(const SystemNotification& notification) {
    m_posted.push_back(notification);
    // The same identifier replaces what was on screen.
    remove({notification.identifier});
    m_delivered.push_back(notification);
}

void RecordingNotifier::remove(const QStringList& identifiers) {
    m_delivered.removeIf(
        [&](const SystemNotification& n) { return identifiers.contains(n.identifier); });
}

void RecordingNotifier::click(const QString& identifier) {
    std::optional<qint64> chatId;
    for (const SystemNotification& n : std::as_const(m_delivered))
        if (n.identifier == identifier) chatId = n.chatId;
    // Gone from the screen before anything reacts to the click.
    remove({identifier});
    if (chatId) emit activated(*chatId);
}
