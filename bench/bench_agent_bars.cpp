// What one frame of scrolling costs in a 5,000-message agent session: the
// badges of the ~30 rows in view, read through the timeline's agentBadge role
// the bubbles bind to. Cases: the history unchanged since the last frame (the
// badges come from the per-state cache); the history changed just before the
// frame (a working message edited in place), where the timeline compares the
// badges of the rows in view and the view re-reads only those it signals, and
// the bars over the composer are read again; the same once the view has been
// through the whole history (the timeline forgets what it handed out past a
// bound, so this settles at the first case); and a working message that moves
// on, which turns two badges. Baseline: one pass over the
// history testing each message's kind, the least any re-evaluation does.
// Target: a changed frame within 3x of that pass, an unchanged one far below.
#include "AgentSessionFixture.h"
#include "BenchRatio.h"
#include "support/StoreSeam.h"
#include "ui/AgentBarsModel.h"
#include "ui/TimelineModel.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace {

using fixture::agent;
using fixture::chatId;
using fixture::count;
using fixture::me;
using fixture::message;
constexpr int rowsInView = 30;

QString workingOn(qint64 id) {
    return QString("💭 Claude is working…\nReading files\nCCMSG=%1\nCCSEEN=%1").arg(id);
}

// Questions and answers with markers (some answers quote an older prompt),
// hidden control traffic, a queue at the end and the working message.
QList<Message> history() {
    QList<Message> list;
    for (qint64 id = 1; list.size() < count; ++id) {
        switch (id % 5) {
        case 0:
            list.push_back(message(id, agent,
                                   QString("Done, the tests pass.\nCCFOR=%1\nCCTOK=120000,90000,"
                                           "20000,1000\nCCDONE=%1")
                                       .arg(id % 10 == 0 ? id - 6 : id - 1)));
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
    const qint64 last = list.last().id;
    for (qint64 id = last + 1; id <= last + 3; ++id)
        list.push_back(message(id, me, QString("Queued %1").arg(id)));
    list.push_back(message(last + 4, agent, workingOn(last)));
    return list;
}

struct Session : fixture::AgentSession {
    std::unique_ptr<AgentBarsModel> bars;
    std::unique_ptr<TimelineModel> timeline;
    int reread = 0; // rows in view whose badge the view read again on a signal

    Session() : AgentSession(history()) {
        bars = std::make_unique<AgentBarsModel>(store.get());
        timeline = std::make_unique<TimelineModel>(store.get());
        timeline->setAgentBadges(bars.get());
        store->setSelectedChatId(chatId);
        // A bottom-anchored view shows the newest rows; a signalled row in
        // view reads its badge again, as the bubble's binding does.
        QObject::connect(
            timeline.get(), &QAbstractItemModel::dataChanged,
            [this](const QModelIndex& a, const QModelIndex& b, const QList<int>& roles) {
                if (!roles.isEmpty() && !roles.contains(TimelineModel::AgentBadgeRole)) return;
                for (int r = a.row(); r <= std::min(b.row(), rowsInView - 1); ++r)
                    reread += badgeAt(r) >= 0;
            });
    }

    int badgeAt(int row) const {
        return int(timeline->index(row).data(TimelineModel::AgentBadgeRole).toMap().size());
    }

    int readBadges(int rows = rowsInView) const {
        int shown = 0;
        for (int r = 0; r < rows; ++r)
            shown += badgeAt(r);
        return shown;
    }

    void readBars() const {
        benchmark::DoNotOptimize(bars->working());
        benchmark::DoNotOptimize(bars->statusLine());
        benchmark::DoNotOptimize(bars->backlogText());
        benchmark::DoNotOptimize(bars->backlogCount());
    }
};

void KindPass(benchmark::State& state) {
    Session s;
    const QList<Message>& list = *s.store->messages().constFind(chatId);
    for (auto _ : state) {
        qint64 shown = 0;
        for (const Message& m : list)
            shown += !m.isCCControl() && !m.isCCWorking() && m.senderId != agent;
        benchmark::DoNotOptimize(shown);
    }
}

void ScrollFrame(benchmark::State& state) {
    Session s;
    s.readBadges();
    for (auto _ : state)
        benchmark::DoNotOptimize(s.readBadges());
    state.SetItemsProcessed(state.iterations() * rowsInView);
}

// Argument 0: the view has shown the newest rows; 1: it has been through all of them.
void ChangedFrame(benchmark::State& state) {
    Session s;
    s.readBadges(state.range(0) ? s.timeline->rowCount() : rowsInView);
    for (auto _ : state) {
        emit s.store->timelineChanged(chatId, {TimelineChange::replaced, 0, 1});
        s.readBars();
    }
    state.counters["reread"] = benchmark::Counter(s.reread, benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * rowsInView);
}

// The working message names the next queued message and back: two badges turn.
void WorkMovesOn(benchmark::State& state) {
    Session s;
    s.readBadges();
    QList<Message>& list = seam(s.store).messages()[chatId];
    const qint64 first = list.last().id - 3;
    const int at = int(list.size()) - 1;
    bool next = false;
    for (auto _ : state) {
        next = !next;
        list.last().text = workingOn(next ? first + 1 : first);
        emit s.store->timelineChanged(chatId, {TimelineChange::replaced, at, 1});
        s.readBars();
    }
    state.counters["reread"] = benchmark::Counter(s.reread, benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(state.iterations() * rowsInView);
}

BENCHMARK(KindPass)->Unit(benchmark::kMicrosecond);
BENCHMARK(ScrollFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(ChangedFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(WorkMovesOn)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runWithRatios(argc, argv,
                         {{"ScrollFrame", "KindPass"},
                          {"ChangedFrame/0", "KindPass"},
                          {"ChangedFrame/1", "KindPass"},
                          {"WorkMovesOn", "KindPass"}});
}
