#include "agent/Sandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSaveFile>
#include <QStringDecoder>
#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kMaxFolders = 500;
constexpr int kMaxChildren = 50;
constexpr int kMaxEntries = 1000;

QJsonObject failure(const QString& err) {
    return QJsonObject{{QStringLiteral("err"), err}};
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes at the end of `bytes` begin a character that the buffer cuts.
qsizetype cutCharacterTail(const QByteArray& bytes) {
    const qsizetype size = bytes.size();
    for (qsizetype back = 1; back <= 4 && back <= size; ++back) {
        const auto lead = static_cast<unsigned char>(bytes[size - back]);
        if ((lead & 0xC0) == 0x80) continue;
        const qsizetype length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        return length > back ? back : 0;
    }
    return 0;
}

QFileInfoList subfolders(const QString& diskPath, int limit) {
    QFileInfoList out = QDir(diskPath).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot,
                                                     QDir::Name | QDir::IgnoreCase);
    if (out.size() > limit) out.resize(limit);
    return out;
}

} // namespace

Sandbox::Sandbox(const QString& root) : m_root(QDir(root).absolutePath()) {
    if (!QDir().mkpath(m_root))
        throw std::runtime_error("cannot create the agent sandbox " + m_root.toStdString());
    m_canonicalRoot = QFileInfo(m_root).canonicalFilePath();
}

std::optional<QString> Sandbox::normalise(const QString& path, const QString& base) {
    if (path.contains(QChar(0)) || base.contains(QChar(0))) return std::nullopt;
    QString full = path.trimmed();
    if (full.isEmpty() || full == u'~')
        full = QStringLiteral("/");
    else if (full.startsWith(QStringLiteral("~/")))
        full = full.mid(1);
    else if (!full.startsWith(u'/'))
        full = (base.isEmpty() ? QStringLiteral("/") : base) + u'/' + full;
    QStringList kept;
    for (const QString& segment : full.split(u'/', Qt::SkipEmptyParts)) {
        if (segment == u'.') continue;
        if (segment == QLatin1String("..")) {
            if (kept.isEmpty()) return std::nullopt;
            kept.removeLast();
            continue;
        }
        kept.push_back(segment);
    }
    return u'/' + kept.join(u'/');
}

bool Sandbox::inside(const QString& diskPath) const {
    QFileInfo info(diskPath);
    // A path not there yet is judged by the nearest folder that is.
    while (!info.exists()) {
        const QString up = info.absolutePath();
        if (up == info.absoluteFilePath()) return false;
        info = QFileInfo(up);
    }
    const QString canonical = info.canonicalFilePath();
    return canonical == m_canonicalRoot || canonical.startsWith(m_canonicalRoot + u'/');
}

std::optional<QString> Sandbox::resolve(const QString& path, const QString& base) const {
    const auto outside = normalise(path, base);
    if (!outside) return std::nullopt;
    const QString disk = *outside == u'/' ? m_root : m_root + *outside;
    if (!inside(disk)) return std::nullopt;
    return disk;
}

QString Sandbox::parentOf(const QString& outsidePath) {
    const qsizetype slash = outsidePath.lastIndexOf(u'/');
    return slash <= 0 ? QStringLiteral("/") : outsidePath.left(slash);
}

QString Sandbox::join(const QString& folder, const QString& name) {
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

bool Sandbox::isPlainName(const QString& name) {
    return !name.isEmpty() && name.size() <= 255 && name != u'.' && name != QLatin1String("..") &&
           !name.contains(u'/') && !name.contains(u'\\') && !name.contains(QChar(0)) &&
           name.trimmed() == name;
}

QJsonObject Sandbox::listFolders(const QString& path) const {
    const auto outside = normalise(path);
    const auto disk = resolve(path);
    if (!outside || !disk || !QFileInfo(*disk).isDir())
        return failure(QStringLiteral("not a folder"));
    QJsonArray dirs;
    for (const QFileInfo& dir : subfolders(*disk, kMaxFolders)) {
        const QString p = join(*outside, dir.fileName());
        QJsonArray children;
        for (const QFileInfo& child : subfolders(dir.absoluteFilePath(), kMaxChildren))
            children.append(QJsonObject{{QStringLiteral("n"), child.fileName()},
                                        {QStringLiteral("p"), join(p, child.fileName())}});
        QJsonObject folder{{QStringLiteral("n"), dir.fileName()}, {QStringLiteral("p"), p}};
        if (!children.isEmpty()) folder.insert(QStringLiteral("d"), children);
        dirs.append(folder);
    }
    QJsonObject reply{{QStringLiteral("path"), *outside}, {QStringLiteral("dirs"), dirs}};
    if (*outside != u'/') reply.insert(QStringLiteral("parent"), parentOf(*outside));
    return reply;
}

QJsonObject Sandbox::listEntries(const QString& path, const QString& base) const {
    const auto outside = normalise(path, base);
    const auto disk = resolve(path, base);
    if (!outside || !disk || !QFileInfo(*disk).isDir())
        return failure(QStringLiteral("not a folder"));
    QJsonObject reply{{QStringLiteral("path"), *outside}};
    if (*outside != u'/') reply.insert(QStringLiteral("parent"), parentOf(*outside));
    QDir dir(*disk);
    if (!dir.isReadable()) {
        reply.insert(QStringLiteral("err"), QStringLiteral("permission denied"));
        reply.insert(QStringLiteral("blocked"), true);
        reply.insert(QStringLiteral("entries"), QJsonArray());
        return reply;
    }
    const QFileInfoList all =
        dir.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                          QDir::DirsFirst | QDir::Name | QDir::IgnoreCase);
    QJsonArray entries;
    for (qsizetype i = 0; i < all.size() && i < kMaxEntries; ++i)
        entries.append(QJsonObject{{QStringLiteral("n"), all[i].fileName()},
                                   {QStringLiteral("d"), all[i].isDir()},
                                   {QStringLiteral("s"), all[i].isDir() ? 0 : all[i].size()}});
    reply.insert(QStringLiteral("entries"), entries);
    reply.insert(QStringLiteral("truncated"), all.size() > kMaxEntries);
    reply.insert(QStringLiteral("blocked"), false);
    return reply;
}

QJsonObject Sandbox::readChunk(const QString& path, qint64 offset, const QString& base) const {
    const auto disk = resolve(path, base);
    if (!disk || !QFileInfo(*disk).isFile()) return failure(QStringLiteral("not a file"));
    QFile file(*disk);
    if (!file.open(QIODevice::ReadOnly)) return failure(QStringLiteral("cannot read the file"));
    const qint64 size = file.size();
    offset = std::clamp<qint64>(offset, 0, size);
    file.seek(offset);
    QByteArray bytes = file.read(kReadChunk);
    // An offset inside a character moves on to the next one; a character cut
    // at the end waits for the next piece.
    qsizetype skip = 0;
    while (skip < bytes.size() && skip < 3 && isContinuation(bytes[skip]))
        ++skip;
    qint64 next = offset + bytes.size();
    if (next < size) {
        const qsizetype cut = cutCharacterTail(bytes);
        bytes.chop(cut);
        next -= cut;
    }
    bytes.remove(0, skip);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(bytes);
    if (decoder.hasError() || bytes.contains('\0')) return failure(QStringLiteral("binary"));
    return QJsonObject{{QStringLiteral("text"), text},
                       {QStringLiteral("next"), next},
                       {QStringLiteral("eof"), next >= size},
                       {QStringLiteral("size"), size}};
}

// Opens a folder given by its outside path segments, one at a time from the
// sandbox's own folder without following any link: what is opened is what
// was judged, even if the tree changes meanwhile. -1 with errno on failure.
int Sandbox::openFolder(const QStringList& segments) const {
    int dir =
        ::open(QFile::encodeName(m_canonicalRoot).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (const QString& segment : segments) {
        if (dir < 0) break;
        const int next = ::openat(dir, QFile::encodeName(segment).constData(),
                                  O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        ::close(dir);
        dir = next;
    }
    return dir;
}

int Sandbox::openForWriting(const QString& outsidePath, bool append) const {
    QStringList segments = outsidePath.split(u'/', Qt::SkipEmptyParts);
    if (segments.isEmpty()) {
        errno = EISDIR;
        return -1;
    }
    const QString name = segments.takeLast();
    const int dir = openFolder(segments);
    if (dir < 0) return -1;
    // Non-blocking, so a planted pipe cannot hold the host up.
    const int flags =
        O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | (append ? O_APPEND : 0);
    const int fd = ::openat(dir, QFile::encodeName(name).constData(), flags, 0600);
    ::close(dir);
    return fd;
}

QString Sandbox::writeText(const QString& path, const QString& content, bool append,
                           const QString& base) const {
    const auto outside = normalise(path, base);
    if (!outside) return QStringLiteral("not a file");
    const int fd = openForWriting(*outside, append);
    if (fd < 0)
        return errno == ENOENT || errno == ENOTDIR ? QStringLiteral("no such folder")
                                                   : QStringLiteral("not a file");
    QFile file;
    if (!file.open(fd, QIODevice::WriteOnly | (append ? QIODevice::Append : QIODevice::NotOpen),
                   QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return QStringLiteral("cannot write the file");
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return QStringLiteral("not a file");
    const QByteArray bytes = content.toUtf8();
    const qint64 existing = append ? info.st_size : 0;
    if (existing + bytes.size() > kMaxWrittenFile)
        return QStringLiteral("the file would be too large");
    if (!append && ::ftruncate(fd, 0) != 0) return QStringLiteral("cannot write the file");
    if (file.write(bytes) != bytes.size() || !file.flush())
        return QStringLiteral("cannot write the file");
    return {};
}

std::pair<QString, QString> Sandbox::makeFolder(const QString& parent, const QString& name) const {
    const auto outside = normalise(parent);
    const auto disk = resolve(parent);
    if (!outside || !disk || !QFileInfo(*disk).isDir()) return {{}, QStringLiteral("not a folder")};
    if (!isPlainName(name)) return {{}, QStringLiteral("not a valid folder name")};
    const int dir = openFolder(outside->split(u'/', Qt::SkipEmptyParts));
    if (dir < 0) return {{}, QStringLiteral("not a folder")};
    const QByteArray local = QFile::encodeName(name);
    struct stat info {};
    // An existing folder is fine; an existing link or file is not.
    const bool made =
        ::mkdirat(dir, local.constData(), 0700) == 0 ||
        (errno == EEXIST && ::fstatat(dir, local.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(info.st_mode));
    ::close(dir);
    if (!made) return {{}, QStringLiteral("cannot create the folder")};
    return {join(*outside, name), {}};
}

QStringList Sandbox::envFiles(const QString& folder) const {
    const auto disk = resolve(folder);
    if (!disk) return {};
    QStringList out;
    for (const QFileInfo& f : QDir(*disk).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name))
        if (f.fileName().startsWith(QLatin1String(".env"))) out.push_back(f.fileName());
    return out;
}

void Sandbox::put(const QString& path, const QByteArray& content) const {
    const auto disk = resolve(path);
    if (!disk) throw std::runtime_error("outside the sandbox: " + path.toStdString());
    QDir().mkpath(QFileInfo(*disk).absolutePath());
    QSaveFile file(*disk);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        throw std::runtime_error("cannot write " + disk->toStdString());
}
