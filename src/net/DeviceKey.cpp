#include "net/DeviceKey.h"
#include "core/Logging.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <memory>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <qcoro/qcorosignal.h>
#include <qt6keychain/keychain.h>

namespace DeviceKey {

namespace {

using PKey = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

struct State {
    Storage storage = Storage::keychain;
    QString filePath;
    PKey key{nullptr, &EVP_PKEY_free};
    bool loggedFallback = false;
};

State& state() {
    static State s;
    return s;
}

const QString service = QStringLiteral("Velmarin");

QString defaultFilePath() {
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QStringLiteral("/device-key.der");
}

QString filePath() {
    return state().filePath.isEmpty() ? defaultFilePath() : state().filePath;
}

PKey generate() {
    return PKey(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), &EVP_PKEY_free);
}

PKey fromDer(const QByteArray& der) {
    const auto* cursor = reinterpret_cast<const unsigned char*>(der.constData());
    return PKey(d2i_AutoPrivateKey(nullptr, &cursor, der.size()), &EVP_PKEY_free);
}

QByteArray toDer(EVP_PKEY* key) {
    unsigned char* buffer = nullptr;
    const int length = i2d_PrivateKey(key, &buffer);
    if (length <= 0) return {};
    QByteArray der(reinterpret_cast<const char*>(buffer), length);
    OPENSSL_free(buffer);
    return der;
}

// MARK: File store (mode 0600)

std::optional<QByteArray> readFile() {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return file.readAll();
}

bool writeFile(const QByteArray& der) {
    QDir().mkpath(QFileInfo(filePath()).absolutePath());
    QFile file(filePath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    return file.write(der) == der.size();
}

// MARK: Keychain

enum class Lookup { found, missing, unavailable };

struct KeychainResult {
    Lookup lookup = Lookup::unavailable;
    QByteArray data;
};

// A job that never answers (no session bus) counts as an unavailable keychain.
QCoro::Task<bool> finishes(QKeychain::Job* job) {
    bool done = false;
    QObject::connect(job, &QKeychain::Job::finished, job, [&done] { done = true; });
    job->start();
    if (!done) co_await qCoro(job, &QKeychain::Job::finished, std::chrono::milliseconds(3000));
    co_return done;
}

QCoro::Task<KeychainResult> readKeychain() {
    auto job = std::make_unique<QKeychain::ReadPasswordJob>(service);
    job->setAutoDelete(false);
    job->setKey(QString::fromUtf8(tag));
    if (!co_await finishes(job.get())) co_return KeychainResult{};
    if (job->error() == QKeychain::NoError)
        co_return KeychainResult{Lookup::found, job->binaryData()};
    if (job->error() == QKeychain::EntryNotFound) co_return KeychainResult{Lookup::missing, {}};
    co_return KeychainResult{};
}

QCoro::Task<bool> writeKeychain(QByteArray der) {
    auto job = std::make_unique<QKeychain::WritePasswordJob>(service);
    job->setAutoDelete(false);
    job->setKey(QString::fromUtf8(tag));
    job->setBinaryData(der);
    if (!co_await finishes(job.get())) co_return false;
    co_return job->error() == QKeychain::NoError;
}

void logFallbackOnce() {
    if (state().loggedFallback) return;
    state().loggedFallback = true;
    qCInfo(lcNet).noquote() << "[Velmarin] no secret service answered; the device key is kept in"
                            << filePath() << "(readable by this user only)";
}

bool adopt(PKey key) {
    if (!key) return false;
    state().key = std::move(key);
    return true;
}

void logCreateFailed(const QString& why) {
    qCWarning(lcNet).noquote() << "[Velmarin] DeviceKey create failed:"
                               << (why.isEmpty() ? "?" : why);
}

// Key from the file store, created there when missing.
bool loadFromFile() {
    if (auto der = readFile()) return adopt(fromDer(*der));
    PKey fresh = generate();
    if (!fresh || !writeFile(toDer(fresh.get()))) {
        logCreateFailed(QStringLiteral("cannot write %1").arg(filePath()));
        return false;
    }
    return adopt(std::move(fresh));
}

QCoro::Task<> loadFromKeychain() {
    const KeychainResult found = co_await readKeychain();
    if (found.lookup == Lookup::found) {
        adopt(fromDer(found.data));
        co_return;
    }
    if (found.lookup == Lookup::missing) {
        PKey fresh = generate();
        if (fresh && co_await writeKeychain(toDer(fresh.get()))) {
            adopt(std::move(fresh));
            co_return;
        }
    }
    logFallbackOnce();
    loadFromFile();
}

} // namespace

QCoro::Task<> load() {
    if (state().key) co_return;
    switch (state().storage) {
    case Storage::refusing:
        logCreateFailed(QStringLiteral("keychain refused"));
        co_return;
    case Storage::file:
        loadFromFile();
        co_return;
    case Storage::keychain:
        co_await loadFromKeychain();
        co_return;
    }
}

bool isLoaded() {
    return state().key != nullptr;
}

std::optional<QString> publicKeyB64() {
    if (!state().key) return std::nullopt;
    unsigned char* point = nullptr;
    const size_t length = EVP_PKEY_get1_encoded_public_key(state().key.get(), &point);
    if (length == 0 || !point) return std::nullopt;
    const QByteArray bytes(reinterpret_cast<const char*>(point), qsizetype(length));
    OPENSSL_free(point);
    return QString::fromLatin1(bytes.toBase64());
}

std::optional<QString> sign(const QByteArray& data) {
    if (!state().key) return std::nullopt;
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> ctx(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    size_t length = 0;
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.constData());
    if (!ctx ||
        EVP_DigestSignInit(ctx.get(), nullptr, EVP_sha256(), nullptr, state().key.get()) != 1 ||
        EVP_DigestSign(ctx.get(), nullptr, &length, bytes, size_t(data.size())) != 1)
        return std::nullopt;
    QByteArray signature(qsizetype(length), Qt::Uninitialized);
    if (EVP_DigestSign(ctx.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
                       bytes, size_t(data.size())) != 1)
        return std::nullopt;
    signature.resize(qsizetype(length));
    return QString::fromLatin1(signature.toBase64());
}

void setStorage(Storage storage, const QString& path) {
    state().storage = storage;
    state().filePath = path;
    state().key.reset();
}

void unload() {
    state().key.reset();
}

} // namespace DeviceKey
