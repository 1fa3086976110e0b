#pragma once

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>

// One metered window of an account: the share used and when it starts over.
struct UsageWindow {
    double used = 0; // percent
    qint64 resetsAt = 0;

    // Starts the window over when its reset has passed.
    void roll(qint64 now, qint64 length);
    QJsonObject toJson() const;
};

inline constexpr qint64 kFiveHoursMs = 5LL * 3600 * 1000;
inline constexpr qint64 kSevenDaysMs = 7LL * 24 * 3600 * 1000;

// A Claude account the host can run conversations on.
struct HostAccount {
    QString email;
    QString secret; // what its exported credentials carry
    UsageWindow fiveHour, sevenDay;

    QJsonObject usageJson(qint64 now);
};

// What the host knows about one session conversation.
struct SessionState {
    QString workdir = QStringLiteral("/");
    QString perm = QStringLiteral("ask");
    QString effort = QStringLiteral("medium");
    QString model; // empty: the host's default
    bool chrome = false;
    bool chromeUsed = false;
    bool screenshotUsed = false;
    QString account; // empty: the main account
    qint64 contextTokens = 0;
    qint64 lastTurnAt = 0;
    QString seed; // digest to put ahead of the next message after a reset
    // Work: the message in work, the ones waiting, and the marks of the run.
    QList<qint64> queue;
    qint64 current = 0;
    qint64 workingMsgId = 0;
    qint64 runStart = 0;
    qint64 seenMark = 0;
    int paceFactor = 1;     // slows this session's turns down
    bool buildLoop = false; // keeps reporting builds and deploys, for the demo
};

// Everything the agent host keeps between runs, as one JSON file.
struct HostState {
    HostAccount main;
    bool loggedIn = true;
    QString plan = QStringLiteral("Max");
    QString org = QStringLiteral("Velmarin");
    QList<HostAccount> named;
    QMap<qint64, SessionState> sessions; // by conversation id
    bool seeded = false;

    HostAccount* account(const QString& email);
    QJsonObject toJson() const;
    // The file is the host's own: missing keys take their defaults.
    static HostState fromJson(const QJsonObject& obj);
};

// Reads and writes the state file; a file that cannot be read starts afresh.
class HostStateFile {
public:
    explicit HostStateFile(QString path) : m_path(std::move(path)) {}
    HostState load() const;
    // Throws std::runtime_error when the file cannot be written.
    void save(const HostState& state) const;

private:
    QString m_path;
};
