#include "support/ClientEnv.h"

#include "model/Config.h"
#include "net/DeviceKey.h"
#include "net/Pinning.h"

ClientEnv::ClientEnv() {
    PinRegistry::shared().reload();
    DeviceKey::setStorage(DeviceKey::Storage::file, keyPath());
    const QString closed = QString::fromLatin1(kClosedServer);
    Config::overrideWellKnownServers(closed, closed, closed);
}

ClientEnv::~ClientEnv() {
    DeviceKey::unload();
    Config::resetWellKnownServers();
}

QString ClientEnv::keyPath() const { return m_keys.filePath(QStringLiteral("device-key.der")); }

void ClientEnv::useKeyFile(const QString& path) {
    DeviceKey::setStorage(DeviceKey::Storage::file, path);
}
