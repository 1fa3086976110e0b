#include "ui/DesktopLook.h"
#include "core/PrefKeys.h"

#include "core/Prefs.h"
#include "store/Store.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace {
// The freedesktop settings portal: org.freedesktop.appearance color-scheme is
// 0 for no preference, 1 for dark, 2 for light.
std::optional<uint> portalColorScheme() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return std::nullopt;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"),
        QStringLiteral("/org/freedesktop/portal/desktop"),
        QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("Read"));
    call << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme");
    const QDBusMessage reply = bus.call(call, QDBus::Block, 300);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    QVariant value = reply.arguments().first();
    // The value comes wrapped in one or two variants.
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    bool ok = false;
    const uint scheme = value.toUInt(&ok);
    return ok ? std::optional(scheme) : std::nullopt;
}
} // namespace

std::optional<bool> desktopPrefersDark() {
    const auto scheme = portalColorScheme();
    if (!scheme || *scheme == 0 || *scheme > 2) return std::nullopt;
    return *scheme == 1;
}

bool adoptDesktopLookOnFirstStart(Store& store, std::optional<bool> prefersDark) {
    const QString key = PrefKey::design;
    if (Prefs::shared().contains(key)) return false;
    const AppDesign design = prefersDark == false ? AppDesign::light : AppDesign::classic;
    store.setDesign(design);
    // setDesign stores only a change; the default must be written too.
    Prefs::shared().setValue(key, rawValue(design));
    return true;
}
