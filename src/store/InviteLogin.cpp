// The login screen's invite way in: sign in by name on the invite's server
// when the name is known there and join with the code, otherwise come in as a
// guest through the code.

#include "core/Localisation.h"
#include "store/Store.h"

QCoro::Task<> Store::loginWithInvite(QString name, QString code) {
    QPointer<Store> self(this);
    setLastError(std::nullopt);
    const qsizetype at = code.indexOf(QLatin1Char('@'));
    const QString rawCode = at >= 0 ? code.left(at) : code;
    const std::optional<QString> server =
        at >= 0 ? std::optional<QString>(code.mid(at + 1)) : std::nullopt;
    if (!server && !api()) {
        setLastError(L(
            "This code doesn't name its server. Ask for the full invite (code@server) or its QR."));
        co_return;
    }
    co_await login(name, server);
    if (!self) co_return;
    if (!token()) {
        // loginGuest ends with its own resync once it has a session.
        co_await loginGuest(name, code);
        co_return;
    }
    if (const auto primary = api()) {
        try {
            auto call = primary->joinByCode(rawCode);
            co_await call;
        } catch (const std::exception& e) {
            // The session stays; the person sees why the join failed.
            if (self) setLastError(describeError(e));
        }
    }
    if (!self) co_return;
    co_await resync();
    if (self) setSelectedChatId(std::nullopt);
}
