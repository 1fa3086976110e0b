#include "core/FreedesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {
const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");
const QString kDefaultAction = QStringLiteral("default");

QDBusMessage call(const QString& method) {
    return QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
}
} // namespace

QString FreedesktopNotifier::desktopEntryName() {
    return QStringLiteral("velmarin");
}

FreedesktopNotifier::FreedesktopNotifier(QString desktopEntry, QObject* parent)
    : Notifier(parent), m_desktopEntry(std::move(desktopEntry)) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    m_connected = bus.isConnected();
    if (!m_connected) return;
    bus.connect(kService, kPath, kInterface, QStringLiteral("ActionInvoked"), this,
                SLOT(onActionInvoked(uint, QString)));
    bus.connect(kService, kPath, kInterface, QStringLiteral("NotificationClosed"), this,
                SLOT(onClosed(uint, uint)));
    auto* watcher =
        new QDBusPendingCallWatcher(bus.asyncCall(call(QStringLiteral("GetCapabilities"))), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        const QDBusPendingReply<QStringList> reply = *w;
        if (reply.isValid()) m_markup = reply.value().contains(QStringLiteral("body-markup"));
        w->deleteLater();
    });
}

QString FreedesktopNotifier::bodyText(const SystemNotification& n) const {
    const QString text = n.subtitle.isEmpty() ? n.body : n.subtitle + QStringLiteral(": ") + n.body;
    // A message is text, never markup for the notification server.
    return m_markup ? text.toHtmlEscaped() : text;
}

void FreedesktopNotifier::post(const SystemNotification& n) {
    if (!m_connected) return;
    const auto previous = m_shown.constFind(n.identifier);
    const uint replaces = previous == m_shown.constEnd() ? 0 : previous->serverId;
    QVariantMap hints{{QStringLiteral("desktop-entry"), m_desktopEntry},
                      {QStringLiteral("category"), QStringLiteral("im.received")}};
    if (n.sound)
        hints.insert(QStringLiteral("sound-name"), QStringLiteral("message-new-instant"));
    else
        hints.insert(QStringLiteral("suppress-sound"), true);
    QDBusMessage message = call(QStringLiteral("Notify"));
    // The entry's name doubles as its icon's name (Icon=velmarin).
    message << QStringLiteral("Velmarin") << replaces << m_desktopEntry << n.title << bodyText(n)
            << QStringList{kDefaultAction, QStringLiteral("Open")} << hints << qint32(-1);
    m_shown.insert(n.identifier, Shown{n, replaces, false});
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    const QString identifier = n.identifier;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, identifier](QDBusPendingCallWatcher* w) {
                const QDBusPendingReply<uint> reply = *w;
                if (reply.isValid()) remember(identifier, reply.value());
                w->deleteLater();
            });
}

void FreedesktopNotifier::remember(const QString& identifier, uint serverId) {
    auto it = m_shown.find(identifier);
    if (it == m_shown.end()) return;
    it->serverId = serverId;
    m_byServerId.insert(serverId, identifier);
    if (it->closeWhenKnown) {
        m_shown.erase(it);
        close(serverId);
    }
}

QList<SystemNotification> FreedesktopNotifier::delivered() const {
    QList<SystemNotification> out;
    for (const Shown& s : m_shown)
        if (!s.closeWhenKnown) out.push_back(s.notification);
    return out;
}

void FreedesktopNotifier::remove(const QStringList& identifiers) {
    for (const QString& identifier : identifiers) {
        auto it = m_shown.find(identifier);
        if (it == m_shown.end()) continue;
        if (it->serverId == 0) {
            it->closeWhenKnown = true; // the service has not named it yet
            continue;
        }
        const uint serverId = it->serverId;
        m_shown.erase(it);
        close(serverId);
    }
}

void FreedesktopNotifier::removeAll() {
    remove(m_shown.keys());
}

void FreedesktopNotifier::close(uint serverId) {
    m_byServerId.remove(serverId);
    QDBusMessage message = call(QStringLiteral("CloseNotification"));
    message << serverId;
    QDBusConnection::sessionBus().asyncCall(message);
}

void FreedesktopNotifier::onActionInvoked(uint id, const QString& action) {
    const auto identifier = m_byServerId.constFind(id);
    if (identifier == m_byServerId.constEnd() || action != kDefaultAction) return;
    const auto shown = m_shown.constFind(*identifier);
    if (shown != m_shown.constEnd() && shown->notification.chatId)
        emit activated(*shown->notification.chatId);
}

void FreedesktopNotifier::onClosed(uint id, uint) {
    const QString identifier = m_byServerId.take(id);
    if (!identifier.isEmpty()) m_shown.remove(identifier);
}

void FreedesktopNotifier::setBadge(int count) {
    if (!m_connected || count == m_badge) return;
    m_badge = count;
    QDBusMessage signal = QDBusMessage::createSignal(
        QStringLiteral("/cc/velmarin/badge"), QStringLiteral("com.canonical.Unity.LauncherEntry"),
        QStringLiteral("Update"));
    signal << QStringLiteral("application://%1.desktop").arg(m_desktopEntry)
           << QVariantMap{{QStringLiteral("count"), qint64(count)},
                          {QStringLiteral("count-visible"), count > 0}};
    QDBusConnection::sessionBus().send(signal);
}
