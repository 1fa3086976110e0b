#include "Storage.h"

#include "Crypto.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <stdexcept>

namespace {

// Version 1 of the schema. Later versions append ALTER statements and raise
// PRAGMA user_version; tables never lose columns.
const char* const kSchema[] = {
    R"(CREATE TABLE IF NOT EXISTS users (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        username TEXT NOT NULL UNIQUE COLLATE NOCASE,
        is_guest INTEGER NOT NULL DEFAULT 0,
        is_bot INTEGER NOT NULL DEFAULT 0,
        avatar_at INTEGER,
        address TEXT, lat REAL, lon REAL,
        competence TEXT, experience TEXT, email TEXT, phone TEXT,
        last_seen INTEGER, last_device TEXT, last_client TEXT,
        created_at INTEGER NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS device_keys (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        pubkey TEXT NOT NULL UNIQUE,
        label TEXT,
        created_at INTEGER NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS tokens (
        token TEXT PRIMARY KEY,
        user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        device_key_id INTEGER REFERENCES device_keys(id) ON DELETE CASCADE,
        created_at INTEGER NOT NULL))",
    R"(CREATE TABLE IF NOT EXISTS chats (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        kind TEXT NOT NULL,
        title TEXT,
        created_at INTEGER NOT NULL,
        tavik_agent INTEGER NOT NULL DEFAULT 0,
        avatar_at INTEGER,
        invite_code TEXT UNIQUE,
        pinned_message_id INTEGER,
        creator_id INTEGER))",
    R"(CREATE TABLE IF NOT EXISTS members (
        chat_id INTEGER NOT NULL REFERENCES chats(id) ON DELETE CASCADE,
        user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        role TEXT NOT NULL DEFAULT 'User',
        joined_at INTEGER NOT NULL,
        PRIMARY KEY (chat_id, user_id)))",
    "CREATE INDEX IF NOT EXISTS members_by_user ON members(user_id)",
    R"(CREATE TABLE IF NOT EXISTS messages (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        chat_id INTEGER NOT NULL REFERENCES chats(id) ON DELETE CASCADE,
        sender_id INTEGER NOT NULL,
        sender_name TEXT NOT NULL,
        text TEXT NOT NULL,
        reply_to INTEGER,
        media TEXT, album TEXT, forwarded_from TEXT, transcript TEXT,
        created_at INTEGER NOT NULL,
        edited_at INTEGER,
        deleted INTEGER NOT NULL DEFAULT 0))",
    "CREATE INDEX IF NOT EXISTS messages_by_chat ON messages(chat_id, id)",
    // One row per person and emoji; a new table, so older files gain it as they open.
    R"(CREATE TABLE IF NOT EXISTS reactions (
        message_id INTEGER NOT NULL REFERENCES messages(id) ON DELETE CASCADE,
        user_id INTEGER NOT NULL,
        emoji TEXT NOT NULL,
        created_at INTEGER NOT NULL,
        PRIMARY KEY (message_id, user_id, emoji)))",
    R"(CREATE TABLE IF NOT EXISTS reads (
        chat_id INTEGER NOT NULL REFERENCES chats(id) ON DELETE CASCADE,
        user_id INTEGER NOT NULL,
        last_read_id INTEGER NOT NULL,
        updated_at INTEGER NOT NULL,
        PRIMARY KEY (chat_id, user_id)))",
    R"(CREATE TABLE IF NOT EXISTS linked_servers (
        user_id INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        url TEXT NOT NULL,
        PRIMARY KEY (user_id, url)))",
};

// Later versions: tokens kept as hashes with their kind and last use, and
// settings such as the owner's account.
const char* const kSchemaV2[] = {
    "ALTER TABLE tokens ADD COLUMN kind TEXT NOT NULL DEFAULT 'name'",
    "ALTER TABLE tokens ADD COLUMN last_used INTEGER",
    "UPDATE tokens SET kind='key' WHERE device_key_id IS NOT NULL",
    R"(UPDATE tokens SET kind='guest'
        WHERE user_id IN (SELECT id FROM users WHERE is_guest=1) AND kind='name')",
    "CREATE TABLE IF NOT EXISTS settings (key TEXT PRIMARY KEY, value TEXT NOT NULL)",
};
constexpr int kSchemaVersion = 2;
// Last use is written at most this often, not on every request.
constexpr qint64 kTouchIntervalMs = 60 * 60 * 1000;

QString tokenHash(const QString& token) {
    return QString::fromLatin1(
        QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256).toHex());
}

QString kindName(TokenKind kind) {
    switch (kind) {
    case TokenKind::Guest:
        return QStringLiteral("guest");
    case TokenKind::Key:
        return QStringLiteral("key");
    case TokenKind::Loopback:
        return QStringLiteral("loopback");
    case TokenKind::Name:
        break;
    }
    return QStringLiteral("name");
}

// Only the server's own account may read its folder and files, also those
// made by an older version with wider rights.
void secureFolder(const QString& dataDir) {
    if (!QDir().mkpath(dataDir)) throw std::runtime_error("cannot create " + dataDir.toStdString());
    constexpr auto kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    QFile::setPermissions(dataDir, kOwnerOnly | QFileDevice::ExeOwner);
    for (const QFileInfo& entry :
         QDir(dataDir).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (entry.isSymLink()) continue;
        QFile::setPermissions(entry.filePath(),
                              entry.isDir() ? kOwnerOnly | QFileDevice::ExeOwner : kOwnerOnly);
    }
}

std::optional<qint64> optInt(const QVariant& v) {
    if (v.isNull()) return std::nullopt;
    return v.toLongLong();
}

std::optional<double> optDouble(const QVariant& v) {
    if (v.isNull()) return std::nullopt;
    return v.toDouble();
}

const char* const kUserColumns =
    "id, username, is_guest, is_bot, avatar_at, last_seen, address, competence, experience, "
    "email, phone, lat, lon, last_device, last_client";

UserRow readUser(const QSqlQuery& q) {
    UserRow u;
    u.id = q.value(0).toLongLong();
    u.username = q.value(1).toString();
    u.isGuest = q.value(2).toBool();
    u.isBot = q.value(3).toBool();
    u.avatarAt = optInt(q.value(4));
    u.lastSeen = optInt(q.value(5));
    u.address = q.value(6).toString();
    u.competence = q.value(7).toString();
    u.experience = q.value(8).toString();
    u.email = q.value(9).toString();
    u.phone = q.value(10).toString();
    u.lat = optDouble(q.value(11));
    u.lon = optDouble(q.value(12));
    u.lastDevice = q.value(13).toString();
    u.lastClient = q.value(14).toString();
    return u;
}

} // namespace

Storage::Storage(const QString& dataDir)
    : m_connection(QStringLiteral("velmarin-%1").arg(reinterpret_cast<quintptr>(this))) {
    secureFolder(dataDir);
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    db.setDatabaseName(QDir(dataDir).filePath(QStringLiteral("velmarin.sqlite")));
    if (!db.open()) throw std::runtime_error(db.lastError().text().toStdString());
    // WAL keeps every committed transaction across a killed process; NORMAL
    // sync only risks the newest commits on power loss, not on a crash.
    run(QStringLiteral("PRAGMA journal_mode=WAL"));
    run(QStringLiteral("PRAGMA synchronous=NORMAL"));
    run(QStringLiteral("PRAGMA foreign_keys=ON"));
    run(QStringLiteral("PRAGMA busy_timeout=5000"));
    // What is deleted (message texts, tokens) is overwritten, not just unlinked.
    run(QStringLiteral("PRAGMA secure_delete=ON"));
    migrate();
}

Storage::~Storage() {
    QSqlDatabase::database(m_connection, false).close();
    QSqlDatabase::removeDatabase(m_connection);
}

qint64 Storage::now() {
    return QDateTime::currentMSecsSinceEpoch();
}

QSqlQuery Storage::run(const QString& sql, const QVariantList& binds) {
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    if (!q.prepare(sql)) throw std::runtime_error(q.lastError().text().toStdString());
    for (const QVariant& v : binds)
        q.addBindValue(v);
    if (!q.exec()) throw std::runtime_error(q.lastError().text().toStdString());
    return q;
}

void Storage::transaction(const std::function<void()>& work) {
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.transaction()) throw std::runtime_error(db.lastError().text().toStdString());
    try {
        work();
    } catch (...) {
        db.rollback();
        throw;
    }
    if (!db.commit()) throw std::runtime_error(db.lastError().text().toStdString());
}

void Storage::migrate() {
    transaction([this] {
        QSqlQuery version = run(QStringLiteral("PRAGMA user_version"));
        const int from = version.next() ? version.value(0).toInt() : 0;
        version.finish();
        for (const char* statement : kSchema)
            run(QString::fromUtf8(statement));
        if (from < 2) {
            for (const char* statement : kSchemaV2)
                run(QString::fromUtf8(statement));
            migrateTokens();
        }
        run(QStringLiteral("PRAGMA user_version=%1").arg(kSchemaVersion));
    });
}

// Tokens of version 1 were kept as they were handed out.
void Storage::migrateTokens() {
    QSqlQuery q = run(QStringLiteral("SELECT token FROM tokens"));
    QStringList clear;
    while (q.next())
        clear.push_back(q.value(0).toString());
    for (const QString& token : clear)
        run(QStringLiteral("UPDATE tokens SET token=? WHERE token=?"), {tokenHash(token), token});
}

// ---- users -----------------------------------------------------------------

std::optional<UserRow> Storage::user(qint64 id) {
    QSqlQuery q = run(QStringLiteral("SELECT %1 FROM users WHERE id=?").arg(kUserColumns), {id});
    if (!q.next()) return std::nullopt;
    return readUser(q);
}

std::optional<UserRow> Storage::userByName(const QString& name) {
    QSqlQuery q =
        run(QStringLiteral("SELECT %1 FROM users WHERE username=?").arg(kUserColumns), {name});
    if (!q.next()) return std::nullopt;
    return readUser(q);
}

UserRow Storage::createUser(const QString& name, bool guest, bool bot) {
    QSqlQuery q = run(QStringLiteral("INSERT INTO users (username, is_guest, is_bot, created_at) "
                                     "VALUES (?, ?, ?, ?)"),
                      {name, guest, bot, now()});
    return *user(q.lastInsertId().toLongLong());
}

// Members of the service see each other; guests see only the people they
// share a conversation with, and are seen only by them.
QList<UserRow> Storage::visibleUsers(qint64 viewerId) {
    QSqlQuery q = run(QStringLiteral(R"(SELECT %1 FROM users WHERE id=?
        OR (is_guest=0 AND (SELECT is_guest FROM users WHERE id=?)=0)
        OR id IN (SELECT m2.user_id FROM members m1 JOIN members m2 ON m1.chat_id=m2.chat_id
                  WHERE m1.user_id=?)
        ORDER BY id)")
                          .arg(kUserColumns),
                      {viewerId, viewerId, viewerId});
    QList<UserRow> out;
    while (q.next())
        out.push_back(readUser(q));
    return out;
}

bool Storage::canSee(qint64 viewerId, qint64 subjectId) {
    if (viewerId == subjectId) return true;
    QSqlQuery q = run(QStringLiteral(R"(SELECT
        (SELECT is_guest FROM users WHERE id=?)=0 AND (SELECT is_guest FROM users WHERE id=?)=0
        OR EXISTS (SELECT 1 FROM members m1 JOIN members m2 ON m1.chat_id=m2.chat_id
                   WHERE m1.user_id=? AND m2.user_id=?))"),
                      {viewerId, subjectId, viewerId, subjectId});
    return q.next() && q.value(0).toBool();
}

QList<qint64> Storage::botIds() {
    QSqlQuery q = run(QStringLiteral("SELECT id FROM users WHERE is_bot=1 ORDER BY id"));
    QList<qint64> out;
    while (q.next())
        out.push_back(q.value(0).toLongLong());
    return out;
}

void Storage::setLastSeen(qint64 userId, qint64 at) {
    run(QStringLiteral("UPDATE users SET last_seen=? WHERE id=?"), {at, userId});
}

void Storage::setClientInfo(qint64 userId, const QString& device, const QString& app) {
    run(QStringLiteral("UPDATE users SET last_device=?, last_client=?, last_seen=? WHERE id=?"),
        {device, app, now(), userId});
}

void Storage::updateProfile(qint64 userId, const QVariantMap& columns) {
    transaction([&] {
        for (auto it = columns.begin(); it != columns.end(); ++it)
            run(QStringLiteral("UPDATE users SET %1=? WHERE id=?").arg(it.key()),
                {it.value(), userId});
    });
}

// ---- tokens and keys ---------------------------------------------------------

qint64 Storage::ownerAccount(const QString& ownerName) {
    const QString key = QStringLiteral("owner:") + ownerName.toLower();
    QSqlQuery q = run(QStringLiteral("SELECT value FROM settings WHERE key=?"), {key});
    if (q.next())
        if (const auto owner = user(q.value(0).toLongLong()); owner && !owner->isGuest)
            return owner->id;
    auto owner = userByName(ownerName);
    if (owner && (owner->isGuest || owner->isBot))
        throw std::runtime_error("the owner's name belongs to a guest or a bot on this server");
    if (!owner) owner = createUser(ownerName, false, false);
    run(QStringLiteral("INSERT OR REPLACE INTO settings (key, value) VALUES (?, ?)"),
        {key, QString::number(owner->id)});
    return owner->id;
}

QString Storage::createToken(qint64 userId, TokenKind kind, std::optional<qint64> deviceKeyId) {
    const QString token = crypto::randomToken();
    const qint64 at = now();
    run(QStringLiteral("INSERT INTO tokens (token, user_id, device_key_id, created_at, kind, "
                       "last_used) VALUES (?, ?, ?, ?, ?, ?)"),
        {tokenHash(token), userId,
         deviceKeyId ? QVariant(*deviceKeyId) : QVariant(QMetaType::fromType<qint64>()), at,
         kindName(kind), at});
    return token;
}

std::optional<UserRow> Storage::userForToken(const QString& token, qint64 maxIdleMs) {
    const QString hash = tokenHash(token);
    QSqlQuery q = run(
        QStringLiteral("SELECT user_id, COALESCE(last_used, created_at) FROM tokens WHERE token=?"),
        {hash});
    if (!q.next()) return std::nullopt;
    const qint64 userId = q.value(0).toLongLong();
    const qint64 lastUsed = q.value(1).toLongLong();
    q.finish();
    const qint64 at = now();
    if (at - lastUsed > maxIdleMs) {
        run(QStringLiteral("DELETE FROM tokens WHERE token=?"), {hash});
        return std::nullopt;
    }
    if (at - lastUsed > kTouchIntervalMs)
        run(QStringLiteral("UPDATE tokens SET last_used=? WHERE token=?"), {at, hash});
    return user(userId);
}

void Storage::revokeToken(const QString& token) {
    run(QStringLiteral("DELETE FROM tokens WHERE token=?"), {tokenHash(token)});
}

void Storage::revokeNameTokens(qint64 userId) {
    run(QStringLiteral("DELETE FROM tokens WHERE user_id=? AND kind='name'"), {userId});
}

bool Storage::hasDeviceKey(qint64 userId) {
    QSqlQuery q =
        run(QStringLiteral("SELECT 1 FROM device_keys WHERE user_id=? LIMIT 1"), {userId});
    return q.next();
}

std::optional<qint64> Storage::bindDeviceKey(qint64 userId, const QString& pubkey,
                                             const QString& label) {
    if (const auto existing = deviceKey(pubkey)) {
        if (existing->second != userId) return std::nullopt;
        run(QStringLiteral("UPDATE device_keys SET label=? WHERE id=?"), {label, existing->first});
        return existing->first;
    }
    QSqlQuery q = run(QStringLiteral("INSERT INTO device_keys (user_id, pubkey, label, created_at) "
                                     "VALUES (?, ?, ?, ?)"),
                      {userId, pubkey, label, now()});
    return q.lastInsertId().toLongLong();
}

std::optional<std::pair<qint64, qint64>> Storage::deviceKey(const QString& pubkey) {
    QSqlQuery q =
        run(QStringLiteral("SELECT id, user_id FROM device_keys WHERE pubkey=?"), {pubkey});
    if (!q.next()) return std::nullopt;
    return std::make_pair(q.value(0).toLongLong(), q.value(1).toLongLong());
}

void Storage::addLinkedServer(qint64 userId, const QString& url) {
    run(QStringLiteral("INSERT OR IGNORE INTO linked_servers (user_id, url) VALUES (?, ?)"),
        {userId, url});
}

void Storage::removeLinkedServer(qint64 userId, const QString& url) {
    run(QStringLiteral("DELETE FROM linked_servers WHERE user_id=? AND url=?"), {userId, url});
}

QStringList Storage::linkedServers(qint64 userId) {
    QSqlQuery q = run(QStringLiteral("SELECT url FROM linked_servers WHERE user_id=? ORDER BY url"),
                      {userId});
    QStringList out;
    while (q.next())
        out.push_back(q.value(0).toString());
    return out;
}
