#pragma once

// The trail a crash leaves behind: the latest breadcrumbs, written to the
// preferences at each step so that even a crash with no last words keeps
// them, and the name of the risky work in progress.

#include <QString>
#include <QStringList>

namespace CrashLog {

inline constexpr int kTrailLength = 24;

// One line in the trail, from any thread.
void breadcrumb(const QString& text);
// Marks risky work as in progress (or over), so the next launch can tell.
void setActivity(const QString& name, bool active);
// The trail as kept in memory, oldest first.
QStringList trail();
// Forgets the in-memory trail; for tests that start from nothing.
void resetForTests();

} // namespace CrashLog
