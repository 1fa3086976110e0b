#pragma once

#include <QHostAddress>
#include <QString>
#include <QStringList>
#include <optional>

// What the command line asks of this server process.
struct ServerOptions {
    QString dataDir;
    QHostAddress listen = QHostAddress(QHostAddress::LocalHost);
    quint16 port = 8391;
    // Absent: no plain-only port. Zero: an ephemeral one.
    std::optional<quint16> httpPort;
    QStringList names;
    QString owner;
    // Off when many people share one machine (tests): then only names sign in.
    bool loopbackOwner = true;
    // Bot accounts made at start; they sign in by name like the configured names.
    QStringList bots;
    bool webSocket = true;
    QStringList discovered;
    QString platform = QStringLiteral("linux");
    // The simulated agent host: a "Claude Code" bot that runs sessions.
    bool agentHost = false;
    int agentPaceMs = 400;
    QString agentSandbox; // empty: "agent-sandbox" in the data directory
    bool seedDemo = false;
    // A connection must send each request within this long of opening or of
    // its previous request, and its body at a modest rate after that.
    int requestTimeoutMs = 30000;
    // Largest upload body (media, pictures, audio); other bodies stay small.
    qint64 maxUploadBytes = 64LL * 1024 * 1024;
    // A token unused for this long no longer signs in.
    int tokenIdleDays = 90;
    // The speech engine for voice messages: "none" leaves them without a
    // transcript; "test" writes a fixed one after `transcribeDelayMs`.
    QString transcriber = QStringLiteral("none");
    int transcribeDelayMs = 1500;
    // Instruments for the client's tests (TestHooks); never on in use.
    bool testHooks = false;
};

// Parses the process arguments. On --help or bad input it prints to the
// matching stream and returns no options; `exitCode` then says how to leave.
std::optional<ServerOptions> parseOptions(const QStringList& arguments, int& exitCode);
