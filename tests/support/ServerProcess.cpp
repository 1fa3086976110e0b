#include "support/ServerProcess.h"

#include <QDeadlineTimer>
#include <QRegularExpression>
#include <QThread>
#include <csignal>
#include <sys/prctl.h>

namespace {
constexpr int kReadyTimeoutMs = 15000;
constexpr int kPortRetries = 50;
constexpr int kPortRetryPauseMs = 200;
// velmarin-server's exit status when a port cannot be opened.
constexpr int kExitCannotListen = 3;
} // namespace

ServerProcess::ServerProcess() : ServerProcess(Options{}) {}

ServerProcess::ServerProcess(Options options) : m_options(std::move(options)) {}

ServerProcess::~ServerProcess() {
    kill();
}

QStringList ServerProcess::arguments() const {
    QStringList args{QStringLiteral("--data-dir"),  m_dataDir.path(),
                     QStringLiteral("--port"),      QString::number(m_port),
                     QStringLiteral("--http-port"), QString::number(m_httpPort)};
    if (!m_options.names.isEmpty()) args << QStringLiteral("--names") << m_options.names.join(u',');
    if (!m_options.owner.isEmpty()) args << QStringLiteral("--owner") << m_options.owner;
    if (!m_options.loopbackOwner) args << QStringLiteral("--no-loopback-owner");
    return args + m_options.extraArgs;
}

bool ServerProcess::parseReadyLine(const QByteArray& line) {
    static const QRegularExpression ready(QStringLiteral(
        R"(^velmarin-server ready port=(\d+) http-port=(\d+) fingerprint=(\S+)\s*$)"));
    const auto match = ready.match(QString::fromUtf8(line));
    if (!match.hasMatch()) return false;
    m_port = static_cast<quint16>(match.captured(1).toUInt());
    m_httpPort = static_cast<quint16>(match.captured(2).toUInt());
    m_fingerprint = match.captured(3);
    return true;
}

ServerProcess::Outcome ServerProcess::launch() {
    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // The server must not outlive a test that crashes.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process->start(QStringLiteral(VELMARIN_SERVER_BIN), arguments());
    if (!m_process->waitForStarted(kReadyTimeoutMs)) {
        m_error = m_process->errorString();
        return Outcome::Failed;
    }
    const QDeadlineTimer deadline(kReadyTimeoutMs);
    while (!deadline.hasExpired()) {
        if (m_process->canReadLine()) {
            const QByteArray line = m_process->readLine();
            if (parseReadyLine(line)) return Outcome::Ready;
            continue;
        }
        if (m_process->state() == QProcess::NotRunning) break;
        m_process->waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    }
    const bool busy = m_process->state() == QProcess::NotRunning &&
                      m_process->exitStatus() == QProcess::NormalExit &&
                      m_process->exitCode() == kExitCannotListen;
    m_error = busy ? QStringLiteral("port busy")
                   : QStringLiteral("no ready line (exit code %1)").arg(m_process->exitCode());
    kill();
    return busy ? Outcome::PortBusy : Outcome::Failed;
}

bool ServerProcess::start() {
    if (!m_dataDir.isValid()) {
        m_error = QStringLiteral("no temporary directory");
        return false;
    }
    return launch() == Outcome::Ready;
}

bool ServerProcess::restart() {
    kill();
    for (int attempt = 0; attempt < kPortRetries; ++attempt) {
        switch (launch()) {
        case Outcome::Ready:
            return true;
        case Outcome::Failed:
            return false;
        case Outcome::PortBusy:
            QThread::msleep(kPortRetryPauseMs);
            break;
        }
    }
    return false;
}

void ServerProcess::pause() {
    if (m_process && m_process->state() == QProcess::Running)
        ::kill(pid_t(m_process->processId()), SIGSTOP);
}

void ServerProcess::resume() {
    if (m_process && m_process->state() == QProcess::Running)
        ::kill(pid_t(m_process->processId()), SIGCONT);
}

void ServerProcess::kill() {
    if (!m_process) return;
    if (m_process->state() != QProcess::NotRunning) {
        m_process->kill();
        m_process->waitForFinished(5000);
    }
    m_process.reset();
}

bool ServerProcess::isRunning() const {
    return m_process && m_process->state() == QProcess::Running;
}

QString ServerProcess::httpsUrl() const {
    return QStringLiteral("https://127.0.0.1:%1").arg(m_port);
}

QString ServerProcess::httpUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

QString ServerProcess::plainUrl() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(m_httpPort);
}
