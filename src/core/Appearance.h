#pragma once

// The look a person chose: three designs and five accents, both stored as their
// raw text. What they look like is the interface's business.

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
