#include "agent/DemoMedia.h"

#include "Files.h"

#include <QFile>

#include <QDir>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <iterator>
#include <stdexcept>

namespace demomedia {
namespace {

constexpr int kWidth = 960;
constexpr int kHeight = 640;

struct Palette {
    QColor skyTop, skyBottom, sun, far, near;
};

const Palette kPalettes[] = {
    {QColor(0x1e, 0x3a, 0x8a), QColor(0xf9, 0xa8, 0xd4), QColor(0xfd, 0xe6, 0x8a),
     QColor(0x4c, 0x1d, 0x95), QColor(0x1e, 0x1b, 0x4b)},
    {QColor(0x38, 0xbd, 0xf8), QColor(0xe0, 0xf2, 0xfe), QColor(0xff, 0xff, 0xff),
     QColor(0x15, 0x80, 0x3d), QColor(0x14, 0x53, 0x2d)},
    {QColor(0xea, 0x58, 0x0c), QColor(0xfe, 0xd7, 0xaa), QColor(0xff, 0xf7, 0xed),
     QColor(0x92, 0x40, 0x0e), QColor(0x43, 0x14, 0x07)},
};

QPainterPath hills(double base, double amplitude, double phase) {
    QPainterPath path(QPointF(0, kHeight));
    for (int x = 0; x <= kWidth; x += 16)
        path.lineTo(x, base - amplitude * std::sin(x / 140.0 + phase) -
                           amplitude / 3 * std::sin(x / 47.0 + 2 * phase));
    path.lineTo(kWidth, kHeight);
    path.closeSubpath();
    return path;
}

} // namespace

Picture landscape(const QString& dataDir, int index) {
    const Palette& p = kPalettes[index % std::size(kPalettes)];
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, kHeight);
    sky.setColorAt(0, p.skyTop);
    sky.setColorAt(1, p.skyBottom);
    painter.fillRect(image.rect(), sky);
    painter.setPen(Qt::NoPen);
    painter.setBrush(p.sun);
    painter.drawEllipse(QPointF(220 + 230 * index, 210), 70, 70);
    painter.setBrush(p.far);
    painter.drawPath(hills(430, 60, index));
    painter.setBrush(p.near);
    painter.drawPath(hills(540, 40, index * 2 + 1));
    painter.end();
    const QDir dir(QDir(dataDir).filePath(QStringLiteral("seed-media")));
    if (!dir.mkpath(QStringLiteral(".")) ||
        !image.save(dir.filePath(QStringLiteral("%1.jpg").arg(index + 1)), "JPEG", 85))
        throw std::runtime_error("cannot write the demo pictures");
    return Picture{QStringLiteral("/api/seed/media/%1").arg(index + 1), kWidth, kHeight};
}

QString voice(const QString& dataDir, int index) {
    QFile file(QStringLiteral(":/demo/voice-%1.m4a").arg(index + 1));
    if (!file.open(QIODevice::ReadOnly)) throw std::runtime_error("the demo voice is missing");
    return files::mediaUrl(files::storeMedia(dataDir, file.readAll(), QStringLiteral("m4a")));
}

} // namespace demomedia
