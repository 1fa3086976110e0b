#pragma once

#include <QByteArray>
#include <QString>
#include <QStringDecoder>
#include <optional>

// A binary WebSocket frame counts only when it is valid UTF-8 as a whole.
inline std::optional<QString> strictUtf8(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) return std::nullopt;
    return text;
}
