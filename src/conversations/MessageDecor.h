#pragma once

// Small lookups around a message: sender name colours and file icons.

#include <QColor>
#include <QList>
#include <QString>

// Six opaque colours for sender names in groups.
const QList<QColor>& senderPalette();

// The same name gets the same colour on every device: a djb2 hash of the
// name's UTF-8 bytes picks from senderPalette().
QColor senderColor(const QString& name);

// Symbol names (as in "doc.richtext", "photo") for a file by the lower-cased
// extension of its name. The chip in a message and the composer's list use
// deliberately different tables.
namespace FileChip {
QString fileIcon(const QString& name);
}
namespace FileComposer {
QString icon(const QString& name);
}

// The lower-cased extension of the last path component: "a/b.TAR.GZ" -> "gz";
// none for "README" or ".profile".
QString lowerPathExtension(const QString& name);
