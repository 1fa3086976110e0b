// The open conversation as the frame shows it around the timeline: its
// subtitle, the agent's state, the banner of other conversations and the
// actions on one message.

#include "conversations/ChatPreview.h"
#include "conversations/InlineMarkdown.h"
#include "conversations/StyledText.h"
#include "core/LocNotifier.h"
#include "core/Localisation.h"
#include "store/Store.h"
#include "ui/AppModel.h"

#include <QClipboard>
#include <QGuiApplication>

void AppModel::connectConversation() {
    Store* store = m_store;
    const auto ifSelected = [this](qint64 id, auto emitter) {
        if (m_store && m_store->selectedChatId() == id) (this->*emitter)();
    };
    connect(store, &Store::typingChanged, this,
            [=](qint64 id) { ifSelected(id, &AppModel::subtitleChanged); });
    connect(store, &Store::chatChanged, this,
            [=](qint64 id) { ifSelected(id, &AppModel::subtitleChanged); });
    connect(store, &Store::presenceChanged, this, &AppModel::subtitleChanged);
    connect(store, &Store::hostChanged, this, &AppModel::subtitleChanged);
    connect(store, &Store::selectionChanged, this, &AppModel::subtitleChanged);
    connect(store, &Store::ccStateChanged, this,
            [=](qint64 id) { ifSelected(id, &AppModel::agentStateChanged); });
    connect(store, &Store::selectionChanged, this, &AppModel::agentStateChanged);
    // The agent's status line lives in its working message, edited in place.
    connect(store, &Store::timelineChanged, this,
            [=](qint64 id, TimelineChange) { ifSelected(id, &AppModel::agentStateChanged); });
    connect(store, &Store::chatChanged, this,
            [=](qint64 id) { ifSelected(id, &AppModel::agentStateChanged); });
    connect(store, &Store::bannerChanged, this, &AppModel::bannerChanged);
    connect(store, &Store::chatChanged, this,
            [=](qint64 id) { ifSelected(id, &AppModel::pinnedChanged); });
    connect(store, &Store::selectionChanged, this, &AppModel::pinnedChanged);
    // Who may pin follows the person's role in the group.
    connect(store, &Store::groupRolesChanged, this, &AppModel::pinnedChanged);
    connect(store, &Store::sessionChanged, this, &AppModel::pinnedChanged);
    connect(LocNotifier::instance(), &LocNotifier::languageChanged, this,
            &AppModel::subtitleChanged);
}

QString AppModel::selectedChatSubtitle() const {
    if (!m_store) return {};
    const auto id = m_store->selectedChatId();
    const ChatSummary* chat = id ? m_store->chat(*id) : nullptr;
    if (!chat) return {};
    const QStringList typing = m_store->typingNames(*id);
    if (typing.size() == 1) return Lf(QStringLiteral("%@ is typing…"), typing.first());
    if (!typing.isEmpty())
        return Lf(QStringLiteral("%@ are typing…"), typing.join(QStringLiteral(", ")));
    // A session lives on the host: whether it answers matters, not the agent's presence.
    if (!chat->isGroup() && m_store->isClaudeCodeChat(*chat)) {
        const auto host = m_store->claudeHostName();
        if (!host) return {};
        return m_store->claudeHostOnline() ? Lf(QStringLiteral("On %@"), *host)
                                           : Lf(QStringLiteral("%@ is offline"), *host);
    }
    if (chat->isGroup())
        return Lf(QStringLiteral("%@ members"), QString::number(chat->members.size()));
    const qint64 me = m_store->me() ? m_store->me()->id : 0;
    for (const User& member : chat->members)
        if (member.id != me) return m_store->presenceText(member);
    return {};
}

bool AppModel::selectedChatWorking() const {
    const auto id = m_store ? m_store->selectedChatId() : std::nullopt;
    return id && m_store->ccWorking(*id);
}

QString AppModel::selectedChatStatusLine() const {
    if (!selectedChatWorking()) return {};
    return m_store->ccStatusLine(*m_store->selectedChatId())
        .value_or(L(QStringLiteral("Claude is working…")));
}

void AppModel::stopAgent() {
    const auto id = m_store ? m_store->selectedChatId() : std::nullopt;
    if (!id) return;
    [](QPointer<Store> store, qint64 chatId) -> QCoro::Task<> {
        if (store) co_await store->ccStopSession(chatId);
    }(m_store, *id);
}

// MARK: Pinned message

namespace {
// One line for the bar: a table or a list below the first line stays in the message.
QString firstLine(const QString& text) {
    for (const QString& line : text.split(u'\n'))
        if (!line.trimmed().isEmpty()) return line.trimmed();
    return {};
}
} // namespace

QVariantMap AppModel::selectedChatPinned() const {
    const auto id = m_store ? m_store->selectedChatId() : std::nullopt;
    const ChatSummary* chat = id ? m_store->chat(*id) : nullptr;
    if (!chat || !chat->pinnedMessage) return {};
    const Message& m = *chat->pinnedMessage;
    return {{QStringLiteral("id"), m.id},
            {QStringLiteral("sender"), m.senderName},
            {QStringLiteral("text"), firstLine(previewBody(m))}};
}

bool AppModel::selectedChatPinnable() const {
    const auto id = m_store ? m_store->selectedChatId() : std::nullopt;
    const ChatSummary* chat = id ? m_store->chat(*id) : nullptr;
    // In a group its owner and admins pin; in a direct conversation both people do.
    return chat && (!chat->isGroup() || m_store->canManageGroup(*id));
}

void AppModel::setPinned(qint64 messageId, bool pinned) {
    auto message = selectedMessage(messageId);
    // The pinned bar can unpin a message older than the loaded pages.
    const auto id = m_store ? m_store->selectedChatId() : std::nullopt;
    const ChatSummary* chat = id ? m_store->chat(*id) : nullptr;
    if (!message && chat && chat->pinnedMessage && chat->pinnedMessage->id == messageId)
        message = chat->pinnedMessage;
    if (!message) return;
    [](QPointer<Store> store, Message m, bool pin) -> QCoro::Task<> {
        if (store) co_await store->setPinned(std::move(m), pin);
    }(m_store, std::move(*message), pinned);
}

// MARK: Banner

QVariantMap AppModel::banner() const {
    if (!m_store || !m_store->inAppBanner()) return {};
    const InAppBanner& b = *m_store->inAppBanner();
    return {{QStringLiteral("id"), b.id.toString(QUuid::WithoutBraces)},
            {QStringLiteral("chatId"), b.chatId.value_or(0)},
            {QStringLiteral("title"), b.title},
            {QStringLiteral("sender"), b.sender},
            // A notice reads as plain words: no backticks or stars of markdown.
            {QStringLiteral("text"), plainText(inlineMarkdown(b.text))}};
}

void AppModel::dismissBanner() {
    if (m_store) m_store->setInAppBanner(std::nullopt);
}

void AppModel::openBanner() {
    if (!m_store || !m_store->inAppBanner()) return;
    const auto chatId = m_store->inAppBanner()->chatId;
    dismissBanner();
    if (chatId) selectChat(*chatId);
}

// MARK: Message actions

std::optional<Message> AppModel::selectedMessage(qint64 messageId) const {
    const auto chatId = m_store ? m_store->selectedChatId() : std::nullopt;
    if (!chatId) return std::nullopt;
    for (const Message& m : m_store->messages().value(*chatId))
        if (m.id == messageId) return m;
    return std::nullopt;
}

void AppModel::copyMessage(qint64 messageId) {
    const auto message = selectedMessage(messageId);
    if (!message) return;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        QGuiApplication::clipboard()->setText(message->displayText());
    m_store->showToast(L(QStringLiteral("Copied")));
}

void AppModel::deleteMessage(qint64 messageId) {
    auto message = selectedMessage(messageId);
    if (!message) return;
    [](QPointer<Store> store, Message m) -> QCoro::Task<> {
        if (store) co_await store->deleteMessage(std::move(m));
    }(m_store, std::move(*message));
}

void AppModel::forwardMessage(qint64 messageId, qint64 toChatId) {
    auto message = selectedMessage(messageId);
    if (!message || !m_store->chat(toChatId)) return;
    [](QPointer<Store> store, Message m, qint64 to) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->forward(std::move(m), to);
        const bool done = co_await call;
        if (store && done) store->showToast(L(QStringLiteral("Forwarded")));
    }(m_store, std::move(*message), toChatId);
}
