#pragma once

// QR codes for the sheets: shown as an image URL QML can load, saved as a
// picture, and read back from a picked file or the clipboard.

#include <QString>
#include <QUrl>
#include <optional>

// A data: URL of a PNG QR code for the text; empty when the text does not fit a code.
QString qrImageDataUrl(const QString& text);
// Writes the QR code of the text as a PNG; false when it cannot.
bool saveQRImage(const QString& text, const QUrl& file);
// The text of the QR code in a picture file, absent when none is found.
std::optional<QString> qrTextFromFile(const QUrl& file);
// The text of a QR code in the clipboard's picture, absent when none is found.
std::optional<QString> qrTextFromClipboard();
