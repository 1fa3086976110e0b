#include "shell/Theme.h"

namespace {
struct AccentRow {
    AppAccent accent;
    const char* raw;
    double red, green, blue;
};

constexpr AccentRow accentRows[] = {
    {AppAccent::blue, "Blue", 0.2, 0.56, 0.93},     {AppAccent::pink, "Pink", 0.91, 0.46, 0.62},
    {AppAccent::mint, "Mint", 0.3, 0.72, 0.6},      {AppAccent::lavender, "Lavender", 0.6, 0.53, 0.9},
    {AppAccent::peach, "Peach", 0.95, 0.58, 0.4},
};

constexpr const char* designRaw[] = {"Classic", "Light", "Grey"};

QColor& accentColor() {
    static QColor current = color(AppAccent::blue);
    return current;
}
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
    return QString::fromLatin1(accentRows[static_cast<int>(accent)].raw);
}

std::optional<AppAccent> accentFromRaw(const QString& raw) {
    for (const AccentRow& row : accentRows)
        if (raw == QLatin1String(row.raw)) return row.accent;
    return std::nullopt;
}

QColor color(AppAccent accent) {
    const AccentRow& row = accentRows[static_cast<int>(accent)];
    return QColor::fromRgbF(float(row.red), float(row.green), float(row.blue));
}

QColor currentAccentColor() { return accentColor(); }

void setCurrentAccentColor(const QColor& c) { accentColor() = c; }
