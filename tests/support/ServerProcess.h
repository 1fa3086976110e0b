#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

// Runs the real velmarin-server as a child process on loopback, with a data
// directory of its own, the main port (TLS and plain) and a plain-only port,
// both ephemeral at first and kept across restarts.
class ServerProcess {
public:
    struct Options {
        QStringList names{QStringLiteral("alice"), QStringLiteral("bob"), QStringLiteral("carol")};
        QString owner = QStringLiteral("owner");
        QStringList extraArgs;
        // Whether an empty-name login from this machine signs in as the owner.
        // Off by default: a launched client would otherwise move to the owner's account.
        bool loopbackOwner = false;
    };

    ServerProcess();
    explicit ServerProcess(Options options);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Starts the server and waits (at most 15 s) for its ready line.
    bool start();
    // SIGKILL, as a crash would.
    void kill();
    // SIGSTOP and SIGCONT: a server that hangs keeps its connections open but
    // answers nothing, not even a ping.
    void pause();
    void resume();
    // Starts it again on the same ports and data directory; retries while a
    // port is still busy.
    bool restart();
    bool isRunning() const;

    quint16 port() const { return m_port; }
    quint16 httpPort() const { return m_httpPort; }
    QString httpsUrl() const;
    QString httpUrl() const;  // the main port, spoken to without TLS
    QString plainUrl() const; // the plain-only port
    QString fingerprint() const { return m_fingerprint; }
    QString dataDir() const { return m_dataDir.path(); }
    const Options& options() const { return m_options; }
    // Why the last start failed.
    QString errorString() const { return m_error; }

private:
    enum class Outcome { Ready, PortBusy, Failed };
    Outcome launch();
    QStringList arguments() const;
    bool parseReadyLine(const QByteArray& line);

    Options m_options;
    QTemporaryDir m_dataDir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
    quint16 m_httpPort = 0;
    QString m_fingerprint;
    QString m_error;
};
