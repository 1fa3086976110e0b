#include "agent/HostState.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <cstdio>
#include <stdexcept>

namespace {

QJsonArray idArray(const QList<qint64>& ids) {
    QJsonArray out;
    for (qint64 id : ids)
        out.append(id);
    return out;
}

QList<qint64> idList(const QJsonValue& v) {
    QList<qint64> out;
    for (const QJsonValue& item : v.toArray())
        if (item.toInteger() > 0) out.push_back(item.toInteger());
    return out;
}

QJsonObject windowJson(const UsageWindow& w) {
    return QJsonObject{{QStringLiteral("used"), w.used}, {QStringLiteral("resetsAt"), w.resetsAt}};
}

UsageWindow windowFrom(const QJsonValue& v) {
    const QJsonObject o = v.toObject();
    return UsageWindow{o.value(QStringLiteral("used")).toDouble(),
                       o.value(QStringLiteral("resetsAt")).toInteger()};
}

QJsonObject accountJson(const HostAccount& a) {
    return QJsonObject{{QStringLiteral("email"), a.email},
                       {QStringLiteral("secret"), a.secret},
                       {QStringLiteral("fiveHour"), windowJson(a.fiveHour)},
                       {QStringLiteral("sevenDay"), windowJson(a.sevenDay)}};
}

HostAccount accountFrom(const QJsonValue& v) {
    const QJsonObject o = v.toObject();
    return HostAccount{o.value(QStringLiteral("email")).toString(),
                       o.value(QStringLiteral("secret")).toString(),
                       windowFrom(o.value(QStringLiteral("fiveHour"))),
                       windowFrom(o.value(QStringLiteral("sevenDay")))};
}

QJsonObject sessionJson(const SessionState& s) {
    return QJsonObject{
        {QStringLiteral("workdir"), s.workdir},
        {QStringLiteral("perm"), s.perm},
        {QStringLiteral("effort"), s.effort},
        {QStringLiteral("model"), s.model},
        {QStringLiteral("chrome"), s.chrome},
        {QStringLiteral("chromeUsed"), s.chromeUsed},
        {QStringLiteral("screenshotUsed"), s.screenshotUsed},
        {QStringLiteral("account"), s.account},
        {QStringLiteral("contextTokens"), s.contextTokens},
        {QStringLiteral("lastTurnAt"), s.lastTurnAt},
        {QStringLiteral("seed"), s.seed},
        {QStringLiteral("queue"), idArray(s.queue)},
        {QStringLiteral("current"), s.current},
        {QStringLiteral("workingMsgId"), s.workingMsgId},
        {QStringLiteral("runStart"), s.runStart},
        {QStringLiteral("seenMark"), s.seenMark},
        {QStringLiteral("paceFactor"), s.paceFactor},
        {QStringLiteral("buildLoop"), s.buildLoop},
    };
}

QString text(const QJsonObject& o, const char* key, const QString& fallback) {
    const QJsonValue v = o.value(QLatin1String(key));
    return v.isString() ? v.toString() : fallback;
}

SessionState sessionFrom(const QJsonObject& o) {
    SessionState s;
    s.workdir = text(o, "workdir", s.workdir);
    s.perm = text(o, "perm", s.perm);
    s.effort = text(o, "effort", s.effort);
    s.model = text(o, "model", s.model);
    s.chrome = o.value(QStringLiteral("chrome")).toBool();
    s.chromeUsed = o.value(QStringLiteral("chromeUsed")).toBool();
    s.screenshotUsed = o.value(QStringLiteral("screenshotUsed")).toBool();
    s.account = text(o, "account", {});
    s.contextTokens = o.value(QStringLiteral("contextTokens")).toInteger();
    s.lastTurnAt = o.value(QStringLiteral("lastTurnAt")).toInteger();
    s.seed = text(o, "seed", {});
    s.queue = idList(o.value(QStringLiteral("queue")));
    s.current = o.value(QStringLiteral("current")).toInteger();
    s.workingMsgId = o.value(QStringLiteral("workingMsgId")).toInteger();
    s.runStart = o.value(QStringLiteral("runStart")).toInteger();
    s.seenMark = o.value(QStringLiteral("seenMark")).toInteger();
    s.paceFactor = std::max(1, o.value(QStringLiteral("paceFactor")).toInt(1));
    s.buildLoop = o.value(QStringLiteral("buildLoop")).toBool();
    return s;
}

QString isoTime(qint64 ms) {
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC).toString(Qt::ISODateWithMs);
}

} // namespace

void UsageWindow::roll(qint64 now, qint64 length) {
    if (resetsAt > now) return;
    resetsAt = resetsAt <= 0 ? now + length : resetsAt + ((now - resetsAt) / length + 1) * length;
    used = 0;
}

QJsonObject UsageWindow::toJson() const {
    return QJsonObject{{QStringLiteral("utilization"), std::round(used * 10) / 10},
                       {QStringLiteral("resets_at"), isoTime(resetsAt)}};
}

QJsonObject HostAccount::usageJson(qint64 now) {
    fiveHour.roll(now, kFiveHoursMs);
    sevenDay.roll(now, kSevenDaysMs);
    return QJsonObject{{QStringLiteral("fiveHour"), fiveHour.toJson()},
                       {QStringLiteral("sevenDay"), sevenDay.toJson()},
                       {QStringLiteral("email"), email}};
}

HostAccount* HostState::account(const QString& email) {
    if (email.isEmpty() || email.compare(main.email, Qt::CaseInsensitive) == 0) return &main;
    for (HostAccount& a : named)
        if (a.email.compare(email, Qt::CaseInsensitive) == 0) return &a;
    return nullptr;
}

QJsonObject HostState::toJson() const {
    QJsonArray namedJson;
    for (const HostAccount& a : named)
        namedJson.append(accountJson(a));
    QJsonObject sessionsJson;
    for (auto it = sessions.begin(); it != sessions.end(); ++it)
        sessionsJson.insert(QString::number(it.key()), sessionJson(it.value()));
    return QJsonObject{
        {QStringLiteral("main"), accountJson(main)},
        {QStringLiteral("loggedIn"), loggedIn},
        {QStringLiteral("plan"), plan},
        {QStringLiteral("org"), org},
        {QStringLiteral("named"), namedJson},
        {QStringLiteral("sessions"), sessionsJson},
        {QStringLiteral("seeded"), seeded},
    };
}

HostState HostState::fromJson(const QJsonObject& obj) {
    HostState s;
    if (obj.contains(QStringLiteral("main")))
        s.main = accountFrom(obj.value(QStringLiteral("main")));
    s.loggedIn = obj.value(QStringLiteral("loggedIn")).toBool(true);
    s.plan = text(obj, "plan", s.plan);
    s.org = text(obj, "org", s.org);
    for (const QJsonValue& a : obj.value(QStringLiteral("named")).toArray())
        if (HostAccount account = accountFrom(a); !account.email.isEmpty())
            s.named.push_back(account);
    const QJsonObject sessions = obj.value(QStringLiteral("sessions")).toObject();
    for (auto it = sessions.begin(); it != sessions.end(); ++it)
        if (const qint64 id = it.key().toLongLong(); id > 0)
            s.sessions.insert(id, sessionFrom(it.value().toObject()));
    s.seeded = obj.value(QStringLiteral("seeded")).toBool();
    return s;
}

HostState HostStateFile::load() const {
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly)) return {};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll());
    if (!doc.isObject()) {
        std::fprintf(stderr, "velmarin-server: %s is unreadable, the agent host starts afresh\n",
                     qPrintable(m_path));
        return {};
    }
    return HostState::fromJson(doc.object());
}

void HostStateFile::save(const HostState& state) const {
    QSaveFile file(m_path);
    const QByteArray bytes = QJsonDocument(state.toJson()).toJson(QJsonDocument::Compact);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw std::runtime_error("cannot write " + m_path.toStdString());
}
