#pragma once

#include "Context.h"
#include "agent/HostState.h"

#include <QObject>
#include <QSet>
#include <QTimer>
#include <map>
#include <memory>

class AgentHost;

// What one simulated turn does, step by step, and what it answers.
namespace turns {

struct Step {
    QString line; // the progress line the working message shows
    std::optional<BuildState> build;
};

struct Plan {
    QList<Step> steps;
    bool deploy = false;
    bool chrome = false;
    bool screenshot = false;
    QString answer; // the reply's body, without markers
};

// The message's text without a priority prefix.
QString bodyOf(const QString& text);
// Reads the request in `text` for the session; the same text makes the same plan.
Plan plan(const QString& text, const SessionState& s);
// The marker lines that report how the session runs: model, effort, account.
QString reportLines(const AgentHost& host, const SessionState& s);
QString greeting(const AgentHost& host, const SessionState& s);
// The seen mark of the working message: the highest id such that every user
// message up to it is done or in work. It never goes down.
qint64 advanceSeenMark(SessionState& s);

} // namespace turns

// Runs the sessions' turns, one at a time per session, at the configured pace:
// a working message that names the message in work and is edited as the work
// goes on, then a reply with marker lines, then the next waiting message.
class TurnRunner : public QObject {
    Q_OBJECT
public:
    TurnRunner(AgentHost& host, int paceMs);
    ~TurnRunner() override;

    // A new user message of a session; a priority message goes to the front.
    void enqueue(const MessageRow& m);
    // Picks up work left over from the last run.
    void resume();
    // Ends the turn in progress; false when there was none.
    bool stop(qint64 chatId);
    // Moves a waiting message to the front of the queue.
    bool sendNow(qint64 chatId, qint64 messageId);
    // Cycles build and deploy statuses in a session until it goes away.
    void startBuildLoop(qint64 chatId);
    bool running(qint64 chatId) const { return m_turns.count(chatId) > 0; }

private:
    // Timers go with deleteLater(): a turn often ends inside its own timer's signal.
    struct Turn {
        qint64 messageId = 0;
        turns::Plan plan;
        int step = 0;
        std::optional<BuildState> lastBuild;
        QTimer* timer = nullptr;
    };
    struct Loop {
        int step = 0;
        QTimer* timer = nullptr;
    };
    struct Tokens {
        qint64 ctx = 0, warm = 0, fresh = 0, create = 0;
    };

    int pace(const SessionState& s) const { return m_pace * s.paceFactor; }
    void schedule(qint64 chatId);
    void begin(qint64 chatId);
    void advance(qint64 chatId);
    void finish(qint64 chatId, bool stopped);
    void loopStep(qint64 chatId);
    void forget(qint64 chatId);
    QString workingText(const Turn& turn, SessionState& s) const;
    QString replyText(const Turn& turn, SessionState& s, const Tokens& tokens, bool stopped);
    // Grows the session's context and its account's usage by one turn.
    Tokens account(const Turn& turn, SessionState& s);
    // Runs timer work; a storage failure is logged, never thrown into Qt.
    template <typename F>
    void guarded(F&& work);

    AgentHost& m_host;
    int m_pace;
    std::map<qint64, std::unique_ptr<Turn>> m_turns;
    std::map<qint64, std::unique_ptr<Loop>> m_loops;
    QSet<qint64> m_scheduled;
};
