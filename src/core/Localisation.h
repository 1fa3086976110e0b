#pragma once

// The client is written in English and shown in four languages. The English
// text itself is the key: L(text) turns it into the current language when it
// is displayed, LSys(text) does the same for a system note from the host.

#include <QString>
#include <QStringList>
#include <optional>

enum class AppLanguage { system, en, de, fr, es };
inline constexpr AppLanguage allLanguages[] = {AppLanguage::system, AppLanguage::en,
                                               AppLanguage::de, AppLanguage::fr, AppLanguage::es};

std::optional<AppLanguage> appLanguageFromRaw(const QString& raw);
QString rawValue(AppLanguage language);
// What the language picker shows.
QString label(AppLanguage language);
// The language actually used: "en", "de", "fr" or "es". `system` follows the
// platform's preferred languages.
QString code(AppLanguage language);
// The rule behind `system`: the first two characters of the first preferred
// language when the client speaks it, English otherwise.
QString systemLanguageCode(const QStringList& preferredLanguages);

namespace Loc {
// The language of the whole process. The first read takes it from the
// preferences key `appLanguage`; a missing or unknown value means `system`.
AppLanguage current();
// Main thread only; tells LocNotifier when the language really changes.
void setCurrent(AppLanguage language);
// Reads `appLanguage` again and makes it current.
AppLanguage loadFromPrefs();
// code(current()), worked out once per change rather than on every lookup.
QString code();
} // namespace Loc

QString L(const QString& text);
QString LSys(const QString& text);

// Replaces each "%@" in turn with the next argument; inserted text is not
// scanned again, and a "%@" without an argument stays as it is.
QString fillIn(const QString& text, const QStringList& args);

// Translate first, then fill: L("Move to %@") with the argument inside.
template <typename... Args>
QString Lf(const QString& text, const Args&... args) {
    return fillIn(L(text), QStringList{QString(args)...});
}
