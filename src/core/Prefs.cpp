#include "core/Prefs.h"

#include <QStandardPaths>

namespace {
// $XDG_CONFIG_HOME/Velmarin/Velmarin.conf: QSettings would name an INI file
// of the user scope "Velmarin.ini", so the path is spelled out.
std::unique_ptr<QSettings> defaultSettings() {
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return std::make_unique<QSettings>(dir + QStringLiteral("/Velmarin/Velmarin.conf"),
                                       QSettings::IniFormat);
}

std::unique_ptr<Prefs>& instance() {
    static std::unique_ptr<Prefs> prefs;
    return prefs;
}
} // namespace

Prefs::Prefs(std::unique_ptr<QSettings> settings) : m_settings(std::move(settings)) {}

Prefs& Prefs::shared() {
    auto& prefs = instance();
    if (!prefs) prefs.reset(new Prefs(defaultSettings()));
    return *prefs;
}

void Prefs::useFile(const QString& path) {
    instance().reset(new Prefs(std::make_unique<QSettings>(path, QSettings::IniFormat)));
}

void Prefs::useDefaultLocation() {
    instance().reset(new Prefs(defaultSettings()));
}

bool Prefs::contains(const QString& key) const {
    return m_settings->contains(key);
}

QVariant Prefs::value(const QString& key) const {
    return m_settings->value(key);
}

void Prefs::setValue(const QString& key, const QVariant& value) {
    m_settings->setValue(key, value);
}

void Prefs::remove(const QString& key) {
    m_settings->remove(key);
}

void Prefs::sync() {
    m_settings->sync();
}

QString Prefs::fileName() const {
    return m_settings->fileName();
}

std::optional<QString> Prefs::string(const QString& key) const {
    const QVariant v = m_settings->value(key);
    if (!v.isValid()) return std::nullopt;
    return v.toString();
}

std::optional<bool> Prefs::boolean(const QString& key) const {
    const QVariant v = m_settings->value(key);
    if (!v.isValid()) return std::nullopt;
    // INI files give back text; accept both forms.
    if (v.typeId() == QMetaType::QString) return v.toString() == QLatin1String("true");
    return v.toBool();
}

std::optional<QByteArray> Prefs::bytes(const QString& key) const {
    const QVariant v = m_settings->value(key);
    if (!v.isValid()) return std::nullopt;
    return v.toByteArray();
}
