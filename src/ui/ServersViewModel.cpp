#include "ui/ServersViewModel.h"

#include "core/Localisation.h"
#include "federation/Pairing.h"
#include "model/IDCodec.h"
#include "store/Store.h"
#include "ui/QRSupport.h"

#include <algorithm>

ServersViewModel::ServersViewModel(Store* store, QObject* parent)
    : QAbstractListModel(parent), m_store(store) {
    reload();
    connect(store, &Store::extraServersChanged, this, &ServersViewModel::reload);
    connect(store, &Store::accountsChanged, this, &ServersViewModel::refreshStates);
    connect(store, &Store::connectionChanged, this, &ServersViewModel::refreshStates);
    connect(store, &Store::chatsReset, this, &ServersViewModel::refreshStates);
    connect(store, &Store::chatRemoved, this, &ServersViewModel::refreshStates);
    connect(store, &Store::sessionChanged, this, &ServersViewModel::primaryChanged);
}

int ServersViewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_servers.size());
}

QVariant ServersViewModel::data(const QModelIndex& index, int role) const {
    if (!m_store || !index.isValid() || index.row() >= m_servers.size()) return {};
    const int server = m_servers[index.row()];
    const ServerProfile* profile = m_store->extraServer(server);
    if (!profile) return {};
    switch (role) {
    case ServerIdRole:
        return server;
    case Qt::DisplayRole:
    case NameRole:
        return profile->name;
    case UrlRole: {
        const auto base = Store::normalizedServerURL(profile->url);
        return base ? base->toString() : profile->url;
    }
    case StateRole:
        return stateOf(*m_store, server);
    case ChatCountRole:
        return int(std::count_if(
            m_store->chats().cbegin(), m_store->chats().cend(),
            [server](const ChatSummary& c) { return IDCodec::serverId(c.id) == server; }));
    default:
        return {};
    }
}

QHash<int, QByteArray> ServersViewModel::roleNames() const {
    return {{ServerIdRole, "serverId"},
            {NameRole, "name"},
            {UrlRole, "url"},
            {StateRole, "status"},
            {ChatCountRole, "chatCount"}};
}

QString ServersViewModel::primaryUrl() const {
    const auto primary = m_store ? m_store->api() : std::nullopt;
    return primary ? primary->base.toString() : QString();
}

QString ServersViewModel::stateOf(const Store& store, int server) {
    if (store.linkUp(server)) return QStringLiteral("live");
    if (!store.serverAnswering().contains(server)) return QStringLiteral("connecting");
    return store.serverAnswering().value(server) ? QStringLiteral("polling")
                                                 : QStringLiteral("down");
}

bool ServersViewModel::isInvite(const QString& input) {
    const QString text = input.trimmed();
    const qsizetype at = text.indexOf(QLatin1Char('@'));
    if (at <= 0 || at == text.size() - 1) return false;
    const QString code = text.left(at);
    return !code.contains(QLatin1Char('/')) && !code.contains(QLatin1Char(':'));
}

// MARK: Rows

void ServersViewModel::reload() {
    QList<int> servers;
    if (m_store)
        for (const ServerProfile& profile : m_store->extraServers())
            servers.push_back(profile.serverId);
    if (servers == m_servers) {
        refreshStates();
        return;
    }
    beginResetModel();
    m_servers = servers;
    endResetModel();
    emit countChanged();
}

void ServersViewModel::refreshStates() {
    if (m_servers.isEmpty()) return;
    emit dataChanged(index(0), index(int(m_servers.size()) - 1),
                     {NameRole, UrlRole, StateRole, ChatCountRole});
}

QString ServersViewModel::nameOf(int serverId) const {
    const ServerProfile* profile = m_store ? m_store->extraServer(serverId) : nullptr;
    return profile ? profile->name : QString();
}

// MARK: Changes

void ServersViewModel::add(const QString& input, const QString& name) {
    const QString text = input.trimmed();
    if (text.isEmpty() || m_busy || !m_store) return;
    setError({});
    setBusy(true);
    [](QPointer<ServersViewModel> self, QPointer<Store> store, QString text,
       QString name) -> QCoro::Task<> {
        bool ok = false;
        if (isInvite(text)) {
            auto call = store->addConversationByCode(text);
            co_await call;
            ok = store && !store->lastError();
        } else {
            const auto base = Store::normalizedServerURL(text);
            const QString label =
                !name.trimmed().isEmpty() ? name.trimmed() : (base ? base->host() : text);
            auto call = store->addServer(label, text);
            ok = co_await call;
        }
        if (self) self->finishAddition(ok, L(QStringLiteral("Invalid server URL")));
    }(this, m_store, text, name);
}

void ServersViewModel::pair(const QString& input, const QString& urlField, const QString& name) {
    const QString text = input.trimmed();
    if (text.isEmpty() || m_busy || !m_store) return;
    setError({});
    setBusy(true);
    [](QPointer<ServersViewModel> self, QPointer<Store> store, QString text, QString url,
       QString name) -> QCoro::Task<> {
        auto call = store->addServerPaired(text, url.trimmed(), name.trimmed());
        const bool ok = co_await call;
        if (self) self->finishAddition(ok, L(QStringLiteral("Invalid pairing code")));
    }(this, m_store, text, urlField, name);
}

void ServersViewModel::finishAddition(bool ok, const QString& fallback) {
    setBusy(false);
    if (ok) {
        setScanned({});
        emit added();
        return;
    }
    const auto error = m_store ? m_store->lastError() : std::nullopt;
    setError(error && !error->isEmpty() ? *error : fallback);
}

void ServersViewModel::remove(int serverId) {
    const ServerProfile* profile = m_store ? m_store->extraServer(serverId) : nullptr;
    if (profile) m_store->removeServer(*profile);
}

void ServersViewModel::useQRImageFile(const QUrl& file) {
    const auto text = qrTextFromFile(file);
    if (!text) {
        setError(L(QStringLiteral("No QR code found")));
        return;
    }
    setError({});
    setScanned(*text);
}

void ServersViewModel::pasteQRCode() {
    const auto text = qrTextFromClipboard();
    if (!text) {
        setError(L(QStringLiteral(
            "Couldn't read a QR code there — copy or pick an image that shows the full code.")));
        return;
    }
    setError({});
    setScanned(*text);
}

void ServersViewModel::clearError() {
    setError({});
    setScanned({});
}

// MARK: This device's pairing code

void ServersViewModel::requestPairingCode() {
    const auto primary = m_store ? m_store->api() : std::nullopt;
    const int generation = ++m_pairingGeneration;
    if (!primary) {
        setPairing(QStringLiteral("failed"));
        return;
    }
    setPairing(QStringLiteral("loading"));
    [](QPointer<ServersViewModel> self, Api api, int generation) -> QCoro::Task<> {
        std::optional<Api::PairCodeResponse> reply;
        try {
            auto call = api.pairCode();
            reply = co_await call;
        } catch (const std::exception&) {
            // No reply shows as the failed state below.
        }
        if (!self || generation != self->m_pairingGeneration) co_return;
        if (!reply) {
            self->setPairing(QStringLiteral("failed"));
            co_return;
        }
        const PairingPayload payload{1, api.base.toString(), reply->fingerprint, reply->code};
        self->setPairing(QStringLiteral("ready"), reply->code, payload.qrString());
    }(this, *primary, generation);
}

void ServersViewModel::closePairing() {
    ++m_pairingGeneration;
    setPairing({});
}

// MARK: State

void ServersViewModel::setBusy(bool busy) {
    if (m_busy == busy) return;
    m_busy = busy;
    emit busyChanged();
}

void ServersViewModel::setError(const QString& error) {
    if (m_error == error) return;
    m_error = error;
    emit errorTextChanged();
}

void ServersViewModel::setScanned(const QString& text) {
    if (m_scanned == text) return;
    m_scanned = text;
    emit scannedChanged();
}

void ServersViewModel::setPairing(const QString& state, const QString& code, const QString& text) {
    m_pairingState = state;
    m_pairingCode = code;
    m_pairingText = text;
    m_pairingImage = text.isEmpty() ? QString() : qrImageDataUrl(text);
    emit pairingChanged();
}
