// Control ops on a session's settings and on its work: preferences,
// models, context resets, "now" and "stop".
#include "agent/AgentHost.h"
#include "agent/HostMarkers.h"
#include "agent/Turns.h"

#include <QJsonArray>
#include <QRegularExpression>

namespace {

const QString kNoSession = QStringLiteral("no such session");

const QStringList& efforts() {
    static const QStringList list{QStringLiteral("low"), QStringLiteral("medium"),
                                  QStringLiteral("high"), QStringLiteral("xhigh"),
                                  QStringLiteral("max")};
    return list;
}

struct ModelInfo {
    const char* id;
    const char* name;
};

constexpr ModelInfo kModels[] = {
    {"claude-fable-5", "Claude Fable 5"},
    {"claude-opus-4-8", "Claude Opus 4.8"},
    {"claude-sonnet-5", "Claude Sonnet 5"},
    {"claude-sonnet-4-6", "Claude Sonnet 4.6"},
    {"claude-haiku-4-5-20251001", "Claude Haiku 4.5"},
};

// Model ids the host passes on as they are: letters, digits and the few
// signs that model ids and their context suffixes use.
bool isModelId(const QString& id) {
    static const QRegularExpression shape(
        QStringLiteral("^[A-Za-z0-9][A-Za-z0-9._\\-\\[\\]]{0,99}$"));
    return id.isEmpty() || shape.match(id).hasMatch();
}

} // namespace

QJsonObject AgentHost::opGetPrefs(const ControlRequest& req, const Requester& from) {
    const SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    return QJsonObject{{QStringLiteral("ok"), true},
                       {QStringLiteral("effort"), s->effort},
                       {QStringLiteral("model"), s->model},
                       {QStringLiteral("perm"), s->perm},
                       {QStringLiteral("chrome"), s->chrome},
                       {QStringLiteral("workdir"), s->workdir},
                       {QStringLiteral("chromeUsed"), s->chromeUsed},
                       {QStringLiteral("screenshotUsed"), s->screenshotUsed}};
}

QJsonObject AgentHost::opSetPerm(const ControlRequest& req, const Requester& from) {
    SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    QString perm = control::text(req.fields, QStringLiteral("perm"));
    if (perm == QLatin1String("full")) perm = QStringLiteral("dangerous");
    if (perm != QLatin1String("ask") && perm != QLatin1String("dangerous"))
        return control::failure(QStringLiteral("unknown access level"));
    s->perm = perm;
    save();
    return control::ok();
}

QJsonObject AgentHost::opSetEffort(const ControlRequest& req, const Requester& from) {
    SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    const QString effort = control::text(req.fields, QStringLiteral("effort"));
    if (!efforts().contains(effort)) return control::failure(QStringLiteral("unknown effort"));
    s->effort = effort;
    save();
    return control::ok();
}

QJsonObject AgentHost::opSetModel(const ControlRequest& req, const Requester& from) {
    SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    const QJsonValue model = req.fields.value(QStringLiteral("model"));
    if (!model.isString() || !isModelId(model.toString()))
        return control::failure(QStringLiteral("not a model id"));
    s->model = model.toString();
    save();
    return control::ok();
}

QJsonObject AgentHost::opSetChrome(const ControlRequest& req, const Requester& from) {
    SessionState* s = target(req, from);
    if (!s) return control::failure(kNoSession);
    const auto on = control::flag(req.fields, QStringLiteral("chrome"));
    if (!on) return control::failure(QStringLiteral("chrome must be true or false"));
    s->chrome = *on;
    save();
    return control::ok();
}

QJsonObject AgentHost::opModels(const ControlRequest&, const Requester&) {
    QJsonArray models;
    for (const ModelInfo& m : kModels)
        models.append(QJsonObject{{QStringLiteral("id"), QLatin1String(m.id)},
                                  {QStringLiteral("name"), QLatin1String(m.name)}});
    return QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("models"), models}};
}

// Starts the session's context afresh; a seed is handed in with the next message.
QJsonObject AgentHost::opClear(const ControlRequest& req, const Requester& from) {
    qint64 chatId = 0;
    SessionState* s = target(req, from, &chatId);
    if (!s) return control::failure(kNoSession);
    const QString seed = control::text(req.fields, QStringLiteral("seed"));
    const QString name = control::text(req.fields, QStringLiteral("name")).trimmed();
    s->contextTokens = 0;
    s->lastTurnAt = 0;
    s->seed = seed;
    save();
    const QString note = name.isEmpty() ? QStringLiteral("Reset the context")
                                        : QStringLiteral("%1 reset the context").arg(name);
    post(chatId, marker::systemNote + note +
                     (seed.isEmpty() ? QString() : QStringLiteral(" (kept the recent messages)")));
    return control::ok();
}

QJsonObject AgentHost::opNow(const ControlRequest& req, const Requester& from) {
    qint64 chatId = 0;
    if (!target(req, from, &chatId)) return control::failure(kNoSession);
    const auto msgId = control::id(req.fields, QStringLiteral("msgId"));
    if (!msgId || !m_turns->sendNow(chatId, *msgId))
        return control::failure(QStringLiteral("that message is not waiting"));
    return control::ok();
}

QJsonObject AgentHost::opStop(const ControlRequest& req, const Requester& from) {
    qint64 chatId = 0;
    if (!target(req, from, &chatId)) return control::failure(kNoSession);
    return QJsonObject{{QStringLiteral("ok"), true},
                       {QStringLiteral("stopped"), m_turns->stop(chatId)}};
}
