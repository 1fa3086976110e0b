#include "core/ProcessClock.h"

#include <QFile>
#include <QList>
#include <ctime>
#include <unistd.h>

std::optional<double> msSinceProcessStart() {
#ifdef Q_OS_LINUX
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly)) return std::nullopt;
    const QByteArray text = stat.readAll();
    // The command name may hold spaces; the fields after it are plain.
    const qsizetype close = text.lastIndexOf(')');
    if (close < 0) return std::nullopt;
    const QList<QByteArray> fields = text.mid(close + 2).split(' ');
    // starttime is field 22 of the whole line, 20 after the name and state.
    constexpr int startTimeIndex = 22 - 3;
    if (fields.size() <= startTimeIndex) return std::nullopt;
    bool ok = false;
    const double ticks = fields.at(startTimeIndex).toDouble(&ok);
    const long perSecond = sysconf(_SC_CLK_TCK);
    timespec now{};
    if (!ok || perSecond <= 0 || clock_gettime(CLOCK_BOOTTIME, &now) != 0) return std::nullopt;
    const double nowMs = double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
    return nowMs - ticks * 1000.0 / double(perSecond);
#else
    return std::nullopt;
#endif
}
