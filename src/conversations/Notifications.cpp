// Whether a new message shows as a system notification, an in-app banner or
// only in the badge. The rules keep agent chatter out of the person's way.

#include "conversations/ChatPreview.h"
#include "core/FreedesktopNotifier.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "store/Store.h"

#include <QRandomGenerator>

namespace {
constexpr double toastShownFor = 1.5;

// A banner's identity only has to differ from the last one's; the kernel's
// entropy source behind QUuid::createUuid costs a system call per message.
QUuid bannerId() {
    quint32 words[4];
    QRandomGenerator::global()->fillRange(words);
    QUuid id(words[0], quint16(words[1]), quint16(words[1] >> 16), uchar(words[2]),
             uchar(words[2] >> 8), uchar(words[2] >> 16), uchar(words[2] >> 24), uchar(words[3]),
             uchar(words[3] >> 8), uchar(words[3] >> 16), uchar(words[3] >> 24));
    id.data3 = quint16((id.data3 & 0x0fff) | 0x4000); // version 4
    id.data4[0] = uchar((id.data4[0] & 0x3f) | 0x80); // RFC 4122 variant
    return id;
}
} // namespace

NotificationStyle Store::notificationStyle() const {
    if (m_notifPrefs.muteAll) return NotificationStyle::off;
    const NotifLevel levels[] = {m_notifPrefs.directMessages.level,
                                 m_notifPrefs.groupMessages.level, m_notifPrefs.mentions.level};
    const auto any = [&](NotifLevel wanted) {
        return std::find(std::begin(levels), std::end(levels), wanted) != std::end(levels);
    };
    if (any(NotifLevel::banner)) return NotificationStyle::banner;
    if (any(NotifLevel::badge)) return NotificationStyle::badge;
    return NotificationStyle::off;
}

Notifier& Store::notifier() {
    if (!m_notifier)
        setNotifier(std::make_shared<FreedesktopNotifier>(FreedesktopNotifier::desktopEntryName()));
    return *m_notifier;
}

void Store::setNotifier(std::shared_ptr<Notifier> notifier) {
    if (m_notifier) m_notifier->disconnect(this);
    m_notifier = std::move(notifier);
    // A click on a notification opens its conversation.
    connect(m_notifier.get(), &Notifier::activated, this,
            [this](qint64 chatId) { setSelectedChatId(chatId); });
}

// The tests a message must pass for a banner or a notification, apart from
// the style and whether the app is in front.
bool Store::passesNotificationRules(const Message& message) const {
    if (isMuted(message.chatId)) return false;
    if (m_me && message.senderId == m_me->id) return false;
    if (message.id <= 0 || message.isCCControl() || message.isCCWorking()) return false;
    const ChatSummary* c = chat(message.chatId);
    if (!c) return false;
    // A bot outside an AI channel stays quiet unless it asks for a decision.
    return !isBotUser(message.senderId) || isAIChannel(*c) || message.isDecisionPrompt();
}

void Store::notifyIfNeeded(const Message& message) {
    if (notificationStyle() != NotificationStyle::banner || appActive()) return;
    if (!passesNotificationRules(message)) return;
    const ChatSummary* c = chat(message.chatId);
    const CatPref& category =
        c->isGroup() ? m_notifPrefs.groupMessages : m_notifPrefs.directMessages;
    SystemNotification n;
    n.identifier = QStringLiteral("msg-%1").arg(message.id);
    n.title = c->displayTitle(m_me ? std::optional(m_me->id) : std::nullopt);
    if (c->isGroup()) n.subtitle = message.senderName;
    n.body = previewBody(message);
    n.sound = category.sound;
    n.chatId = message.chatId;
    notifier().post(n);
}

void Store::showInAppBanner(const Message& message) {
    if (notificationStyle() == NotificationStyle::off || !appActive()) return;
    if (selectedChatId() == message.chatId || !passesNotificationRules(message)) return;
    const ChatSummary* c = chat(message.chatId);
    setInAppBanner(InAppBanner{bannerId(), message.chatId,
                               c->displayTitle(m_me ? std::optional(m_me->id) : std::nullopt),
                               message.senderName, previewBody(message), message.senderId});
}

void Store::notifyUserJoined(const User& user) {
    if (appActive()) {
        setInAppBanner(InAppBanner{bannerId(), std::nullopt, L(QStringLiteral("New contact")),
                                   user.username, L(QStringLiteral("joined Velmarin")), user.id});
        return;
    }
    if (notificationStyle() == NotificationStyle::off) return;
    SystemNotification n;
    n.identifier = QStringLiteral("join-%1").arg(user.id);
    n.title = L(QStringLiteral("New contact"));
    n.body = user.username + u' ' + L(QStringLiteral("joined Velmarin"));
    n.sound = true;
    notifier().post(n);
}

void Store::clearNotifications(qint64 chatId) {
    QStringList ids;
    for (const SystemNotification& n : notifier().delivered())
        if (n.chatId == chatId) ids.push_back(n.identifier);
    if (!ids.isEmpty()) notifier().remove(ids);
}

void Store::clearAllDeliveredNotifications() {
    notifier().removeAll();
}

void Store::setInAppBanner(std::optional<InAppBanner> banner) {
    if (m_inAppBanner == banner) return;
    m_inAppBanner = std::move(banner);
    emit bannerChanged();
}

// MARK: Preferences and muting

void Store::persistNotifPrefs() {
    Prefs::shared().writeJson(PrefKey::notifPrefs, m_notifPrefs);
}

QCoro::Task<> Store::setNotifPrefs(NotifPrefs prefs) {
    QPointer<Store> self(this);
    m_notifPrefs = prefs;
    persistNotifPrefs();
    refreshBadge();
    emit settingsChanged();
    const auto primary = api();
    if (!primary || !token()) co_return;
    try {
        // Only this device's choice: a refusal leaves the local value in force.
        auto call = primary->setNotifPrefs(prefs, m_pushToken);
        co_await call;
    } catch (const std::exception&) {
        // A refusal leaves the local value in force, as said above.
    }
}

void Store::setMuted(qint64 chatId, bool muted) {
    QSet<qint64> next = m_mutedChats;
    if (muted)
        next.insert(chatId);
    else
        next.remove(chatId);
    setMutedChats(next);
}

void Store::showToast(QString text) {
    m_toast = text;
    const int generation = ++m_toastId;
    emit toastChanged();
    // A newer toast keeps its full time: only the latest one clears itself.
    [](QPointer<Store> self, int generation) -> QCoro::Task<> {
        co_await self->sleep(toastShownFor);
        if (!self || self->m_toastId != generation) co_return;
        self->m_toast.reset();
        emit self->toastChanged();
    }(QPointer<Store>(this), generation);
}
