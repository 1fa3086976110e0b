#include "core/CrashLog.h"

#include "core/PrefKeys.h"
#include "core/Prefs.h"

#include <QCoreApplication>
#include <QDebug>
#include <QMutex>
#include <QThread>
#include <QTime>

namespace CrashLog {
namespace {

QMutex& trailLock() {
    static QMutex lock;
    return lock;
}

QStringList& trailLines() {
    static QStringList lines;
    return lines;
}

// The settings object belongs to the main thread; other threads hand it their copy.
void persistTrail(const QStringList& copy) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread()) {
        Prefs::shared().setValue(PrefKey::crashTrail, copy);
        return;
    }
    QMetaObject::invokeMethod(
        app, [copy] { Prefs::shared().setValue(PrefKey::crashTrail, copy); }, Qt::QueuedConnection);
}

} // namespace

void breadcrumb(const QString& text) {
    const QString line =
        QTime::currentTime().toString(QStringLiteral("HH:mm:ss")) + QLatin1Char(' ') + text;
    QStringList copy;
    {
        const QMutexLocker locker(&trailLock());
        QStringList& lines = trailLines();
        lines.append(line);
        while (lines.size() > kTrailLength)
            lines.removeFirst();
        copy = lines;
    }
    persistTrail(copy);
    qInfo().noquote() << "[Velmarin] 🍞" << line;
}

void setActivity(const QString& name, bool active) {
    if (active)
        Prefs::shared().setValue(PrefKey::crashActivity, name);
    else
        Prefs::shared().remove(PrefKey::crashActivity);
}

QStringList trail() {
    const QMutexLocker locker(&trailLock());
    return trailLines();
}

void resetForTests() {
    const QMutexLocker locker(&trailLock());
    trailLines().clear();
}

} // namespace CrashLog
