#include "support/TestSupport.h"

#include "core/Prefs.h"

ScopedPrefs::ScopedPrefs() : m_dir(std::make_unique<QTemporaryDir>()) {
    Prefs::useFile(path());
}

ScopedPrefs::~ScopedPrefs() {
    Prefs::useFile(m_dir->filePath(QStringLiteral("after.conf")));
}

QString ScopedPrefs::path() const {
    return m_dir->filePath(QStringLiteral("Velmarin.conf"));
}
