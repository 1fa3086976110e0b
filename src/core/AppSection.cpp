#include "core/AppSection.h"

#include "core/Localisation.h"

namespace {
struct SectionRow {
    AppSection section;
    const char* raw;
    const char* title; // the English key of the shown title
    const char* icon;
};

constexpr SectionRow sectionRows[] = {
    {AppSection::people, "Conversation", "Conversation", "ellipsis.bubble.fill"},
    {AppSection::work, "Work", "Work", "doc.text.fill"},
    {AppSection::contacts, "People", "People", "person.2.fill"},
    {AppSection::fleet, "Fleet", "Monitor", "server.rack"},
    {AppSection::usage, "Usage", "AI", "gauge.with.dots.needle.67percent"},
    {AppSection::profile, "Profile", "Profile", "person.crop.circle.fill"},
    {AppSection::mac, "Mac", "Mac", "desktopcomputer"},
};

const SectionRow& row(AppSection section) {
    return sectionRows[static_cast<int>(section)];
}
} // namespace

QString rawValue(AppSection section) {
    return QString::fromLatin1(row(section).raw);
}

std::optional<AppSection> sectionFromRaw(const QString& raw) {
    for (const SectionRow& r : sectionRows)
        if (raw == QLatin1String(r.raw)) return r.section;
    return std::nullopt;
}

QString localizedTitle(AppSection section) {
    return L(QString::fromLatin1(row(section).title));
}

QString icon(AppSection section) {
    return QString::fromLatin1(row(section).icon);
}

std::optional<QString> customIcon(AppSection section) {
    if (section == AppSection::people) return QStringLiteral("icon-chat");
    return std::nullopt;
}

QString badgeText(int count) {
    if (count <= 0) return {};
    if (count > 99) return QStringLiteral("99+");
    return QString::number(count);
}
