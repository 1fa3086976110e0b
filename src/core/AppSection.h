#pragma once

// The sections of the app, in the order the rail shows them. A section is
// identified by its raw value; the case names are historical (`people` is the
// conversations section, `contacts` the people section).

#include <QString>
#include <optional>

enum class AppSection { people, work, contacts, fleet, usage, profile, mac };
inline constexpr AppSection allSections[] = {
    AppSection::people, AppSection::work,    AppSection::contacts, AppSection::fleet,
    AppSection::usage,  AppSection::profile, AppSection::mac};

QString rawValue(AppSection section);
std::optional<AppSection> sectionFromRaw(const QString& raw);
// The title in the current language.
QString localizedTitle(AppSection section);
// Symbol name of the section's icon.
QString icon(AppSection section);
// The app's own artwork for the section, when it has one.
std::optional<QString> customIcon(AppSection section);

// What an unread badge shows: nothing for 0, the count up to 99, then "99+".
QString badgeText(int count);
