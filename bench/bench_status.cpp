// The status of every bubble in a 5,000-message session conversation, each
// time after the history changed, against one pass over the same array.
// Target: within 3x of the pass (linear, not quadratic). Two passes serve as
// the baseline: the lightest walk of the rules, and the visibility test that
// every timeline evaluation makes. Also the throughput
// of marker capture against reading the same markers without a store.
#include "AgentSessionFixture.h"
#include "BenchRatio.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace {

using fixture::agent;
using fixture::chatId;
using fixture::count;
using fixture::me;
using fixture::message;

// A long session: questions, answers with their markers, hidden control
// traffic, and the last run's working message. `withWorking` false leaves
// the rules to the array walk alone (no message in work is named).
QList<Message> history(bool withWorking) {
    QList<Message> list;
    for (qint64 id = 1; list.size() < count; ++id) {
        switch (id % 5) {
        case 0:
            list.push_back(message(id, agent,
                                   QString("Done, the tests pass.\nCCFOR=%1\nCCTOK=120000,90000,"
                                           "20000,1000\nCCDONE=%1")
                                       .arg(id - 1)));
            break;
        case 3:
            list.push_back(message(id, me,
                                   "\x02"
                                   "CCCTL{\"id\":\"x\",\"op\":\"getprefs\",\"kind\":\"q\"}"));
            break;
        default:
            list.push_back(message(id, me, QString("Please look at item %1").arg(id)));
            break;
        }
    }
    if (withWorking) {
        const qint64 last = list.last().id;
        list.push_back(message(last + 1, agent,
                               QString("💭 Claude is working…\nReading files\nCCMSG=%1\nCCSEEN=%2")
                                   .arg(last - 40)
                                   .arg(last - 40)));
    }
    return list;
}

struct Session : fixture::AgentSession {
    explicit Session(bool withWorking) : AgentSession(history(withWorking)) {}
};

// The lightest pass: what the array walk of the status rules reads, with
// the sender test first.
void OnePass(benchmark::State& state) {
    Session s(state.range(0));
    const QList<Message>& list = *s.store->messages().constFind(chatId);
    for (auto _ : state) {
        qint64 lastReply = 0;
        for (const Message& m : list)
            if (m.senderId != me && !m.isCCControl() && !m.isCCWorking()) lastReply = m.id;
        benchmark::DoNotOptimize(lastReply);
    }
    state.SetItemsProcessed(state.iterations() * list.size());
}

// The pass every timeline evaluation makes: sender and kind of each message.
void VisiblePass(benchmark::State& state) {
    Session s(state.range(0));
    const QList<Message>& list = *s.store->messages().constFind(chatId);
    for (auto _ : state) {
        qint64 shown = 0;
        for (const Message& m : list)
            shown += !m.isCCControl() && !m.isCCWorking() && m.senderId != agent;
        benchmark::DoNotOptimize(shown);
    }
    state.SetItemsProcessed(state.iterations() * list.size());
}

void StatusForEveryBubble(benchmark::State& state) {
    Session s(state.range(0));
    const QList<Message> list = s.store->messages().value(chatId);
    for (auto _ : state) {
        // The history changed, as it does with every message that arrives.
        emit s.store->timelineChanged(chatId, {TimelineChange::replaced, 0, 1});
        int pending = 0;
        for (const Message& m : list)
            pending += s.store->ccStatus(m) == CCMessageStatus::pending;
        benchmark::DoNotOptimize(pending);
    }
    state.SetItemsProcessed(state.iterations() * list.size());
}

void ReadMarkers(benchmark::State& state) {
    const QList<Message> list = history(true);
    for (auto _ : state) {
        qint64 sum = 0;
        for (const Message& m : list) {
            sum += m.ccSeenMsgId().value_or(0) + m.ccWorkingMsgId().value_or(0);
            sum += m.ccContextTokens() ? 1 : 0;
            sum += m.ccDoneIds().size();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * list.size());
}

void CaptureMarkers(benchmark::State& state) {
    Session s(true);
    const QList<Message> list = s.store->messages().value(chatId);
    for (const Message& m : list)
        s.store->captureCCMarkers(m); // first sight saves; replays do not
    for (auto _ : state)
        for (const Message& m : list)
            s.store->captureCCMarkers(m);
    state.SetItemsProcessed(state.iterations() * list.size());
}

BENCHMARK(OnePass)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(VisiblePass)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(StatusForEveryBubble)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(ReadMarkers)->Unit(benchmark::kMicrosecond);
BENCHMARK(CaptureMarkers)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runWithRatios(argc, argv,
                         {{"StatusForEveryBubble/1", "OnePass/1"},
                          {"StatusForEveryBubble/0", "OnePass/0"},
                          {"StatusForEveryBubble/1", "VisiblePass/1"},
                          {"StatusForEveryBubble/0", "VisiblePass/0"},
                          {"CaptureMarkers", "ReadMarkers"}});
}
