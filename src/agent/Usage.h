#pragma once

// Pace of a usage window: is the share used ahead of the share of the window
// that has passed? Pure functions of a window's figures and the time now.

#include "model/Models.h"

#include <QDateTime>
#include <QString>
#include <optional>

namespace UsagePace {

inline constexpr double fiveHourWindow = 18000;
inline constexpr double sevenDayWindow = 604800;

// The share used, 0..100.
double util(const ClaudeUsageWindow& w);
// The share of the window already elapsed, 0..100; none without a reset date.
std::optional<double> expected(const ClaudeUsageWindow& w, double windowSeconds,
                               const QDateTime& now);
// Compared in whole percents, so the state does not flicker around equality.
bool overPace(const ClaudeUsageWindow& w, double windowSeconds, const QDateTime& now);
// "Ahead of pace" or "On track".
QString statusPill(bool overPace);
// "1d 1h", "1h 1m", "0m".
QString countdown(qint64 secondsToGo);
QString countdown(const QDateTime& reset, const QDateTime& now);
// The reset as a short time when it is within a day, otherwise with the date.
QString resetClock(const QDateTime& reset, const QDateTime& now);

} // namespace UsagePace
