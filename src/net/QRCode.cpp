#include "net/QRCode.h"

#include <QBuffer>
#include <QImageReader>

// Text as UTF-8 rather than the older wide-string form.
#define ZX_USE_UTF8 1
#include <ZXing/ReadBarcode.h>

namespace {
// Larger pictures are scaled down first: a code that fills a photo stays
// readable, and decoding time stays bounded.
constexpr int maxSide = 2048;
} // namespace

std::optional<QString> decodeQR(const QImage& image) {
    if (image.isNull()) return std::nullopt;
    QImage gray = image;
    if (gray.width() > maxSide || gray.height() > maxSide)
        gray = gray.scaled(maxSide, maxSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    gray = gray.convertToFormat(QImage::Format_Grayscale8);
    const ZXing::ImageView view(gray.constBits(), gray.width(), gray.height(),
                                ZXing::ImageFormat::Lum, int(gray.bytesPerLine()));
    ZXing::DecodeHints hints;
    hints.setFormats(ZXing::BarcodeFormat::QRCode);
    hints.setTryHarder(true);
    hints.setTryRotate(true);
    const ZXing::Result result = ZXing::ReadBarcode(view, hints);
    if (!result.isValid()) return std::nullopt;
    const std::string text = result.text();
    if (text.empty()) return std::nullopt;
    return QString::fromStdString(text);
}

std::optional<QString> decodeQR(const QByteArray& imageData) {
    QBuffer buffer;
    buffer.setData(imageData);
    if (!buffer.open(QIODevice::ReadOnly)) return std::nullopt;
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (size.isValid() && (size.width() > maxSide || size.height() > maxSide))
        reader.setScaledSize(size.scaled(maxSide, maxSide, Qt::KeepAspectRatio));
    return decodeQR(reader.read());
}
