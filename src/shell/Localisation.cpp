#include "shell/Localisation.h"

#include "shell/LocNotifier.h"
#include "shell/Translations.h"
#include "store/Prefs.h"

#include <QHash>
#include <QLocale>
#include <QRegularExpression>
#include <array>
#include <atomic>

namespace {

// The translated languages, by their column in the tables; English has none.
constexpr AppLanguage translatedLanguages[] = {AppLanguage::de, AppLanguage::fr, AppLanguage::es};
constexpr int englishSlot = -1;

int slotOf(const QString& code) {
    for (int slot = 0; slot < int(std::size(translatedLanguages)); ++slot)
        if (rawValue(translatedLanguages[slot]) == code) return slot;
    return englishSlot;
}

template <typename Row>
const char* inLanguage(const Row& row, int slot) {
    switch (slot) {
    case 0:
        return row.de;
    case 1:
        return row.fr;
    case 2:
        return row.es;
    }
    return nullptr;
}

QString fromTable(const char* text) {
    return text ? QString::fromUtf8(text) : QString();
}

using Translated = std::array<QString, 3>;

const QHash<QString, Translated>& table() {
    static const QHash<QString, Translated> hash = [] {
        QHash<QString, Translated> h;
        for (const auto rows :
             {translationRows(), agentViewTranslationRows(), joinTranslationRows(),
              groupsTranslationRows(), bubbleTranslationRows()})
            for (const auto& row : rows)
                h.insert(QString::fromUtf8(row.en),
                         {fromTable(row.de), fromTable(row.fr), fromTable(row.es)});
        return h;
    }();
    return hash;
}

std::optional<QString> lookup(const QString& text, int slot) {
    const auto& hash = table();
    const auto it = hash.constFind(text);
    if (it == hash.cend() || (*it)[size_t(slot)].isEmpty()) return std::nullopt;
    return (*it)[size_t(slot)];
}

// Every "$<n>" becomes group n; a group that took part in nothing leaves its
// "$<n>" alone.
QString fillGroups(QString result, const QRegularExpressionMatch& match) {
    for (int group = 1; group <= match.lastCapturedIndex(); ++group) {
        if (!match.hasCaptured(group)) continue;
        result.replace(u'$' + QString::number(group), match.captured(group));
    }
    return result;
}

std::optional<QString> fromTemplates(const QString& text, int slot) {
    for (const auto& entry : sysNoteTemplates()) {
        const char* replacement = inLanguage(entry, slot);
        if (!replacement) continue;
        const QRegularExpression pattern(QString::fromUtf8(entry.pattern));
        if (!pattern.isValid()) continue;
        const auto match = pattern.match(text);
        if (match.hasMatch()) return fillGroups(QString::fromUtf8(replacement), match);
    }
    return std::nullopt;
}

AppLanguage languageInPrefs() {
    const auto raw = Prefs::shared().string(QStringLiteral("appLanguage"));
    if (!raw) return AppLanguage::system;
    return appLanguageFromRaw(*raw).value_or(AppLanguage::system);
}

// Atomics because texts may be formatted off the main thread while the
// language is only ever written on it.
struct Current {
    explicit Current(AppLanguage l) : language(l), slot(slotOf(code(l))) {}
    std::atomic<AppLanguage> language;
    std::atomic<int> slot;
};

Current& current() {
    static Current state(languageInPrefs());
    return state;
}

} // namespace

std::optional<AppLanguage> appLanguageFromRaw(const QString& raw) {
    for (const auto language : allLanguages)
        if (rawValue(language) == raw) return language;
    return std::nullopt;
}

QString rawValue(AppLanguage language) {
    switch (language) {
    case AppLanguage::system:
        return QStringLiteral("system");
    case AppLanguage::en:
        return QStringLiteral("en");
    case AppLanguage::de:
        return QStringLiteral("de");
    case AppLanguage::fr:
        return QStringLiteral("fr");
    case AppLanguage::es:
        return QStringLiteral("es");
    }
    return {};
}

QString label(AppLanguage language) {
    switch (language) {
    case AppLanguage::system:
        return QStringLiteral("System");
    case AppLanguage::en:
        return QStringLiteral("English");
    case AppLanguage::de:
        return QStringLiteral("Deutsch");
    case AppLanguage::fr:
        return QStringLiteral("Français");
    case AppLanguage::es:
        return QStringLiteral("Español");
    }
    return {};
}

QString code(AppLanguage language) {
    if (language == AppLanguage::system) return systemLanguageCode(QLocale::system().uiLanguages());
    return rawValue(language);
}

QString systemLanguageCode(const QStringList& preferredLanguages) {
    const QString first =
        preferredLanguages.isEmpty() ? QStringLiteral("en") : preferredLanguages.first().left(2);
    return slotOf(first) == englishSlot ? QStringLiteral("en") : first;
}

AppLanguage Loc::current() {
    return ::current().language.load();
}

void Loc::setCurrent(AppLanguage language) {
    auto& state = ::current();
    const bool changed = state.language.exchange(language) != language;
    state.slot.store(slotOf(::code(language)));
    if (changed) LocNotifier::instance()->announceChange();
}

AppLanguage Loc::loadFromPrefs() {
    const AppLanguage language = languageInPrefs();
    setCurrent(language);
    return language;
}

QString Loc::code() {
    const int slot = ::current().slot.load();
    return slot == englishSlot ? QStringLiteral("en") : rawValue(translatedLanguages[slot]);
}

QString L(const QString& text) {
    const int slot = current().slot.load(std::memory_order_relaxed);
    if (slot == englishSlot) return text;
    return lookup(text, slot).value_or(text);
}

QString LSys(const QString& text) {
    const int slot = current().slot.load(std::memory_order_relaxed);
    if (slot == englishSlot) return text;
    if (auto whole = lookup(text, slot)) return *whole;
    return fromTemplates(text, slot).value_or(text);
}

QString fillIn(const QString& text, const QStringList& args) {
    const QStringView view(text);
    QString out;
    out.reserve(text.size());
    qsizetype from = 0;
    for (const auto& arg : args) {
        const qsizetype at = text.indexOf(u"%@", from);
        if (at < 0) break;
        out += view.mid(from, at - from);
        out += arg;
        from = at + 2;
    }
    out += view.mid(from);
    return out;
}
