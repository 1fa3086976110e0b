#pragma once

#include "Options.h"
#include "Storage.h"
#include "Tls.h"
#include "WsHub.h"

#include <QHash>
#include <QMap>

class AgentHost;

// Build state of one conversation, as the agent host last reported it.
struct BuildState {
    QString state;
    std::optional<qint64> percent;
    QString label;
};

// Who typed where, kept for the REST view of typing.
struct TypingEntry {
    qint64 chatId = 0;
    qint64 userId = 0;
    QString device;
    qint64 at = 0;
};

// A key-login challenge waiting for its signature.
struct PendingNonce {
    QString nonce;
    qint64 issuedAt = 0;
};

// A one-use pairing code of a signed-in person, valid for a short while.
struct PendingPair {
    qint64 userId = 0;
    qint64 issuedAt = 0;
};

// What every route and event handler shares. Lives as long as the server.
struct Context {
    const ServerOptions& options;
    const ServerIdentity& identity;
    Storage& db;
    WsHub& hub;
    QMap<qint64, BuildState> builds;
    QList<TypingEntry> typing;
    QHash<QString, PendingNonce> nonces; // by public key
    QHash<QString, PendingPair> pairCodes;
    AgentHost* agentHost = nullptr; // the simulated agent host, when it runs
    qint64 ownerId = 0;             // the owner's account; 0 when no owner is configured

    bool isOwner(qint64 userId) const { return ownerId != 0 && userId == ownerId; }
    qint64 tokenMaxIdleMs() const { return qint64(options.tokenIdleDays) * 24 * 60 * 60 * 1000; }
};
