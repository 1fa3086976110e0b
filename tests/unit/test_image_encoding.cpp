#include "conversations/ImageEncoding.h"
#include "support/ClientEnv.h"

#include <QBuffer>
#include <QImageWriter>
#include <QTest>

namespace {
QByteArray encoded(const QImage& image, const char* format,
                   QImageIOHandler::Transformations turn = QImageIOHandler::TransformationNone) {
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setTransformation(turn);
    writer.write(image);
    return out;
}

// Left half red, right half blue: which way up the result is shows in its colours.
QImage halves(int w, int h) {
    QImage image(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, x < w / 2 ? qRgb(255, 0, 0) : qRgb(0, 0, 255));
    return image;
}
} // namespace

// Images leave the client resized, upright and as JPEG, several at once off
// the main thread and back in their order.
class TestImageEncoding : public QObject {
    Q_OBJECT

private slots:
    void resizesLongestSide() {
        const auto jpeg = makeAvatarJPEG(encoded(halves(400, 100), "png"), 200, 0.8);
        QVERIFY(jpeg);
        QVERIFY(jpeg->startsWith("\xFF\xD8\xFF"));
        QCOMPARE(imagePixelSize(*jpeg), QSize(200, 50));
        // Small images keep their size.
        QCOMPARE(imagePixelSize(*makeAvatarJPEG(encoded(halves(40, 10), "png"), 256)),
                 QSize(40, 10));
    }

    void honoursOrientation() {
        const QByteArray turned =
            encoded(halves(80, 40), "jpeg", QImageIOHandler::TransformationRotate90);
        QCOMPARE(imagePixelSize(turned), QSize(40, 80));
        const auto jpeg = makeAvatarJPEG(turned, 40, 0.9);
        QVERIFY(jpeg);
        QCOMPARE(imagePixelSize(*jpeg), QSize(20, 40));
        // Turned a quarter clockwise, the red half is now on top.
        const QImage upright = *decodedImage(*jpeg);
        QVERIFY(qRed(upright.pixel(10, 5)) > 200 && qBlue(upright.pixel(10, 5)) < 60);
        QVERIFY(qBlue(upright.pixel(10, 35)) > 200 && qRed(upright.pixel(10, 35)) < 60);
    }

    void transparencyTurnsWhite() {
        QImage clear(10, 10, QImage::Format_ARGB32);
        clear.fill(Qt::transparent);
        const QImage back = *decodedImage(*makeAvatarJPEG(encoded(clear, "png")));
        QVERIFY(qGray(back.pixel(5, 5)) > 240);
    }

    void qualityChangesTheSize() {
        QImage noise(300, 300, QImage::Format_RGB32);
        for (int y = 0; y < 300; ++y)
            for (int x = 0; x < 300; ++x)
                noise.setPixel(x, y, qRgb((x * 7919) % 256, (y * 104729) % 256, (x ^ y) % 256));
        const QByteArray png = encoded(noise, "png");
        QVERIFY(makeAvatarJPEG(png, 300, 0.95)->size() > makeAvatarJPEG(png, 300, 0.3)->size());
    }

    void badDataIsNoImage() {
        QVERIFY(!makeAvatarJPEG(QByteArray("not an image")));
        QVERIFY(!makeAvatarJPEG(QByteArray()));
        QVERIFY(!imagePixelSize(QByteArray("\xFF\xD8\xFF garbage")));
        QVERIFY(!decodedImage(QByteArray(1000, '\0')));
    }

    void batchKeepsOrderAndDropsFailures() {
        const QList<QByteArray> images = {encoded(halves(30, 10), "png"), QByteArray("junk"),
                                          encoded(halves(10, 30), "bmp"),
                                          encoded(halves(50, 50), "jpeg")};
        const QList<QByteArray> out = await(encodeImagesConcurrently(images, 20, 0.6));
        QCOMPARE(out.size(), 3);
        QCOMPARE(imagePixelSize(out[0]), QSize(20, 6));
        QCOMPARE(imagePixelSize(out[1]), QSize(6, 20));
        QCOMPARE(imagePixelSize(out[2]), QSize(20, 20));
    }
};

QTEST_GUILESS_MAIN(TestImageEncoding)
#include "test_image_encoding.moc"
