// A conversation's invite code: read, replaced or withdrawn on the server
// that holds the conversation.

#include "model/Errors.h"
#include "store/Store.h"

namespace {
enum class InviteOp { read, rotate, revoke };

QCoro::Task<InviteResponse> callInvite(Api api, qint64 real, InviteOp op) {
    switch (op) {
    case InviteOp::read: {
        auto call = api.inviteCode(real);
        co_return co_await call;
    }
    case InviteOp::rotate: {
        auto call = api.rotateInvite(real);
        co_return co_await call;
    }
    case InviteOp::revoke:
        break;
    }
    auto call = api.revokeInvite(real);
    co_return co_await call;
}

// The reply, or nothing when there is no route or the call failed; a
// failure goes to lastError since the person asked for it.
QCoro::Task<std::optional<InviteResponse>> runInvite(QPointer<Store> self, qint64 chatId,
                                                     InviteOp op) {
    const auto r = self->routed(chatId);
    if (!r) co_return std::nullopt;
    self->setLastError(std::nullopt);
    try {
        auto call = callInvite(r->first, r->second, op);
        InviteResponse reply = co_await call;
        co_return reply;
    } catch (const std::exception& e) {
        if (self) self->setLastError(describeError(e));
    }
    co_return std::nullopt;
}
} // namespace

QCoro::Task<std::optional<QString>> Store::inviteCode(qint64 chatId) {
    auto call = runInvite(QPointer<Store>(this), chatId, InviteOp::read);
    const auto reply = co_await call;
    co_return reply ? reply->code : std::nullopt;
}

QCoro::Task<std::optional<QString>> Store::rotateInvite(qint64 chatId) {
    auto call = runInvite(QPointer<Store>(this), chatId, InviteOp::rotate);
    const auto reply = co_await call;
    co_return reply ? reply->code : std::nullopt;
}

QCoro::Task<bool> Store::revokeInvite(qint64 chatId) {
    auto call = runInvite(QPointer<Store>(this), chatId, InviteOp::revoke);
    const auto reply = co_await call;
    co_return reply && !reply->code;
}
