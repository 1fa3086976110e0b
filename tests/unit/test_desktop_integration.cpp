#include "net/QRCode.h"
#include "ui/SingleInstance.h"

#include <QBuffer>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QUuid>
#include <qrencode.h>

namespace {
// A QR code of the text, drawn as a person would photograph it: dark modules
// on white, with a quiet zone, scaled up.
QImage qrImage(const QByteArray& text, int scale = 8) {
    QRcode* code = QRcode_encodeString(text.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1);
    if (!code) return {};
    const int quiet = 4;
    const int side = (code->width + 2 * quiet) * scale;
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int y = 0; y < code->width; ++y)
        for (int x = 0; x < code->width; ++x)
            if (code->data[y * code->width + x] & 1)
                painter.fillRect((x + quiet) * scale, (y + quiet) * scale, scale, scale, Qt::black);
    painter.end();
    QRcode_free(code);
    return image;
}

QByteArray encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}
} // namespace

// What reaches the app from the desktop: a second launch's link, and QR
// pictures of invite codes.
class TestDesktopIntegration : public QObject {
    Q_OBJECT

private slots:
    void secondLaunchHandsItsLinkOver() {
        const QString key = QUuid::createUuid().toString();
        SingleInstance running(key);
        QVERIFY(running.listen());
        QSignalSpy received(&running, &SingleInstance::messageReceived);

        // The second launch runs its blocking hand-off while the first one's
        // event loop must answer: give it a thread of its own.
        bool tookIt = false;
        QThread* launcher = QThread::create([&] {
            SingleInstance second(key);
            tookIt = second.handOff(QStringLiteral("velmarin://copy/hello"));
        });
        launcher->start();
        QTRY_COMPARE(received.size(), 1);
        QVERIFY(launcher->wait(5000));
        delete launcher;
        QVERIFY(tookIt);
        QCOMPARE(received.first().first().toString(), QStringLiteral("velmarin://copy/hello"));
    }

    void noRunningAppMeansNoHandOff() {
        SingleInstance alone(QUuid::createUuid().toString());
        QVERIFY(!alone.handOff(QStringLiteral("velmarin://copy/x"), 200));
    }

    void keysKeepInstancesApart() {
        QVERIFY(SingleInstance::serverName("a") != SingleInstance::serverName("b"));
        QCOMPARE(SingleInstance::serverName("a"), SingleInstance::serverName("a"));
    }

    void qrCodesAreRead_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("format");
        QTest::newRow("invite png")
            << QByteArray("k3Fq9@https://chat.example:8391") << QByteArray("PNG");
        QTest::newRow("invite jpeg") << QByteArray("abc@chat.example") << QByteArray("JPEG");
        QTest::newRow("utf-8") << QByteArray("Grüße@host") << QByteArray("PNG");
        QTest::newRow("pairing payload")
            << QByteArray(
                   "{\"v\":1,\"url\":\"https://a.example\",\"fp\":\"AAAA\",\"code\":\"123456\"}")
            << QByteArray("PNG");
    }
    void qrCodesAreRead() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, format);
        const QImage image = qrImage(text);
        QVERIFY(!image.isNull());
        QCOMPARE(decodeQR(image), std::optional(QString::fromUtf8(text)));
        QCOMPARE(decodeQR(encoded(image, format.constData())),
                 std::optional(QString::fromUtf8(text)));
    }

    void largePicturesAreScaledDown() {
        const QImage big = qrImage("big@host", 80); // thousands of pixels a side
        QVERIFY(big.width() > 2048);
        QCOMPARE(decodeQR(encoded(big, "PNG")), std::optional<QString>("big@host"));
    }

    void picturesWithoutCodeGiveNothing_data() {
        QTest::addColumn<QByteArray>("bytes");
        QImage blank(200, 200, QImage::Format_RGB32);
        blank.fill(Qt::white);
        QTest::newRow("blank") << encoded(blank, "PNG");
        QTest::newRow("not an image") << QByteArray("velmarin");
        QTest::newRow("empty") << QByteArray();
        QByteArray cut = encoded(qrImage("x@y"), "PNG");
        cut.truncate(cut.size() / 3);
        QTest::newRow("truncated png") << cut;
    }
    void picturesWithoutCodeGiveNothing() {
        QFETCH(QByteArray, bytes);
        QCOMPARE(decodeQR(bytes), std::nullopt);
    }
};

QTEST_MAIN(TestDesktopIntegration)
#include "test_desktop_integration.moc"
