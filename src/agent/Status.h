#pragma once

// Pure texts of the session status: the status bar line and the queue bar.

#include "model/AgentTypes.h"

#include <QString>
#include <QStringView>

// The last human line of a working message: the head, markers and empty
// lines are skipped; "Claude is working…" when nothing is left.
QString ccStatusLineOf(QStringView text);

// The queue bar's text for `count` queued messages (at least one).
QString backlogBarText(int count);

// The status bar's stop control: once pressed it reads "Stopping…" until the
// session's work has ended, whatever the host replies, so the next run starts
// with the stop button again.
struct CCStopRequest {
    bool requested = false;
    void press() { requested = true; }
    // Fed with ccWorking each time the bar re-reads it.
    void observe(bool working) {
        if (!working) requested = false;
    }
    bool showsStopping() const { return requested; }
};
