#pragma once

// Pure texts of the session status: the status bar line and the queue bar.

#include "agent/AgentTypes.h"

#include <QString>
#include <QStringView>

// The last human line of a working message: the head, markers and empty
// lines are skipped; "Claude is working…" when nothing is left.
QString ccStatusLineOf(QStringView text);

// The queue bar's text for `count` queued messages (at least one).
QString backlogBarText(int count);
