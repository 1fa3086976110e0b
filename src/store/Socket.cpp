// Store's side of the live links: which server each one belongs to, and what
// the picture does when one comes up, goes down or delivers a frame.

#include "model/IDCodec.h"
#include "store/ServerLink.h"
#include "store/Store.h"

#include <QJsonDocument>

bool Store::linkUp(int server) const {
    const ServerLink* link = m_links.value(server);
    return link && link->isUp();
}

bool Store::linkOpen(int server) const {
    const ServerLink* link = m_links.value(server);
    return link && link->hasSocket();
}

ServerLink* Store::link(int server) const {
    return m_links.value(server);
}

ServerLink* Store::ensureLink(int server) {
    if (ServerLink* existing = m_links.value(server)) return existing;
    auto* link = new ServerLink(timeScale(), this);
    m_links.insert(server, link);
    connect(link, &ServerLink::frame, this,
            [this, server](const QString& text) { handleEvent(text, server); });
    connect(link, &ServerLink::endpointChanged, this, &Store::publishServerTokens);
    if (server == 0) {
        connect(link, &ServerLink::down, this, [this](bool wasUp) {
            if (wasUp) emit connectionChanged();
        });
        link->setWanted([this] { return token().has_value(); });
        connect(link, &ServerLink::up, this, [this] { onPrimaryUp(); });
        connect(link, &ServerLink::staleFrame, this, [this] {
            if (!token()) return;
            // The resync brings whatever the replaced socket held unread.
            [](QPointer<Store> self) -> QCoro::Task<> {
                if (self) co_await self->resync();
            }(QPointer<Store>(this));
        });
        connect(link, &ServerLink::reconnectDue, this, [this] {
            if (token()) connectWS();
        });
    } else {
        connect(link, &ServerLink::down, this, &Store::connectionChanged);
        // A server removed meanwhile stays gone.
        link->setWanted([this, server] { return extraServer(server) != nullptr; });
        connect(link, &ServerLink::up, this, [this, server] { onExtraUp(server); });
        connect(link, &ServerLink::reconnectDue, this,
                [this, server] { connectExtraWSIfNeeded(server); });
    }
    return link;
}

void Store::forgetLink(int server) {
    if (ServerLink* link = m_links.take(server)) {
        link->stopPolling();
        link->close();
        link->deleteLater();
    }
}

void Store::connectWS() {
    const auto primary = api();
    const auto url = primary ? primary->wsURL() : std::nullopt;
    if (!url) return;
    ensureLink(0)->open(*url);
    emit connectionChanged();
}

QCoro::Task<> Store::onPrimaryUp() {
    QPointer<Store> self(this);
    emit connectionChanged();
    sendActive(appActive());
    co_await resync();
    if (!self) co_return;
    co_await flushPendingPrefs();
    if (!self) co_return;
    startHostStatusPolling();
}

void Store::connectExtraWSIfNeeded(int server) {
    if (linkOpen(server)) return;
    const auto serverApi = apiFor(server);
    const auto url = serverApi ? serverApi->wsURL() : std::nullopt;
    if (!url) return;
    ensureLink(server)->open(*url);
}

void Store::closeExtraWS(int server) {
    if (ServerLink* link = m_links.value(server)) link->close();
    emit connectionChanged();
}

void Store::onExtraUp(int server) {
    sendOnLink(server, {{QStringLiteral("type"), QStringLiteral("active")},
                        {QStringLiteral("active"), appActive()}});
    emit connectionChanged();
    // Catch up at once with whatever happened while the link was down.
    [](QPointer<Store> self, int server) -> QCoro::Task<> {
        if (!self) co_return;
        if (const ServerProfile* profile = self->extraServer(server)) {
            auto call = self->connectServer(*profile);
            co_await call;
            if (!self) co_return;
        }
        const auto selected = self->selectedChatId();
        if (selected && IDCodec::serverId(*selected) == server) {
            auto call = self->refreshExtraChat(*selected);
            co_await call;
        }
    }(QPointer<Store>(this), server);
}

bool Store::sendOnLink(int server, const QJsonObject& payload) {
    ServerLink* link = m_links.value(server);
    return link && link->send(payload);
}

void Store::sendWS(const QJsonObject& payload) {
    sendOnLink(0, payload);
}

void Store::sendActive(bool active) {
    const QJsonObject frame{{QStringLiteral("type"), QStringLiteral("active")},
                            {QStringLiteral("active"), active}};
    for (ServerLink* link : std::as_const(m_links))
        link->send(frame);
}

void Store::ensureConnected() {
    startBuildPolling();
    for (const ServerProfile& profile : extraServers())
        if (!linkUp(profile.serverId)) connectExtraWSIfNeeded(profile.serverId);
    if (token() && !linkUp(0)) connectWS();
}
