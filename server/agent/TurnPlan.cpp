// The content of a simulated turn: progress lines, build steps and answer.
#include "agent/AgentHost.h"
#include "agent/HostMarkers.h"
#include "agent/Turns.h"

namespace turns {
namespace {

constexpr int kExcerptLength = 80;
// A slowed session runs a long test suite too, to stay at work for minutes.
constexpr int kLongSuite = 40;

QString projectOf(const SessionState& s) {
    const QString name = s.workdir.section(u'/', -1, -1, QString::SectionSkipEmpty);
    return name.isEmpty() ? QStringLiteral("the project") : name;
}

bool mentions(const QString& lower, std::initializer_list<const char*> words) {
    for (const char* w : words)
        if (lower.contains(QLatin1String(w))) return true;
    return false;
}

QString excerpt(const QString& body) {
    QString first = body.section(u'\n', 0, 0).trimmed();
    if (first.size() > kExcerptLength) first = first.left(kExcerptLength - 1) + u'…';
    return first;
}

void addBuildSteps(Plan& p, const QString& name, bool deploy) {
    // A build's label names what is built; the client says what happens to it.
    for (qint64 percent : {0, 35, 70, 100})
        p.steps.push_back(Step{QStringLiteral("Building %1 — %2%").arg(name).arg(percent),
                               BuildState{QStringLiteral("building"), percent, name}});
    if (deploy) {
        const QString label = QStringLiteral("%1 to staging").arg(name);
        for (qint64 percent : {20, 60, 100})
            p.steps.push_back(Step{QStringLiteral("Deploying to staging — %1%").arg(percent),
                                   BuildState{QStringLiteral("deploying"), percent, label}});
    }
    p.steps.push_back(
        Step{deploy ? QStringLiteral("Deployed to staging") : QStringLiteral("Build finished"),
             BuildState{QStringLiteral("done"), std::nullopt, QString()}});
}

QString headline(const QString& body, const QString& lower, const SessionState& s, const Plan& p) {
    const QString name = projectOf(s);
    if (p.deploy) return QStringLiteral("Built **%1** and deployed it to staging.").arg(name);
    if (mentions(lower, {"build"}))
        return QStringLiteral("Built **%1**: no warnings, and all tests pass.").arg(name);
    if (mentions(lower, {"test"}))
        return QStringLiteral("Ran the test suite of **%1**: 128 passed, 0 failed.").arg(name);
    if (body.trimmed().endsWith(u'?'))
        return QStringLiteral("Here is what I found in `%1`.").arg(s.workdir);
    return QStringLiteral("Done — the change is in `%1`.").arg(s.workdir);
}

} // namespace

QString bodyOf(const QString& text) {
    if (text.startsWith(marker::priority)) return text.mid(marker::priority.size());
    if (text.startsWith(marker::priorityBare)) return text.mid(marker::priorityBare.size());
    return text;
}

Plan plan(const QString& text, const SessionState& s) {
    const QString body = bodyOf(text).trimmed();
    const QString lower = body.toLower();
    const QString name = projectOf(s);
    Plan p;
    p.deploy = mentions(lower, {"deploy", "ship it"});
    p.chrome = s.chrome && mentions(lower, {"chrome", "browser", "page", "site"});
    p.screenshot = mentions(lower, {"screenshot", "screen capture"});
    p.steps.push_back(Step{QStringLiteral("Reading your message"), std::nullopt});
    p.steps.push_back(Step{QStringLiteral("Looking through %1").arg(s.workdir), std::nullopt});
    if (p.chrome)
        p.steps.push_back(Step{QStringLiteral("Opening the page in Chrome"), std::nullopt});
    if (p.screenshot) p.steps.push_back(Step{QStringLiteral("Taking a screenshot"), std::nullopt});
    p.steps.push_back(Step{QStringLiteral("Editing files"), std::nullopt});
    if (p.deploy || mentions(lower, {"build"})) addBuildSteps(p, name, p.deploy);
    p.steps.push_back(Step{QStringLiteral("Running the tests"), std::nullopt});
    if (s.paceFactor > 1)
        for (int i = 1; i <= kLongSuite; ++i)
            p.steps.push_back(
                Step{QStringLiteral("Running the UI tests — %1/%2").arg(i).arg(kLongSuite),
                     std::nullopt});
    p.steps.push_back(Step{QStringLiteral("Writing the answer"), std::nullopt});
    QStringList answer{headline(body, lower, s, p), QString()};
    answer
        << QStringLiteral("- Read `CLAUDE.md` and the files that “%1” touches").arg(excerpt(body));
    if (p.chrome) answer << QStringLiteral("- Checked the result in Chrome");
    answer << QStringLiteral("- Ran the tests: all green");
    p.answer = answer.join(u'\n');
    return p;
}

QString reportLines(const AgentHost& host, const SessionState& s) {
    return QStringList{marker::line(marker::model, host.modelOf(s)),
                       marker::line(marker::effort, s.effort),
                       marker::line(marker::account, host.accountOf(s))}
        .join(u'\n');
}

QString greeting(const AgentHost& host, const SessionState& s) {
    return QStringLiteral("Ready in `%1`. What should we work on?\n\n").arg(s.workdir) +
           reportLines(host, s);
}

qint64 advanceSeenMark(SessionState& s) {
    qint64 seen = s.current;
    for (qint64 waiting : std::as_const(s.queue))
        seen = std::min(seen, waiting - 1);
    s.seenMark = std::max(seen, s.seenMark);
    return s.seenMark;
}

} // namespace turns
