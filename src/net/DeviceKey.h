#pragma once

// This device's one P-256 key pair. The private key lives in the platform
// keychain (Secret Service through QtKeychain); when no secret service
// answers it is kept in a file only the user can read. It survives logout.

#include <QByteArray>
#include <QCoroTask>
#include <QString>
#include <optional>

namespace DeviceKey {

// Keychain application tag: the name the key is stored under.
inline constexpr const char* tag = "cc.velmarin.device-key";

// Finds the key, or creates and stores it on first use. Safe to call often:
// after the first success it returns at once.
QCoro::Task<> load();
bool isLoaded();

// Base64 of the X9.63 uncompressed public point; absent without a key.
std::optional<QString> publicKeyB64();
// Base64 of an ECDSA-SHA256 signature (X9.62 DER) over the data.
std::optional<QString> sign(const QByteArray& data);

// Where the key lives. Tests use a private file so they never touch a real keychain,
// or a refusing store to exercise a keychain that cannot create keys.
enum class Storage { keychain, file, refusing };
void setStorage(Storage storage, const QString& filePath = {});
// Forgets the key held in memory (the stored key stays).
void unload();

} // namespace DeviceKey
