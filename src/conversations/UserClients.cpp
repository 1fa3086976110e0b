#include "conversations/UserClients.h"

#include "store/IDCodec.h"
#include "store/Store.h"

QCoro::Task<std::optional<UserClient>> fetchUserClient(QPointer<Store> store, qint64 userId) {
    if (!store) co_return std::nullopt;
    const int server = IDCodec::serverId(userId);
    const auto target = store->apiFor(server);
    if (!target) co_return std::nullopt;
    try {
        auto call = target->userClient(store->unmapUserId(userId, server));
        co_return co_await call;
    } catch (const std::exception&) {
        co_return std::nullopt; // the profile then tells nothing about devices
    }
}
