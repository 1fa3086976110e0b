#include "ui/Palette.h"

#include <cmath>

namespace {

struct Base {
    QColor rail, window, surface, surfaceRaised, conversation, separator, fieldBorder, text,
        textSecondary;
};

Base baseFor(AppDesign design) {
    switch (design) {
    case AppDesign::light:
        return {QColor(QRgb(0xE8EAEE)), QColor(QRgb(0xF5F6F8)), QColor(QRgb(0xFFFFFF)),
                QColor(QRgb(0xECEEF1)), QColor(QRgb(0xFFFFFF)), QColor(QRgb(0xDADDE2)),
                QColor(QRgb(0xC4C8CF)), QColor(QRgb(0x17191C)), QColor(QRgb(0x565C66))};
    case AppDesign::grey:
        return {QColor(QRgb(0x25272B)), QColor(QRgb(0x2E3035)), QColor(QRgb(0x383A40)),
                QColor(QRgb(0x43464D)), QColor(QRgb(0x313338)), QColor(QRgb(0x44474E)),
                QColor(QRgb(0x55585F)), QColor(QRgb(0xF0F1F3)), QColor(QRgb(0xBBBFC7))};
    case AppDesign::classic:
        break;
    }
    // Classic: dark chrome around a pure black conversation.
    return {QColor(QRgb(0x0B0C0E)), QColor(QRgb(0x16171A)), QColor(QRgb(0x1F2125)),
            QColor(QRgb(0x2A2D32)), QColor(QRgb(0x000000)), QColor(QRgb(0x2C2F34)),
            QColor(QRgb(0x3A3E44)), QColor(QRgb(0xEDEEF0)), QColor(QRgb(0xA7ACB4))};
}

struct AccentRgb {
    double red, green, blue;
};

constexpr AccentRgb accentRgb[] = {
    {0.2, 0.56, 0.93}, {0.91, 0.46, 0.62}, {0.3, 0.72, 0.6}, {0.6, 0.53, 0.9}, {0.95, 0.58, 0.4},
};

double channel(double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

QColor mix(const QColor& a, const QColor& b, double t) {
    return QColor::fromRgbF(float(a.redF() + (b.redF() - a.redF()) * t),
                            float(a.greenF() + (b.greenF() - a.greenF()) * t),
                            float(a.blueF() + (b.blueF() - a.blueF()) * t));
}

bool meets(const QColor& c, const QList<QColor>& backgrounds, double minimum) {
    for (const QColor& bg : backgrounds)
        if (contrastRatio(c, bg) < minimum) return false;
    return true;
}

} // namespace

QColor color(AppAccent accent) {
    const AccentRgb& rgb = accentRgb[static_cast<int>(accent)];
    return QColor::fromRgbF(float(rgb.red), float(rgb.green), float(rgb.blue));
}

double relativeLuminance(const QColor& color) {
    const QColor c = color.toRgb();
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

double contrastRatio(const QColor& a, const QColor& b) {
    const double la = relativeLuminance(a);
    const double lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor withContrast(const QColor& color, const QList<QColor>& backgrounds, double minimum) {
    if (backgrounds.isEmpty() || meets(color, backgrounds, minimum)) return color;
    double average = 0;
    for (const QColor& bg : backgrounds)
        average += relativeLuminance(bg);
    average /= double(backgrounds.size());
    const QColor target = average < 0.18 ? QColor(Qt::white) : QColor(Qt::black);
    for (int step = 1; step <= 50; ++step) {
        const QColor candidate = mix(color, target, step / 50.0);
        if (meets(candidate, backgrounds, minimum)) return candidate;
    }
    return target;
}

Palette paletteFor(AppDesign design, AppAccent accent) {
    const Base b = baseFor(design);
    Palette p;
    p.dark = design != AppDesign::light;
    p.rail = b.rail;
    p.window = b.window;
    p.surface = b.surface;
    p.surfaceRaised = b.surfaceRaised;
    p.conversation = b.conversation;
    p.separator = b.separator;
    p.fieldBorder = b.fieldBorder;
    p.text = b.text;
    p.textSecondary = b.textSecondary;
    p.accent = color(accent);
    p.accentForeground = QColor(Qt::white);
    // Deepen the accent until white text on it is readable.
    p.accentFill = p.accent;
    for (int step = 0; contrastRatio(p.accentForeground, p.accentFill) < 4.6 && step < 50; ++step)
        p.accentFill = mix(p.accent, QColor(Qt::black), (step + 1) / 50.0);
    const QList<QColor> chrome{b.window, b.surface, b.surfaceRaised, b.conversation, b.rail};
    p.accentText = withContrast(p.accent, chrome, 4.6);
    p.focusRing = withContrast(p.accent, chrome, 3.0);
    p.online = p.dark ? QColor(QRgb(0x3FB950)) : QColor(QRgb(0x1F8A3B));
    p.ahead = p.dark ? QColor(QRgb(0xE3A33A)) : QColor(QRgb(0xB86E00));
    p.danger = p.dark ? QColor(QRgb(0xF0625A)) : QColor(QRgb(0xC9302C));
    p.unknown = p.dark ? QColor(QRgb(0x8B9099)) : QColor(QRgb(0x8A9099));
    p.dangerText = withContrast(p.danger, chrome, 4.6);
    p.badge = QColor(QRgb(0xD42C22));
    p.badgeForeground = QColor(Qt::white);
    p.toast = p.dark ? QColor(QRgb(0xEDEEF0)) : QColor(QRgb(0x2A2D32));
    p.toastForeground = p.dark ? QColor(QRgb(0x17191C)) : QColor(QRgb(0xFFFFFF));
    p.scrim = QColor(0, 0, 0, p.dark ? 150 : 90);
    return p;
}

QList<ColorPair> textPairs(const Palette& p) {
    QList<ColorPair> pairs;
    const std::pair<const char*, QColor> grounds[] = {
        {"rail", p.rail},
        {"window", p.window},
        {"surface", p.surface},
        {"surfaceRaised", p.surfaceRaised},
        {"conversation", p.conversation},
    };
    for (const auto& [name, bg] : grounds) {
        const QString on = QStringLiteral(" on ") + QLatin1String(name);
        pairs.append({QStringLiteral("text") + on, p.text, bg});
        pairs.append({QStringLiteral("textSecondary") + on, p.textSecondary, bg});
        pairs.append({QStringLiteral("accentText") + on, p.accentText, bg});
        pairs.append({QStringLiteral("dangerText") + on, p.dangerText, bg});
    }
    pairs.append(
        {QStringLiteral("accentForeground on accentFill"), p.accentForeground, p.accentFill});
    pairs.append({QStringLiteral("badgeForeground on badge"), p.badgeForeground, p.badge});
    pairs.append({QStringLiteral("toastForeground on toast"), p.toastForeground, p.toast});
    return pairs;
}

QVariantMap toVariantMap(const Palette& p) {
    return {
        {QStringLiteral("dark"), p.dark},
        {QStringLiteral("rail"), p.rail},
        {QStringLiteral("window"), p.window},
        {QStringLiteral("surface"), p.surface},
        {QStringLiteral("surfaceRaised"), p.surfaceRaised},
        {QStringLiteral("conversation"), p.conversation},
        {QStringLiteral("separator"), p.separator},
        {QStringLiteral("fieldBorder"), p.fieldBorder},
        {QStringLiteral("text"), p.text},
        {QStringLiteral("textSecondary"), p.textSecondary},
        {QStringLiteral("accent"), p.accent},
        {QStringLiteral("accentFill"), p.accentFill},
        {QStringLiteral("accentText"), p.accentText},
        {QStringLiteral("accentForeground"), p.accentForeground},
        {QStringLiteral("focusRing"), p.focusRing},
        {QStringLiteral("online"), p.online},
        {QStringLiteral("ahead"), p.ahead},
        {QStringLiteral("danger"), p.danger},
        {QStringLiteral("unknown"), p.unknown},
        {QStringLiteral("dangerText"), p.dangerText},
        {QStringLiteral("badge"), p.badge},
        {QStringLiteral("badgeForeground"), p.badgeForeground},
        {QStringLiteral("toast"), p.toast},
        {QStringLiteral("toastForeground"), p.toastForeground},
        {QStringLiteral("scrim"), p.scrim},
    };
}
