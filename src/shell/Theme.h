#pragma once

// The look: three designs and five accent colours, both stored as their raw text.

#include <QColor>
#include <QString>
#include <optional>

enum class AppDesign { classic, light, grey };
inline constexpr AppDesign allDesigns[] = {AppDesign::classic, AppDesign::light, AppDesign::grey};
QString rawValue(AppDesign design);
std::optional<AppDesign> designFromRaw(const QString& raw);

enum class AppAccent { blue, pink, mint, lavender, peach };
inline constexpr AppAccent allAccents[] = {AppAccent::blue, AppAccent::pink, AppAccent::mint,
                                           AppAccent::lavender, AppAccent::peach};
QString rawValue(AppAccent accent);
std::optional<AppAccent> accentFromRaw(const QString& raw);
QColor color(AppAccent accent);

// The accent in force, for drawing code outside the store.
QColor currentAccentColor();
void setCurrentAccentColor(const QColor& color);
