#include "model/IDCodec.h"

#include <QTest>

// The packing is used in constant expressions (tables of well-known ids).
static_assert(IDCodec::encode(5, 3) == (qint64(3) << 40) + 5);
static_assert(IDCodec::decode(IDCodec::encode(5, 3)) == IDCodec::Decoded{3, 5});

class TestIDCodec : public QObject {
    Q_OBJECT

private slots:
    void encode_data() {
        QTest::addColumn<qint64>("real");
        QTest::addColumn<int>("server");
        QTest::addColumn<qint64>("expected");
        const qint64 tera = qint64(1) << 40;
        QTest::newRow("primary unchanged") << qint64(5) << 0 << qint64(5);
        QTest::newRow("primary keeps high bits") << 3 * tera + 5 << 0 << 3 * tera + 5;
        QTest::newRow("extra server") << qint64(5) << 3 << 3 * tera + 5;
        QTest::newRow("zero id on extra") << qint64(0) << 1 << tera;
        QTest::newRow("pending id untouched") << qint64(-7) << 3 << qint64(-7);
        QTest::newRow("real id loses bits above mask") << 2 * tera + 5 << 3 << 3 * tera + 5;
        QTest::newRow("largest server number") << qint64(1) << 0x7FFFFF << 0x7FFFFF * tera + 1;
        QTest::newRow("server beyond 23 bits wraps")
            << qint64(1) << 0x800000 << qint64(quint64(1) << 63 | 1);
    }
    void encode() {
        QFETCH(qint64, real);
        QFETCH(int, server);
        QFETCH(qint64, expected);
        QCOMPARE(IDCodec::encode(real, server), expected);
    }

    void decode_data() {
        QTest::addColumn<qint64>("id");
        QTest::addColumn<int>("server");
        QTest::addColumn<qint64>("real");
        const qint64 tera = qint64(1) << 40;
        QTest::newRow("primary") << qint64(42) << 0 << qint64(42);
        QTest::newRow("extra") << 3 * tera + 42 << 3 << qint64(42);
        QTest::newRow("pending") << qint64(-1) << -1 << qint64(0xFFFFFFFFFF);
        QTest::newRow("large pending") << -tera - 1 << -2 << qint64(0xFFFFFFFFFF);
        QTest::newRow("top server") << 0x7FFFFF * tera + 9 << 0x7FFFFF << qint64(9);
    }
    void decode() {
        QFETCH(qint64, id);
        QFETCH(int, server);
        QFETCH(qint64, real);
        QCOMPARE(IDCodec::serverId(id), server);
        const IDCodec::Decoded d = IDCodec::decode(id);
        QCOMPARE(d.server, server);
        QCOMPARE(d.real, real);
    }

    void roundTripBelowTwoToForty() {
        const qint64 reals[] = {0, 1, 1234567, IDCodec::mask - 1, IDCodec::mask};
        for (int server : {0, 1, 2, 77, 0x7FFFFF})
            for (qint64 real : reals) {
                const IDCodec::Decoded d = IDCodec::decode(IDCodec::encode(real, server));
                QCOMPARE(d.server, server);
                QCOMPARE(d.real, real);
            }
    }
};

QTEST_GUILESS_MAIN(TestIDCodec)
#include "test_idcodec.moc"
