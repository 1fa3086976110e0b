#include "core/Appearance.h"

namespace {
constexpr const char* accentRaw[] = {"Blue", "Pink", "Mint", "Lavender", "Peach"};

constexpr const char* designRaw[] = {"Classic", "Light", "Grey"};
} // namespace

QString rawValue(AppDesign design) {
    return QString::fromLatin1(designRaw[static_cast<int>(design)]);
}

std::optional<AppDesign> designFromRaw(const QString& raw) {
    for (AppDesign d : allDesigns)
        if (raw == QLatin1String(designRaw[static_cast<int>(d)])) return d;
    return std::nullopt;
}

QString rawValue(AppAccent accent) {
    return QString::fromLatin1(accentRaw[static_cast<int>(accent)]);
}

std::optional<AppAccent> accentFromRaw(const QString& raw) {
    for (AppAccent a : allAccents)
        if (raw == QLatin1String(accentRaw[static_cast<int>(a)])) return a;
    return std::nullopt;
}
