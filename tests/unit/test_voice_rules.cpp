#include "voice/VoiceCache.h"
#include "voice/VoiceMath.h"

#include <QDir>
#include <QTemporaryDir>

#include <QTest>
#include <vector>

namespace {

float levelOf(float value, int channels = 1) {
    const std::vector<float> samples(size_t(2048 * channels), value);
    return voice::meterLevel(samples.data(), 2048, channels);
}

Message said(const QString& text, std::optional<QString> transcript = std::nullopt) {
    Message m;
    m.text = text;
    m.transcript = transcript;
    return m;
}

void cached(const QString& dir, const QString& name, qint64 bytes, const QDateTime& played) {
    QFile file(dir + QLatin1Char('/') + name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(bytes, 'a'));
    QVERIFY(file.flush()); // a later flush would stamp the file with now
    QVERIFY(file.setFileTime(played, QFileDevice::FileModificationTime));
}

QStringList left(const QString& dir) {
    return QDir(dir).entryList(QDir::Files, QDir::Name);
}

} // namespace

class VoiceRulesTest : public QObject {
    Q_OBJECT

private slots:
    void meterMapsDecibelsOntoZeroToOne() {
        QCOMPARE(levelOf(0.0f), 0.0f);
        QCOMPARE(levelOf(1.0e-7f), 0.0f);
        QCOMPARE(levelOf(1.0f), 1.0f);
        QCOMPARE(levelOf(-1.0f), 1.0f);
        QVERIFY(std::abs(levelOf(0.0316f) - 0.4545f) < 0.001f);
        // Only channel 0 is metered: a loud second channel does not count.
        const std::vector<float> stereo{0.0f, 1.0f, 0.0f, 1.0f};
        QCOMPARE(voice::meterLevel(stereo.data(), 2, 2), 0.0f);
        QCOMPARE(voice::meterLevel(nullptr, 0, 1), 0.0f);
    }

    void meterRisesAtOnceAndFallsByAFifth() {
        QCOMPARE(voice::smoothLevel(0.2f, 0.9f), 0.9f);
        float level = 1.0f;
        QList<float> falling;
        for (int i = 0; i < 3; ++i)
            falling << (level = voice::smoothLevel(level, 0.0f));
        QCOMPARE(falling[0], 0.8f);
        QCOMPARE(falling[1], 0.64f);
        QCOMPARE(falling[2], 0.512f);
    }

    void durationsRoundAndTheClockTruncates() {
        QCOMPARE(voice::formatDuration(0.0), "0:00");
        QCOMPARE(voice::formatDuration(0.49), "0:00");
        QCOMPARE(voice::formatDuration(0.5), "0:01");
        QCOMPARE(voice::formatDuration(59.5), "1:00");
        QCOMPARE(voice::formatDuration(61.4), "1:01");
        QCOMPARE(voice::formatDuration(3599.5), "60:00");
        QCOMPARE(voice::formatClock(59.9), "0:59");
        QCOMPARE(voice::formatClock(125.99), "2:05");
    }

    void vocabularyTakesRecentWordsOnce() {
        QCOMPARE(voice::recentVocabulary({said("Déjà vu, déjà vu")}), QStringList{"déjà"});
        // Newest first, the transcript after the text, pieces split on non-letters.
        const QStringList words = voice::recentVocabulary(
            {said("older words"), said("Deploy the api-gateway", QString("staging ok"))});
        QCOMPARE(words,
                 (QStringList{"deploy", "the", "api", "gateway", "staging", "older", "words"}));
        QCOMPARE(voice::recentVocabulary({said(QString(31, 'a') + " " + QString(30, 'b'))}),
                 QStringList{QString(30, 'b')});
    }

    void vocabularyStopsAtTwentyFiveMessagesAndAHundredWords() {
        QList<Message> history{said("ancient")};
        for (int i = 0; i < 25; ++i)
            history << said(QStringLiteral("word") + QChar('a' + i));
        QVERIFY(!voice::recentVocabulary(history).contains("ancient"));
        QString many;
        for (int i = 0; i < 120; ++i)
            many += QStringLiteral("w%1%2x ").arg(QChar('a' + i / 26)).arg(QChar('a' + i % 26));
        // The newest message fills the list; the older one gets no room.
        const QStringList words = voice::recentVocabulary({said("earlier"), said(many)});
        QCOMPARE(words.size(), 100);
        QCOMPARE(words.first(), "waax");
        QVERIFY(!words.contains("earlier"));
    }

    void cacheDropsStaleFilesThenTheLeastRecentlyPlayed() {
        QTemporaryDir dir;
        const QDateTime now = QDateTime::currentDateTime();
        cached(dir.path(), QStringLiteral("a.m4a"), 400, now.addSecs(-60));
        cached(dir.path(), QStringLiteral("b.m4a"), 400, now.addDays(-2));
        cached(dir.path(), QStringLiteral("c.m4a"), 400, now.addDays(-1));
        cached(dir.path(), QStringLiteral("old.m4a"), 10, now.addDays(-31));
        cached(dir.path(), QStringLiteral("notes.txt"), 10, now.addDays(-90));
        QCOMPARE(voice::pruneVoiceCache(dir.path(), {1000, 30}, now), 2);
        // a and c fit 1000 bytes; b was played longest ago; other files are not ours.
        QCOMPARE(left(dir.path()), (QStringList{"a.m4a", "c.m4a", "notes.txt"}));

        // Playing c again makes it the newest, so a shrinking budget keeps it.
        voice::touchCachedFile(dir.path() + QStringLiteral("/c.m4a"), now);
        QCOMPARE(voice::pruneVoiceCache(dir.path(), {500, 30}, now), 1);
        QCOMPARE(left(dir.path()), (QStringList{"c.m4a", "notes.txt"}));
        QCOMPARE(QFileInfo(dir.path() + QStringLiteral("/c.m4a")).size(), 400);
    }
};

QTEST_GUILESS_MAIN(VoiceRulesTest)
#include "test_voice_rules.moc"
