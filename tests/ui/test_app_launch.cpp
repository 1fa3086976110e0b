#include "ui/SingleInstance.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {
// The app as the desktop starts it, on preferences of its own.
class AppProcess {
public:
    explicit AppProcess(const QTemporaryDir& home) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_CONFIG_HOME", home.filePath("config"));
        env.insert("XDG_DATA_HOME", home.filePath("data"));
        env.insert("QT_QPA_PLATFORM", "offscreen");
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~AppProcess() {
        if (m_process.state() == QProcess::NotRunning) return;
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) m_process.kill();
    }
    void start(const QStringList& arguments) { m_process.start(VELMARIN_APP_BIN, arguments); }
    QProcess& process() { return m_process; }

private:
    QProcess m_process;
};
} // namespace

// What the desktop does with a velmarin:// link while the app runs.
class TestAppLaunch : public QObject {
    Q_OBJECT

private slots:
    // The second launch hands its link to the running window and exits; the
    // running app follows it (signed out, that is the invited server's login).
    void secondLaunchHandsItsLinkToTheRunningApp() {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const QString prefs = home.filePath("config/Velmarin/Velmarin.conf");
        const QString socket = QDir(QDir::tempPath()).filePath(SingleInstance::serverName(prefs));

        AppProcess first(home);
        first.start({});
        QVERIFY(first.process().waitForStarted(10000));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(socket), 30000);

        AppProcess second(home);
        second.start({"velmarin://join?server=http://127.0.0.1:9"});
        QVERIFY(second.process().waitForFinished(30000));
        QCOMPARE(second.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.process().exitCode(), 0);
        QCOMPARE(first.process().state(), QProcess::Running);

        QTRY_VERIFY_WITH_TIMEOUT(QSettings(prefs, QSettings::IniFormat)
                                     .value("guestServerURL")
                                     .toString()
                                     .contains("127.0.0.1:9"),
                                 15000);
    }
};

QTEST_MAIN(TestAppLaunch)
#include "test_app_launch.moc"
