#include "agent/Turns.h"

#include "agent/AgentHost.h"
#include "agent/HostMarkers.h"

#include <QJsonDocument>
#include <QUrl>
#include <cstdio>

namespace {

// A warm prompt cache lasts five minutes after a turn.
constexpr qint64 kCacheLifetimeMs = 5 * 60 * 1000;
// What a fresh context holds before the first message: system prompt and tools.
constexpr qint64 kBaseContext = 18000;
constexpr int kShownLines = 3;
constexpr int kLoopPaceFactor = 3;

QString projectOf(const SessionState& s) {
    const QString name = s.workdir.section(u'/', -1, -1, QString::SectionSkipEmpty);
    return name.isEmpty() ? QStringLiteral("project") : name;
}

// One round of the demo's build loop: queued, compiling, deploying, done, a pause.
QList<std::optional<BuildState>> loopCycle(const QString& name) {
    QList<std::optional<BuildState>> cycle{
        BuildState{QStringLiteral("queued"), std::nullopt, name}};
    for (qint64 percent : {0, 20, 40, 60, 80, 100})
        cycle.push_back(BuildState{QStringLiteral("building"), percent, name});
    for (qint64 percent : {0, 40, 80, 100})
        cycle.push_back(BuildState{QStringLiteral("deploying"), percent,
                                   QStringLiteral("%1 to staging").arg(name)});
    cycle.push_back(BuildState{QStringLiteral("done"), std::nullopt, QString()});
    for (int i = 0; i < 4; ++i)
        cycle.push_back(std::nullopt);
    return cycle;
}

void dispose(QTimer* timer) {
    if (!timer) return;
    timer->stop();
    timer->deleteLater();
}

} // namespace

TurnRunner::TurnRunner(AgentHost& host, int paceMs) : m_host(host), m_pace(paceMs) {}

TurnRunner::~TurnRunner() = default;

template <typename F>
void TurnRunner::guarded(F&& work) {
    try {
        work();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "velmarin-server: agent turn failed: %s\n", e.what());
    }
}

void TurnRunner::enqueue(const MessageRow& m) {
    SessionState& s = m_host.session(m.chatId);
    if (s.current == m.id || s.queue.contains(m.id)) return;
    const bool priority =
        m.text.startsWith(marker::priority) || m.text.startsWith(marker::priorityBare);
    if (priority)
        s.queue.prepend(m.id);
    else
        s.queue.append(m.id);
    m_host.save();
    schedule(m.chatId);
}

void TurnRunner::schedule(qint64 chatId) {
    if (running(chatId) || m_scheduled.contains(chatId)) return;
    m_scheduled.insert(chatId);
    // The gap before a turn keeps the plain pace even in a slowed session.
    QTimer::singleShot(m_pace, this, [this, chatId] {
        m_scheduled.remove(chatId);
        guarded([&] { begin(chatId); });
    });
}

void TurnRunner::begin(qint64 chatId) {
    if (running(chatId)) return;
    if (!m_host.isSession(chatId)) return forget(chatId);
    Storage& db = m_host.context().db;
    SessionState& s = m_host.session(chatId);
    std::optional<MessageRow> next;
    while (!next && !s.queue.isEmpty())
        next = db.message(s.queue.takeFirst());
    if (!next) {
        s.current = 0;
        s.runStart = 0;
        return m_host.save();
    }
    s.current = next->id;
    if (s.runStart == 0) s.runStart = next->id;
    if (!m_host.state().loggedIn) {
        m_host.post(chatId,
                    QStringLiteral("⚠️ No Claude account is signed in on this host. Sign "
                                   "in from the account settings, then send your message "
                                   "again.\n\n") +
                        marker::line(marker::forId, QString::number(next->id)) + u'\n' +
                        marker::line(marker::done, QString::number(next->id)));
        s.current = 0;
        m_host.save();
        return schedule(chatId);
    }
    auto turn = std::make_unique<Turn>();
    turn->messageId = next->id;
    turn->plan = turns::plan(next->text, s);
    s.chromeUsed = s.chromeUsed || turn->plan.chrome;
    s.screenshotUsed = s.screenshotUsed || turn->plan.screenshot;
    s.workingMsgId = m_host.post(chatId, workingText(*turn, s)).id;
    m_host.save();
    turn->timer = new QTimer(this);
    connect(turn->timer, &QTimer::timeout, this,
            [this, chatId] { guarded([&] { advance(chatId); }); });
    turn->timer->start(pace(s));
    m_turns[chatId] = std::move(turn);
}

void TurnRunner::advance(qint64 chatId) {
    const auto it = m_turns.find(chatId);
    if (it == m_turns.end()) return;
    if (!m_host.isSession(chatId)) return forget(chatId);
    Turn& turn = *it->second;
    if (++turn.step >= turn.plan.steps.size()) return finish(chatId, false);
    const turns::Step& step = turn.plan.steps[turn.step];
    if (step.build) {
        m_host.reportBuild(chatId, *step.build);
        turn.lastBuild = step.build;
    }
    SessionState& s = m_host.session(chatId);
    // A working message that someone deleted is written anew.
    if (s.workingMsgId > 0 && m_host.context().db.message(s.workingMsgId))
        m_host.edit(s.workingMsgId, workingText(turn, s));
    else
        s.workingMsgId = m_host.post(chatId, workingText(turn, s)).id;
}

void TurnRunner::finish(qint64 chatId, bool stopped) {
    auto node = m_turns.extract(chatId);
    if (node.empty()) return;
    const std::unique_ptr<Turn> turn = std::move(node.mapped());
    dispose(turn->timer);
    if (!m_host.isSession(chatId)) return forget(chatId);
    SessionState& s = m_host.session(chatId);
    // A build cut short must not stay on screen.
    if (turn->lastBuild && turn->lastBuild->state != QLatin1String("done"))
        m_host.reportBuild(chatId, BuildState{QStringLiteral("idle"), std::nullopt, QString()});
    const Tokens tokens = account(*turn, s);
    m_host.post(chatId, replyText(*turn, s, tokens, stopped));
    if (s.workingMsgId > 0 && m_host.context().db.message(s.workingMsgId))
        m_host.remove(chatId, s.workingMsgId);
    s.workingMsgId = 0;
    s.current = 0;
    if (s.queue.isEmpty()) s.runStart = 0;
    m_host.save();
    if (!s.queue.isEmpty()) schedule(chatId);
}

QString TurnRunner::workingText(const Turn& turn, SessionState& s) const {
    QStringList lines{marker::workingHead};
    for (int i = std::max(0, turn.step - kShownLines + 1); i <= turn.step; ++i)
        lines << turn.plan.steps[i].line;
    lines << marker::line(marker::msg, QString::number(turn.messageId))
          << marker::line(marker::start, QString::number(s.runStart))
          << marker::line(marker::seen, QString::number(turns::advanceSeenMark(s)))
          << marker::line(marker::chrome,
                          turn.plan.chrome ? QStringLiteral("1") : QStringLiteral("0"))
          << marker::line(marker::shot,
                          turn.plan.screenshot ? QStringLiteral("1") : QStringLiteral("0"));
    return lines.join(u'\n');
}

QString TurnRunner::replyText(const Turn& turn, SessionState& s, const Tokens& tokens,
                              bool stopped) {
    QString body =
        stopped ? QStringLiteral("⏹ Stopped — I left things as they were.") : turn.plan.answer;
    if (!stopped && !s.seed.isEmpty()) {
        body = QStringLiteral("I read the summary of our earlier conversation.\n\n") + body;
        s.seed.clear();
    }
    const QString id = QString::number(turn.messageId);
    QStringList lines{body, QString()};
    lines << marker::line(marker::forId, id)
          << marker::line(marker::tokens, QStringLiteral("%1,%2,%3,%4")
                                              .arg(tokens.ctx)
                                              .arg(tokens.warm)
                                              .arg(tokens.fresh)
                                              .arg(tokens.create))
          << turns::reportLines(m_host, s) << marker::line(marker::done, id);
    if (!stopped && turn.plan.deploy) {
        const QString url = m_host.publicBase() + QStringLiteral("/api/claude/preview?p=") +
                            QString::fromLatin1(QUrl::toPercentEncoding(projectOf(s)));
        const QJsonObject target{{QStringLiteral("url"), url},
                                 {QStringLiteral("kind"), QStringLiteral("web")},
                                 {QStringLiteral("label"), QStringLiteral("Staging")}};
        lines << marker::deploy +
                     QString::fromUtf8(QJsonDocument(target).toJson(QJsonDocument::Compact));
    }
    return lines.join(u'\n');
}

TurnRunner::Tokens TurnRunner::account(const Turn& turn, SessionState& s) {
    const qint64 now = Storage::now();
    const qint64 before = s.contextTokens > 0 ? s.contextTokens : kBaseContext;
    const bool warm = s.lastTurnAt > 0 && now - s.lastTurnAt < kCacheLifetimeMs;
    Tokens t;
    t.fresh = 600 + std::min<qint64>(turn.plan.answer.size(), 4000) * 3;
    t.ctx = before + t.fresh + 350 * turn.plan.steps.size();
    t.warm = warm ? before : 0;
    t.create = t.ctx - t.warm - t.fresh;
    s.contextTokens = t.ctx;
    s.lastTurnAt = now;
    HostState& state = m_host.state();
    HostAccount* account = state.account(s.account);
    if (!account) account = &state.main;
    account->fiveHour.roll(now, kFiveHoursMs);
    account->sevenDay.roll(now, kSevenDaysMs);
    account->fiveHour.used =
        std::min(100.0, account->fiveHour.used + 0.3 + 0.05 * turn.plan.steps.size());
    account->sevenDay.used =
        std::min(100.0, account->sevenDay.used + 0.04 + 0.01 * turn.plan.steps.size());
    return t;
}

bool TurnRunner::stop(qint64 chatId) {
    if (!running(chatId)) return false;
    finish(chatId, true);
    return true;
}

bool TurnRunner::sendNow(qint64 chatId, qint64 messageId) {
    SessionState& s = m_host.session(chatId);
    if (!s.queue.removeOne(messageId)) return false;
    s.queue.prepend(messageId);
    m_host.save();
    return true;
}

void TurnRunner::resume() {
    HostState& state = m_host.state();
    for (const qint64 chatId : state.sessions.keys()) {
        if (!m_host.isSession(chatId)) {
            state.sessions.remove(chatId);
            continue;
        }
        SessionState& s = state.sessions[chatId];
        // The working message of a run the last process did not finish.
        if (s.workingMsgId > 0 && m_host.context().db.message(s.workingMsgId))
            m_host.remove(chatId, s.workingMsgId);
        s.workingMsgId = 0;
        if (s.current > 0) s.queue.prepend(s.current);
        s.current = 0;
        if (s.buildLoop) startBuildLoop(chatId);
        if (!s.queue.isEmpty()) schedule(chatId);
    }
    m_host.save();
}

void TurnRunner::startBuildLoop(qint64 chatId) {
    if (m_loops.count(chatId)) return;
    auto loop = std::make_unique<Loop>();
    loop->timer = new QTimer(this);
    connect(loop->timer, &QTimer::timeout, this,
            [this, chatId] { guarded([&] { loopStep(chatId); }); });
    loop->timer->start(pace(m_host.session(chatId)) * kLoopPaceFactor);
    m_loops[chatId] = std::move(loop);
}

void TurnRunner::loopStep(qint64 chatId) {
    const auto it = m_loops.find(chatId);
    if (it == m_loops.end()) return;
    if (!m_host.isSession(chatId)) return forget(chatId);
    const auto cycle = loopCycle(projectOf(m_host.session(chatId)));
    Loop& loop = *it->second;
    loop.step = (loop.step + 1) % int(cycle.size());
    if (const auto& build = cycle[loop.step]) m_host.reportBuild(chatId, *build);
}

void TurnRunner::forget(qint64 chatId) {
    if (const auto it = m_turns.find(chatId); it != m_turns.end()) {
        dispose(it->second->timer);
        m_turns.erase(it);
    }
    if (const auto it = m_loops.find(chatId); it != m_loops.end()) {
        dispose(it->second->timer);
        m_loops.erase(it);
    }
    m_host.context().builds.remove(chatId);
    m_host.state().sessions.remove(chatId);
    m_host.save();
}
