#include "ui/ChatActionsModel.h"

#include "store/Store.h"

ChatActionsModel::ChatActionsModel(Store* store, QObject* parent)
    : QObject(parent), m_store(store) {
    connect(store, &Store::mutedChatsChanged, this, &ChatActionsModel::mutedChanged);
}

bool ChatActionsModel::isMuted(qint64 chatId) const {
    return m_store && m_store->isMuted(chatId);
}

void ChatActionsModel::setMuted(qint64 chatId, bool muted) {
    if (m_store && m_store->chat(chatId)) m_store->setMuted(chatId, muted);
}

QString ChatActionsModel::titleOf(qint64 chatId) const {
    const ChatSummary* chat = m_store ? m_store->chat(chatId) : nullptr;
    if (!chat) return {};
    return chat->displayTitle(m_store->me() ? std::optional<qint64>(m_store->me()->id)
                                            : std::nullopt);
}

bool ChatActionsModel::canInvite(qint64 chatId) const {
    // Only a group takes people in by code.
    const ChatSummary* chat = m_store ? m_store->chat(chatId) : nullptr;
    return chat && chat->isGroup() && m_store->routed(chatId).has_value();
}

void ChatActionsModel::deleteChat(qint64 chatId) {
    if (!m_store || !m_store->chat(chatId)) return;
    m_store->setLastError(std::nullopt);
    [](QPointer<Store> store, qint64 id) -> QCoro::Task<> {
        if (!store) co_return;
        auto call = store->deleteChat(id);
        co_await call;
        // The list has no place for an error line: a refusal shows as a notice.
        if (store && store->lastError()) store->showToast(*store->lastError());
    }(m_store, chatId);
}

void ChatActionsModel::openSettings(qint64 chatId) {
    if (!m_store || !m_store->chat(chatId)) return;
    m_store->openChatSettings(chatId);
    emit settingsRequested(chatId);
}
