#pragma once

// Values the agent side of the store hands to its views: session status,
// preference sources, remote files, accounts, context counters and deploys.
// Plain records; the store's operations fill them.

#include "model/Config.h"
#include "model/Models.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// Where one of the user's own messages stands in the agent's queue.
enum class CCMessageStatus { processing, pending, done };
QString rawValue(CCMessageStatus status);

// Context counters of the last CCTOK= report. Stored records from before the
// `create` counter carry it as `cold`.
struct CCContextStat {
    qint64 ctx = 0;
    qint64 warm = 0;
    qint64 fresh = 0;
    qint64 create = 0;

    static CCContextStat fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const CCContextStat&) const = default;
};

// A value the user has just chosen, shown until a report newer than the
// message that was last when it was chosen.
struct CCOptimisticModel {
    QString value;
    qint64 sinceMsgId = 0;
    bool operator==(const CCOptimisticModel&) const = default;
};
struct CCOptimisticEffort {
    Config::CCEffort value = Config::defaultEffort;
    qint64 sinceMsgId = 0;
    bool operator==(const CCOptimisticEffort&) const = default;
};

enum class PrefPushResult { ok, unsupported, unreachable };

// The latest deploy announcement of a conversation, kept when its message
// scrolls out of the loaded history.
struct CCDeployRecord {
    qint64 msgId = 0;
    DeployTarget target;

    static CCDeployRecord fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const CCDeployRecord&) const = default;
};

// Remote folders and files. On the wire the keys are one letter long, since
// a whole listing travels in one chat message.
struct CCFolder {
    QString name;
    QString path;
    std::optional<QList<CCFolder>> children;
    bool operator==(const CCFolder&) const = default;
};

struct CCListing {
    QString path;
    std::optional<QString> parent;
    QList<CCFolder> dirs;
    bool operator==(const CCListing&) const = default;
};

struct CCEntry {
    QString name;
    QString path;
    bool isDir = false;
    qint64 size = 0;
    bool operator==(const CCEntry&) const = default;
};

struct CCDirListing {
    QString path;
    std::optional<QString> parent;
    QList<CCEntry> entries;
    bool truncated = false;
    bool blocked = false;
    bool operator==(const CCDirListing&) const = default;
};

struct CCFileChunk {
    QString text;
    qint64 next = 0;
    bool eof = false;
    qint64 size = 0;
    std::optional<QString> err;
    bool operator==(const CCFileChunk&) const = default;
};

// What the read-only file viewer shows: the text read, or why there is none
// ("unreachable" when the host did not answer), and whether the cap cut it.
struct CCFileView {
    QString text;
    std::optional<QString> error;
    bool truncated = false;
    bool operator==(const CCFileView&) const = default;
};

// One control request of a chunked write: a piece and whether it appends.
struct CCWriteStep {
    QString content;
    bool append = false;
    bool operator==(const CCWriteStep&) const = default;
};

// Claude sign-in on a host.
struct CCAuthStatus {
    bool loggedIn = false;
    QString email;
    QString plan;
    QString org;
};
struct CCLoginStart {
    QString url;
    QString loginId;
};
struct CCLoginResult {
    bool ok = false;
    QString email;
    QString plan;
    QString err;
};
struct CCAccountListEntry {
    QString email;
    bool isDefault = false;
};

// One machine that runs sessions: the primary server's host (0) or an extra
// server's runner.
struct ClaudeClient {
    int serverId = 0;
    QString name;
    std::optional<QString> subtitle;
    std::optional<QString> email;
    bool answering = false;
    std::optional<QString> platform;

    // A machine that has not said otherwise counts as a Mac.
    bool isMac() const { return platform.value_or(QString()) != QLatin1String("linux"); }
    bool operator==(const ClaudeClient&) const = default;
};

// One Claude account and the machines it runs on.
struct ClaudeAccount {
    std::optional<QString> email;
    QList<ClaudeClient> clients;
    std::optional<ClaudeUsage> usage;
    bool operator==(const ClaudeAccount&) const = default;
};
