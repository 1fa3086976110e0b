#pragma once

// Views name icons by their symbol names ("stop.circle.fill"). This is the one
// place that turns a symbol name into a glyph of the bundled icon font, so every
// icon renders the same on every platform and offscreen.

#include <QString>
#include <QStringList>

namespace Icons {
// The family name of the bundled icon font once loaded.
QString fontFamily();
// Loads the icon font from the app's resources; returns false when it is missing.
bool loadFont();
// The glyph of a symbol as a one-character string, or the empty text for a
// name the table does not know.
QString glyph(const QString& symbol);
// The code point behind a symbol, 0 when unknown.
char32_t codePoint(const QString& symbol);
QStringList knownSymbols();
} // namespace Icons
