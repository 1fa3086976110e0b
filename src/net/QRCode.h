#pragma once

// Reading the text of a QR code from a picture: an invite code or a pairing
// payload that a person picked as a file or pasted.

#include <QByteArray>
#include <QImage>
#include <QString>
#include <optional>

// The text of the first QR code found in the image; absent when there is none.
std::optional<QString> decodeQR(const QImage& image);
// The same for encoded image bytes (PNG, JPEG, ...); bytes that are no image
// give an absent result.
std::optional<QString> decodeQR(const QByteArray& imageData);
