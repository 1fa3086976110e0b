// What one frame of scrolling costs in a 5,000-message agent session: the
// badges of the ~30 rows in view, read through the view model the bubbles
// bind to. Two cases: the history unchanged since the last frame (the badges
// come from the per-state cache), and the history changed just before the
// frame (a working message edited in place), where the cache starts over and
// the bars over the composer are read again as well. Baseline: one pass over
// the history testing each message's kind, the least any re-evaluation does.
// Target: a changed frame within 3x of that pass, an unchanged one far below.
#include "AgentSessionFixture.h"
#include "BenchRatio.h"
#include "ui/AgentBarsModel.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace {

using fixture::agent;
using fixture::chatId;
using fixture::count;
using fixture::me;
using fixture::message;
constexpr int rowsInView = 30;

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
    list.push_back(
        message(last + 4, agent,
                QString("💭 Claude is working…\nReading files\nCCMSG=%1\nCCSEEN=%1").arg(last)));
    return list;
}

struct Session : fixture::AgentSession {
    std::unique_ptr<AgentBarsModel> bars;
    QList<qint64> visibleIds; // the newest rows, as a bottom-anchored list shows them

    Session() : AgentSession(history()) {
        bars = std::make_unique<AgentBarsModel>(store.get());
        store->setSelectedChatId(chatId);
        const QList<Message>& list = store->messages[chatId];
        for (qsizetype i = list.size() - 1; i >= 0 && visibleIds.size() < rowsInView; --i)
            if (!list[i].isCCControl() && !list[i].isCCWorking()) visibleIds << list[i].id;
    }

    int readBadges() {
        int shown = 0;
        for (qint64 id : visibleIds)
            shown += bars->badge(id, bars->badgeRevision()).size();
        return shown;
    }
};

void KindPass(benchmark::State& state) {
    Session s;
    const QList<Message>& list = s.store->messages[chatId];
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

void ChangedFrame(benchmark::State& state) {
    Session s;
    for (auto _ : state) {
        emit s.store->timelineChanged(chatId, {TimelineChange::replaced, 0, 1});
        benchmark::DoNotOptimize(s.readBadges());
        benchmark::DoNotOptimize(s.bars->working());
        benchmark::DoNotOptimize(s.bars->statusLine());
        benchmark::DoNotOptimize(s.bars->backlogText());
        benchmark::DoNotOptimize(s.bars->backlogCount());
    }
    state.SetItemsProcessed(state.iterations() * rowsInView);
}

BENCHMARK(KindPass)->Unit(benchmark::kMicrosecond);
BENCHMARK(ScrollFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(ChangedFrame)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    return runWithRatios(argc, argv, {{"ScrollFrame", "KindPass"}, {"ChangedFrame", "KindPass"}});
}
