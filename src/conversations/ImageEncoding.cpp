#include "conversations/ImageEncoding.h"

#include <QBuffer>
#include <QFuture>
#include <QImageReader>
#include <QImageWriter>
#include <QtConcurrent/QtConcurrentRun>
#include <qcoro/qcorofuture.h>

namespace {

// A reader over bytes that applies the file's orientation.
struct Reader {
    QByteArray bytes;
    QBuffer buffer;
    QImageReader reader;
    explicit Reader(const QByteArray& data) : bytes(data), buffer(&bytes) {
        buffer.open(QIODevice::ReadOnly);
        reader.setDevice(&buffer);
        reader.setAutoTransform(true);
    }
};

QSize fitted(QSize size, int maxPixel) {
    const int longest = std::max(size.width(), size.height());
    if (longest <= maxPixel || longest <= 0) return size;
    return size.scaled(maxPixel, maxPixel, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

} // namespace

std::optional<QImage> decodedImage(const QByteArray& data) {
    Reader r(data);
    QImage image = r.reader.read();
    if (image.isNull()) return std::nullopt;
    return image;
}

std::optional<QSize> imagePixelSize(const QByteArray& data) {
    Reader r(data);
    if (!r.reader.canRead()) return std::nullopt;
    QSize size = r.reader.size();
    if (!size.isValid()) {
        const QImage image = r.reader.read();
        if (image.isNull()) return std::nullopt;
        return image.size();
    }
    // A quarter turn swaps the sides.
    if (r.reader.transformation() & QImageIOHandler::TransformationRotate90) size.transpose();
    return size;
}

std::optional<QByteArray> makeAvatarJPEG(const QByteArray& data, int maxPixel, double quality) {
    Reader r(data);
    if (!r.reader.canRead()) return std::nullopt;
    // Scaling while decoding keeps big photos from being decoded at full size.
    const QSize size = r.reader.size();
    if (size.isValid()) r.reader.setScaledSize(fitted(size, std::max(1, maxPixel)));
    QImage image = r.reader.read();
    if (image.isNull()) return std::nullopt;
    if (!size.isValid()) {
        const QSize target = fitted(image.size(), std::max(1, maxPixel));
        if (target != image.size())
            image = image.scaled(target, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    // JPEG has no transparency: transparent parts turn white, not black.
    if (image.hasAlphaChannel()) {
        QImage flat(image.size(), QImage::Format_RGB32);
        flat.fill(Qt::white);
        const QImage source = image.convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < source.height(); ++y) {
            const auto* in = reinterpret_cast<const QRgb*>(source.constScanLine(y));
            auto* out = reinterpret_cast<QRgb*>(flat.scanLine(y));
            for (int x = 0; x < source.width(); ++x) {
                const int a = qAlpha(in[x]);
                const auto blend = [a](int c) { return (c * a + 255 * (255 - a)) / 255; };
                out[x] = qRgb(blend(qRed(in[x])), blend(qGreen(in[x])), blend(qBlue(in[x])));
            }
        }
        image = flat;
    }
    QByteArray jpeg;
    QBuffer out(&jpeg);
    out.open(QIODevice::WriteOnly);
    QImageWriter writer(&out, "jpeg");
    writer.setQuality(std::clamp(int(std::lround(quality * 100)), 0, 100));
    if (!writer.write(image)) return std::nullopt;
    return jpeg;
}

QCoro::Task<QList<QByteArray>> encodeImagesConcurrently(QList<QByteArray> images, int maxPixel,
                                                        double quality) {
    QList<QFuture<std::optional<QByteArray>>> running;
    for (const QByteArray& image : std::as_const(images))
        running.push_back(QtConcurrent::run(
            [image, maxPixel, quality] { return makeAvatarJPEG(image, maxPixel, quality); }));
    QList<QByteArray> out;
    for (QFuture<std::optional<QByteArray>>& future : running) {
        const std::optional<QByteArray> jpeg = co_await future;
        if (jpeg) out.push_back(*jpeg);
    }
    co_return out;
}
