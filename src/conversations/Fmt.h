#pragma once

// Dates as people read them, in the app's current language: the day of a
// separator in a conversation ("Today", "Yesterday", "12 Mar 2025"), how long
// ago someone was seen, and the time under a message. Main thread only.

#include <QString>

namespace Fmt {

// Medium date, no time, relative words for recent days (ICU's medium
// relative date style) in the locale of the current language.
QString day(qint64 epochMs);
// A number that is the same for every moment of one local calendar day.
qint64 dayKey(qint64 epochMs);
// "5 minutes ago", "now", "in 2 hours", relative to `nowMs`.
QString ago(qint64 epochMs, qint64 nowMs);
QString ago(qint64 epochMs);
// The short local time of a message ("14:05", "2:05 PM").
QString time(qint64 epochMs);

} // namespace Fmt
