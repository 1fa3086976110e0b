#include "Options.h"

#include <QCommandLineParser>
#include <QDir>
#include <QStandardPaths>
#include <cstdio>

namespace {

QStringList splitList(const QString& value) {
    QStringList out;
    for (const QString& part : value.split(u',', Qt::SkipEmptyParts)) {
        const QString trimmed = part.trimmed();
        if (!trimmed.isEmpty()) out.push_back(trimmed);
    }
    return out;
}

std::optional<quint16> parsePort(const QString& text) {
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value > 65535) return std::nullopt;
    return static_cast<quint16>(value);
}

QString defaultDataDir() {
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("velmarin-server"));
}

void addOptions(QCommandLineParser& parser) {
    parser.setApplicationDescription(
        QStringLiteral("Reference server of the Velmarin chat service: REST, WebSocket events, TLS "
                       "and plain HTTP on one port, SQLite storage.\n"
                       "When it listens it prints one line to stdout:\n"
                       "  velmarin-server ready port=<port> http-port=<plain port or 0> "
                       "fingerprint=<base64>\n"
                       "Uploaded media are kept under <data-dir>/media and served at /media/<n>, "
                       "with byte ranges."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("data-dir"),
         QStringLiteral("Directory for the database and the TLS key (default: %1).")
             .arg(defaultDataDir()),
         QStringLiteral("dir")},
        {QStringLiteral("listen"), QStringLiteral("Address to listen on (default 127.0.0.1)."),
         QStringLiteral("addr")},
        {QStringLiteral("port"),
         QStringLiteral("Main port, TLS and plain HTTP (default 8391; 0 picks a free port)."),
         QStringLiteral("n")},
        {QStringLiteral("http-port"),
         QStringLiteral("Also serve plain HTTP only on this port (0 picks a free port). "
                        "Off unless given."),
         QStringLiteral("n")},
        {QStringLiteral("names"),
         QStringLiteral("Comma-separated names allowed to sign in by name."),
         QStringLiteral("a,b,c")},
        {QStringLiteral("owner"),
         QStringLiteral("The owner's name: an empty-name login from loopback signs in as "
                        "the owner, who may also report build status."),
         QStringLiteral("name")},
        {QStringLiteral("no-loopback-owner"),
         QStringLiteral("Refuse empty-name logins from loopback instead of signing them in as "
                        "the owner; for setups where several people share one machine.")},
        {QStringLiteral("bots"),
         QStringLiteral("Comma-separated bot accounts, made at start and listed in botIds; "
                        "they sign in by name."),
         QStringLiteral("a,b")},
        {QStringLiteral("no-websocket"), QStringLiteral("Refuse WebSocket connections.")},
        {QStringLiteral("discovered"),
         QStringLiteral("Comma-separated server URLs reported as discovered servers."),
         QStringLiteral("url,url")},
        {QStringLiteral("platform"),
         QStringLiteral("Platform reported by api/server-identity (default linux)."),
         QStringLiteral("text")},
        {QStringLiteral("agent-host"),
         QStringLiteral("Run the simulated agent host: a \"Claude Code\" user that answers "
                        "session conversations and control requests.")},
        {QStringLiteral("agent-pace-ms"),
         QStringLiteral("Milliseconds per step of a simulated agent turn (default 400)."),
         QStringLiteral("n")},
        {QStringLiteral("agent-sandbox"),
         QStringLiteral("Folder the agent host shows as its file system (default: "
                        "agent-sandbox in the data directory)."),
         QStringLiteral("dir")},
        {QStringLiteral("test-hooks"),
         QStringLiteral("For the client's tests only: routes under api/test/ that hold a "
                        "bootstrap reply back and list the requests that came without TLS.")},
        {QStringLiteral("seed-demo"),
         QStringLiteral("Seed demo people, groups and agent sessions for the owner, once: "
                        "later starts leave them alone. Implies --agent-host; needs --owner.")},
        {QStringLiteral("request-timeout-ms"),
         QStringLiteral("A connection that sends no complete request head within this long of "
                        "opening (or of its previous request) is closed; bodies get this plus "
                        "one second per 16 KB (default 30000)."),
         QStringLiteral("n")},
        {QStringLiteral("max-upload-mb"),
         QStringLiteral("Largest upload body in MB (default 64); other bodies are capped at 1 MB."),
         QStringLiteral("n")},
        {QStringLiteral("transcriber"),
         QStringLiteral("Speech engine for voice messages: none (default; they stay without a "
                        "transcript) or test (a fixed transcript after --transcribe-delay-ms)."),
         QStringLiteral("engine")},
        {QStringLiteral("transcribe-delay-ms"),
         QStringLiteral("How long the test engine takes per voice message (default 1500)."),
         QStringLiteral("n")},
        {QStringLiteral("token-idle-days"),
         QStringLiteral("A sign-in token unused for this many days expires (default 90)."),
         QStringLiteral("n")},
    });
}

bool applyPorts(const QCommandLineParser& parser, ServerOptions& opts) {
    if (parser.isSet(QStringLiteral("port"))) {
        const auto port = parsePort(parser.value(QStringLiteral("port")));
        if (!port) return false;
        opts.port = *port;
    }
    if (parser.isSet(QStringLiteral("http-port"))) {
        opts.httpPort = parsePort(parser.value(QStringLiteral("http-port")));
        if (!opts.httpPort) return false;
    }
    return true;
}

bool applyAgentOptions(const QCommandLineParser& parser, ServerOptions& opts) {
    opts.seedDemo = parser.isSet(QStringLiteral("seed-demo"));
    opts.agentHost = opts.seedDemo || parser.isSet(QStringLiteral("agent-host"));
    if (opts.seedDemo && opts.owner.isEmpty()) {
        std::fprintf(stderr, "--seed-demo needs --owner: the demo belongs to the owner\n");
        return false;
    }
    if (parser.isSet(QStringLiteral("agent-pace-ms"))) {
        bool ok = false;
        opts.agentPaceMs = parser.value(QStringLiteral("agent-pace-ms")).toInt(&ok);
        if (!ok || opts.agentPaceMs < 1 || opts.agentPaceMs > 60000) {
            std::fprintf(stderr, "--agent-pace-ms must be from 1 to 60000\n");
            return false;
        }
    }
    opts.agentSandbox = parser.isSet(QStringLiteral("agent-sandbox"))
                            ? parser.value(QStringLiteral("agent-sandbox"))
                            : QDir(opts.dataDir).filePath(QStringLiteral("agent-sandbox"));
    return true;
}

// A whole number in [low, high] from an option that may be absent.
bool applyBounded(const QCommandLineParser& parser, const QString& name, qint64 low, qint64 high,
                  qint64& out) {
    if (!parser.isSet(name)) return true;
    bool ok = false;
    const qint64 value = parser.value(name).toLongLong(&ok);
    if (!ok || value < low || value > high) {
        std::fprintf(stderr, "--%s must be from %lld to %lld\n", qPrintable(name),
                     static_cast<long long>(low), static_cast<long long>(high));
        return false;
    }
    out = value;
    return true;
}

bool applyLimits(const QCommandLineParser& parser, ServerOptions& opts) {
    qint64 timeout = opts.requestTimeoutMs;
    qint64 uploadMb = opts.maxUploadBytes / (1024 * 1024);
    qint64 idleDays = opts.tokenIdleDays;
    if (!applyBounded(parser, QStringLiteral("request-timeout-ms"), 100, 3600000, timeout) ||
        !applyBounded(parser, QStringLiteral("max-upload-mb"), 1, 4096, uploadMb) ||
        !applyBounded(parser, QStringLiteral("token-idle-days"), 1, 3650, idleDays))
        return false;
    opts.requestTimeoutMs = static_cast<int>(timeout);
    opts.maxUploadBytes = uploadMb * 1024 * 1024;
    opts.tokenIdleDays = static_cast<int>(idleDays);
    return true;
}

bool applyTranscriber(const QCommandLineParser& parser, ServerOptions& opts) {
    if (parser.isSet(QStringLiteral("transcriber")))
        opts.transcriber = parser.value(QStringLiteral("transcriber")).trimmed();
    if (opts.transcriber != QLatin1String("none") && opts.transcriber != QLatin1String("test")) {
        std::fprintf(stderr, "--transcriber must be none or test\n");
        return false;
    }
    qint64 delay = opts.transcribeDelayMs;
    if (!applyBounded(parser, QStringLiteral("transcribe-delay-ms"), 0, 600000, delay))
        return false;
    opts.transcribeDelayMs = static_cast<int>(delay);
    return true;
}

} // namespace

std::optional<ServerOptions> parseOptions(const QStringList& arguments, int& exitCode) {
    QCommandLineParser parser;
    addOptions(parser);
    exitCode = 2;
    if (!parser.parse(arguments)) {
        std::fprintf(stderr, "%s\n", qPrintable(parser.errorText()));
        return std::nullopt;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        std::fprintf(stdout, "%s", qPrintable(parser.helpText()));
        exitCode = 0;
        return std::nullopt;
    }
    ServerOptions opts;
    opts.dataDir = parser.isSet(QStringLiteral("data-dir"))
                       ? parser.value(QStringLiteral("data-dir"))
                       : defaultDataDir();
    if (parser.isSet(QStringLiteral("listen")) &&
        !opts.listen.setAddress(parser.value(QStringLiteral("listen")))) {
        std::fprintf(stderr, "invalid --listen address\n");
        return std::nullopt;
    }
    if (!applyPorts(parser, opts)) {
        std::fprintf(stderr, "invalid port number\n");
        return std::nullopt;
    }
    opts.names = splitList(parser.value(QStringLiteral("names")));
    opts.owner = parser.value(QStringLiteral("owner")).trimmed();
    opts.loopbackOwner = !parser.isSet(QStringLiteral("no-loopback-owner"));
    opts.bots = splitList(parser.value(QStringLiteral("bots")));
    opts.webSocket = !parser.isSet(QStringLiteral("no-websocket"));
    opts.discovered = splitList(parser.value(QStringLiteral("discovered")));
    if (parser.isSet(QStringLiteral("platform")))
        opts.platform = parser.value(QStringLiteral("platform"));
    opts.testHooks = parser.isSet(QStringLiteral("test-hooks"));
    if (!applyAgentOptions(parser, opts) || !applyLimits(parser, opts) ||
        !applyTranscriber(parser, opts))
        return std::nullopt;
    exitCode = 0;
    return opts;
}
