#include "ui/QRSupport.h"

#include "federation/Pairing.h"
#include "net/QRCode.h"

#include <QBuffer>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

QString qrImageDataUrl(const QString& text) {
    const QImage image = pairingQRImage(text);
    if (image.isNull()) return {};
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG")) return {};
    return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(png.toBase64());
}

bool saveQRImage(const QString& text, const QUrl& file) {
    const QImage image = pairingQRImage(text);
    const QString path = file.isLocalFile() ? file.toLocalFile() : file.toString();
    return !image.isNull() && !path.isEmpty() && image.save(path, "PNG");
}

std::optional<QString> qrTextFromFile(const QUrl& file) {
    QFile f(file.isLocalFile() ? file.toLocalFile() : file.toString());
    if (!f.open(QIODevice::ReadOnly)) return std::nullopt;
    const auto text = decodeQR(f.readAll());
    if (!text || text->trimmed().isEmpty()) return std::nullopt;
    return text->trimmed();
}

std::optional<QString> qrTextFromClipboard() {
    const QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* mime = clipboard ? clipboard->mimeData() : nullptr;
    if (!mime || !mime->hasImage()) return std::nullopt;
    const auto text = decodeQR(qvariant_cast<QImage>(mime->imageData()));
    if (!text || text->trimmed().isEmpty()) return std::nullopt;
    return text->trimmed();
}
