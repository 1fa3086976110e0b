#pragma once

// The language a server should transcribe a voice message in.

#include <QString>
#include <QStringList>

// `chosen` is the raw value of the app's own language, empty when it follows
// the system. The system's choice is the first two letters of its first
// preferred language, or "en" when it names none: the POSIX "C" locale names none.
QString speechLanguageCode(const QString& chosen, const QStringList& preferredLanguages);
QString userSpeechLanguageCode();
