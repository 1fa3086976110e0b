#include "ui/DirectChat.h"

#include "store/Store.h"

QCoro::Task<std::optional<qint64>> openDirectChat(QPointer<Store> store, User user) {
    if (!store) co_return std::nullopt;
    store->setLastError(std::nullopt);
    auto call = store->startDirect(std::move(user));
    const auto chat = co_await call;
    if (!store || !chat) co_return std::nullopt;
    store->setSection(AppSection::people);
    store->setSelectedChatId(chat->id);
    co_return chat->id;
}
