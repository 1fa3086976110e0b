#include "conversations/SpeechLanguage.h"

#include "store/Store.h"

#include <QLocale>

QString speechLanguageCode(const QString& chosen, const QStringList& preferredLanguages) {
    if (!chosen.isEmpty()) return chosen;
    for (const QString& language : preferredLanguages)
        if (language != QLatin1String("C") && language != QLatin1String("POSIX"))
            return language.left(2);
    return QStringLiteral("en");
}

QString userSpeechLanguageCode() {
    const AppLanguage current = Loc::current();
    return speechLanguageCode(current == AppLanguage::system ? QString() : rawValue(current),
                              QLocale::system().uiLanguages());
}
