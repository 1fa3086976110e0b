#pragma once

// What the agent host writes into message texts. Clients read these strings
// back, so each one is fixed: whole-message prefixes, and marker lines that
// ride at the end of a text, each a control byte, a key, "=" and a value.

#include <QString>

namespace marker {

inline const QString control = QStringLiteral("\x02"
                                              "CCCTL");
inline const QString workingHead = QStringLiteral("💭 Claude is working…");
inline const QString workingPrefix = QStringLiteral("💭 Claude is working");
inline const QString priority = QStringLiteral("\x02"
                                               "CCNOW");
inline const QString priorityBare = QStringLiteral("CCNOW");
inline const QString systemNote = QStringLiteral("\x02"
                                                 "CCSYS");
inline const QString deploy = QStringLiteral("[DEPLOY]");

// Keys of marker lines, without the leading control byte and "=".
inline const QString msg = QStringLiteral("CCMSG");
inline const QString start = QStringLiteral("CCSTART");
inline const QString seen = QStringLiteral("CCSEEN");
inline const QString chrome = QStringLiteral("CCCHROME");
inline const QString shot = QStringLiteral("CCSHOT");
inline const QString forId = QStringLiteral("CCFOR");
inline const QString tokens = QStringLiteral("CCTOK");
inline const QString model = QStringLiteral("CCMODEL");
inline const QString effort = QStringLiteral("CCEFF");
inline const QString account = QStringLiteral("CCACCT");
inline const QString done = QStringLiteral("CCDONE");

// One marker line: "\x02KEY=value".
inline QString line(const QString& key, const QString& value) {
    return QStringLiteral("\x02%1=%2").arg(key, value);
}

inline bool isControl(const QString& text) {
    return text.startsWith(control);
}

inline bool isWorking(const QString& text) {
    return text.startsWith(workingPrefix);
}

} // namespace marker
