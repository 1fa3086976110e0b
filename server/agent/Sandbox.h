#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// The file system the agent host shows: one folder on disk, seen from the
// outside as "/" ("~" is the same place). Every path of a request is resolved
// inside it; a path that leads out, also through a symbolic link, is refused.
// The operations answer with the reply fields of the control channel.
class Sandbox {
public:
    // Creates the folder when it is missing; throws std::runtime_error when it cannot.
    explicit Sandbox(const QString& root);

    // Largest piece of a file one read reply carries, in UTF-8 bytes.
    static constexpr qint64 kReadChunk = 24000;
    // Largest file the host writes through the control channel.
    static constexpr qint64 kMaxWrittenFile = 1024 * 1024;

    // The normalised outside path of `path`, taken relative to `base` when it
    // is not absolute; none when it would climb above "/".
    static std::optional<QString> normalise(const QString& path, const QString& base = {});
    // The path on disk of an outside path, when it stays inside the sandbox.
    std::optional<QString> resolve(const QString& path, const QString& base = {}) const;
    static QString parentOf(const QString& outsidePath);
    static QString join(const QString& folder, const QString& name);
    // A single path segment that may name a new file or folder.
    static bool isPlainName(const QString& name);

    const QString& root() const { return m_root; }

    // "ls": the subfolders of a folder, each with its own subfolders.
    QJsonObject listFolders(const QString& path) const;
    // "lsdir": folders first, then files, with sizes.
    QJsonObject listEntries(const QString& path, const QString& base) const;
    // "readfile" and its kin: one piece of a text file from a byte offset.
    QJsonObject readChunk(const QString& path, qint64 offset, const QString& base = {}) const;
    // Writes or appends a text; an error text when it could not.
    QString writeText(const QString& path, const QString& content, bool append,
                      const QString& base = {}) const;
    // "mkdir": the new folder's outside path, or an error text.
    std::pair<QString, QString> makeFolder(const QString& parent, const QString& name) const;
    // Names of the files in a folder whose names start with ".env".
    QStringList envFiles(const QString& folder) const;
    // Creates a folder tree and writes a file, for seeding; outside path.
    void put(const QString& path, const QByteArray& content) const;

private:
    bool inside(const QString& diskPath) const;
    int openFolder(const QStringList& segments) const;
    int openForWriting(const QString& outsidePath, bool append) const;

    QString m_root;          // as given, absolute
    QString m_canonicalRoot; // with links resolved
};
