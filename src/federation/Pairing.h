#pragma once

// What a pairing QR carries, and the QR image itself.

#include <QImage>
#include <QJsonObject>
#include <QString>
#include <optional>

struct PairingPayload {
    int v = 1;
    QString url;
    QString fp;
    QString code;

    // Compact JSON; an empty text when it cannot be encoded.
    QString qrString() const;
    // Only a JSON object is a payload: that is how a bare code is told apart.
    static std::optional<PairingPayload> parse(const QString& text);
    static PairingPayload fromJson(const QJsonObject& o);
    QJsonObject toJson() const;
    bool operator==(const PairingPayload&) const = default;
};

// A black-on-white QR code for the text with a quiet zone, each module
// `scale` pixels wide; a null image when the text does not fit a code.
QImage pairingQRImage(const QString& text, int scale = 8);
