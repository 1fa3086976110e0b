// Control ops over the host's files: folder browsing, file reads and
// downloads, and the project files a session's settings edit.
#include "Crypto.h"
#include "agent/AgentHost.h"
#include "agent/Turns.h"

#include <QFileInfo>
#include <QJsonArray>

namespace {

constexpr qint64 kOfferLifetimeMs = 10 * 60 * 1000;
constexpr qsizetype kMaxOffers = 200;
constexpr qint64 kMaxDownload = 64LL * 1024 * 1024;
const QString kClaudeMd = QStringLiteral("CLAUDE.md");

bool isEnvName(const QString& name) {
    return name.startsWith(QLatin1String(".env")) && Sandbox::isPlainName(name);
}

QString permission(const QString& raw) {
    if (raw == QLatin1String("dangerous") || raw == QLatin1String("full"))
        return QStringLiteral("dangerous");
    return QStringLiteral("ask");
}

QJsonObject written(const QString& err) {
    return err.isEmpty() ? control::ok() : control::failure(err);
}

const QString kNoSession = QStringLiteral("no such session");

} // namespace

QJsonObject AgentHost::opLs(const ControlRequest& req, const Requester&) {
    return m_sandbox.listFolders(req.path);
}

QJsonObject AgentHost::opLsDir(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    return m_sandbox.listEntries(req.path, s ? s->workdir : QString());
}

QJsonObject AgentHost::opOpenSettings(const ControlRequest&, const Requester&) {
    // A Linux host has no privacy settings to open.
    return control::ok();
}

QJsonObject AgentHost::opReadFile(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    return m_sandbox.readChunk(req.path, control::offset(req.fields), s ? s->workdir : QString());
}

QJsonObject AgentHost::opReadClaudeMd(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    return m_sandbox.readChunk(Sandbox::join(s->workdir, kClaudeMd), control::offset(req.fields));
}

QJsonObject AgentHost::opWriteClaudeMd(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    return written(m_sandbox.writeText(
        Sandbox::join(s->workdir, kClaudeMd), control::text(req.fields, QStringLiteral("content")),
        control::flag(req.fields, QStringLiteral("append")).value_or(false)));
}

QJsonObject AgentHost::opListEnvFiles(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    return QJsonObject{
        {QStringLiteral("files"), QJsonArray::fromStringList(m_sandbox.envFiles(s->workdir))}};
}

QJsonObject AgentHost::opReadEnvFile(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    const QString name = control::text(req.fields, QStringLiteral("name"));
    if (!isEnvName(name)) return control::failure(QStringLiteral("not an env file name"));
    return m_sandbox.readChunk(Sandbox::join(s->workdir, name), control::offset(req.fields));
}

QJsonObject AgentHost::opWriteEnvFile(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    const QString name = control::text(req.fields, QStringLiteral("name"));
    if (!isEnvName(name)) return control::failure(QStringLiteral("not an env file name"));
    return written(m_sandbox.writeText(
        Sandbox::join(s->workdir, name), control::text(req.fields, QStringLiteral("content")),
        control::flag(req.fields, QStringLiteral("append")).value_or(false)));
}

QJsonObject AgentHost::opGetFile(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    const auto disk = m_sandbox.resolve(req.path, s ? s->workdir : QString());
    if (!disk || !QFileInfo(*disk).isFile()) return control::failure(QStringLiteral("not a file"));
    if (QFileInfo(*disk).size() > kMaxDownload)
        return control::failure(QStringLiteral("the file is too large to fetch"));
    const qint64 now = Storage::now();
    m_offers.removeIf([now](const auto& it) { return it.value().expires < now; });
    if (m_offers.size() >= kMaxOffers) m_offers.clear();
    const QString token = crypto::randomToken(24);
    m_offers.insert(token, Offer{*disk, now + kOfferLifetimeMs});
    return QJsonObject{{QStringLiteral("url"), QStringLiteral("/api/claude/file?t=") + token}};
}

QJsonObject AgentHost::opMkdir(const ControlRequest& req, const Requester&) {
    const auto [path, err] =
        m_sandbox.makeFolder(req.path, control::text(req.fields, QStringLiteral("name")));
    if (!err.isEmpty()) return control::failure(err);
    return QJsonObject{{QStringLiteral("path"), path}};
}

QJsonObject AgentHost::opNew(const ControlRequest& req, const Requester& from) {
    const auto outside = Sandbox::normalise(req.path);
    const auto disk = m_sandbox.resolve(req.path);
    if (!outside || !disk || !QFileInfo(*disk).isDir())
        return control::failure(QStringLiteral("not a folder"));
    bool created = false;
    const qint64 chatId =
        openSession(from.userId, *outside,
                    permission(control::text(req.fields, QStringLiteral("perm"))), &created);
    if (created) post(chatId, turns::greeting(*this, session(chatId)));
    return QJsonObject{{QStringLiteral("chatId"), chatId}};
}
