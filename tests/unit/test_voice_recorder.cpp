#include "core/CrashLog.h"
#include "core/PrefKeys.h"
#include "core/Prefs.h"
#include "support/AudioProbe.h"
#include "support/FakeAudio.h"
#include "support/TestSupport.h"
#include "voice/AudioRecorder.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

namespace {

// The trail without its time stamps.
QStringList crumbs() {
    QStringList out;
    for (const QString& line : CrashLog::trail())
        out << line.section(' ', 1);
    return out;
}

QStringList crumbsMatching(const QString& needle) {
    return crumbs().filter(needle);
}

} // namespace

class VoiceRecorderTest : public QObject {
    Q_OBJECT

    std::unique_ptr<ScopedPrefs> m_prefs;
    std::unique_ptr<FakeBackend> m_backend;
    std::unique_ptr<AudioRecorder> m_recorder;
    FakeCapture* m_capture = nullptr;
    double m_now = 1000.0;

    // Arms a recorder on the fake layer with the given formats and waits for the tap.
    void armWith(QList<AudioFormat> formats) {
        m_capture->formats = std::move(formats);
        m_recorder->start({}, false);
        QTRY_VERIFY_WITH_TIMEOUT(m_capture->running, 5000);
    }

private slots:
    void init() {
        m_prefs = std::make_unique<ScopedPrefs>();
        CrashLog::resetForTests();
        m_backend = std::make_unique<FakeBackend>();
        m_capture = m_backend->capture;
        m_recorder = std::make_unique<AudioRecorder>([this] { return m_backend.get(); });
        m_recorder->setClock([this] { return m_now; });
    }
    void cleanup() {
        m_recorder.reset();
        m_backend.reset();
    }

    void unreadyFormatsRetrySoftlyThenRecord() {
        armWith({{0, 0}, {0, 1}, {44100, 0}, {48000, 1}});
        QCOMPARE(m_capture->resets, 0);
        QCOMPARE(m_capture->tapFormat, (AudioFormat{48000, 1}));
        QCOMPARE(crumbsMatching("soft retry"),
                 (QStringList{"armEngine attempt 1: format not ready — soft retry",
                              "armEngine attempt 2: format not ready — soft retry",
                              "armEngine attempt 3: format not ready — soft retry"}));
        QCOMPARE(crumbs().last(), QStringLiteral("armEngine OK — recording"));
        QVERIFY(QFileInfo(m_recorder->currentPath())
                    .fileName()
                    .contains(QRegularExpression("^vm-[0-9A-F]{8}-[0-9A-F-]{27}\\.m4a$")));
        QCOMPARE(Prefs::shared().string(PrefKey::crashActivity),
                 std::optional<QString>("enregistrement vocal"));
    }

    void fourFailuresGiveUpWithTheTrailThenTheCallback() {
        m_capture->formats = {{0, 0}};
        QStringList trailAtCallback;
        QElapsedTimer clock;
        qint64 gaveUpAfter = -1;
        m_recorder->onArmGaveUp = [&] {
            trailAtCallback = crumbs();
            gaveUpAfter = clock.elapsed();
        };
        clock.start();
        m_recorder->start({}, false);
        QVERIFY(m_recorder->isRecording());
        QTRY_VERIFY_WITH_TIMEOUT(gaveUpAfter >= 0, 10000);
        QVERIFY2(gaveUpAfter >= 740, qPrintable(QString::number(gaveUpAfter)));
        const QStringList order = trailAtCallback.filter(QRegularExpression("attempt|gave up"));
        QCOMPARE(order, (QStringList{"armEngine attempt 1: format not ready — soft retry",
                                     "armEngine attempt 2: format not ready — soft retry",
                                     "armEngine attempt 3: format not ready — soft retry",
                                     "armEngine gave up"}));
        QVERIFY(!m_recorder->isRecording());
        QVERIFY(!Prefs::shared().contains(PrefKey::crashActivity));
    }

    void failuresResetHardAndMixWithSoftRetries() {
        // A refused tap with a good format is a failure: hard reset, then retry.
        m_capture->tapRefusals = 2;
        m_capture->formats = {{44100, 1}};
        m_recorder->start({}, false);
        QTRY_VERIFY_WITH_TIMEOUT(m_capture->running, 5000);
        QCOMPARE(crumbsMatching("armEngine installTap threw (tap refused) — reset+retry").size(),
                 1);
        QVERIFY(crumbs().contains("armEngine BAIL installTap retry failed: tap refused"));
        QVERIFY(crumbs().contains("armEngine attempt 1 failed — hard-reset audio + retry"));
        QVERIFY(m_capture->resets >= 2);

        // An engine that never starts gives up after four hard attempts.
        m_recorder->cancel();
        CrashLog::resetForTests();
        int gaveUp = 0;
        m_recorder->onArmGaveUp = [&] { ++gaveUp; };
        m_capture->startFails = true;
        m_recorder->start({}, false);
        QTRY_COMPARE_WITH_TIMEOUT(gaveUp, 1, 10000);
        QCOMPARE(crumbsMatching("hard-reset audio + retry").size(), 3);
        QCOMPARE(crumbsMatching("armEngine BAIL engine.start failed: device busy").size(), 4);
        QVERIFY(m_recorder->currentPath().isEmpty());
    }

    void stopDuringARetryWaitEndsTheLadder() {
        m_capture->formats = {{0, 0}, {44100, 1}};
        m_recorder->start({}, false);
        QTRY_VERIFY(crumbs().contains("armEngine attempt 1: format not ready — soft retry"));
        m_now += 2.0;
        QVERIFY(!m_recorder->stop().has_value());
        const int before = CrashLog::trail().size();
        // Nothing to wait for: the point is that the pending retry stays silent.
        QTest::qWait(600);
        QCOMPARE(CrashLog::trail().size(), before);
        QCOMPARE(m_capture->installs, 0);
        QVERIFY(!m_recorder->isRecording());
    }

    void startWhileRecordingDoesNothing() {
        armWith({{44100, 1}});
        m_recorder->start({}, false);
        QCoreApplication::processEvents();
        QCOMPARE(crumbsMatching("recorder.start").size(), 1);
        QCOMPARE(m_capture->installs, 1);
    }

    void sineBecomesAnM4aOfTheRightLength() {
        armWith({{44100, 1}});
        m_capture->feedSine(2.0);
        m_now += 2.0;
        const auto result = m_recorder->stop();
        QVERIFY(result.has_value());
        QVERIFY(QFileInfo::exists(result->path));
        QCOMPARE(result->data.size(), QFileInfo(result->path).size());
        const AudioProbe probe = probeAudio(result->path);
        QVERIFY(probe.ok);
        QCOMPARE(probe.codec, QStringLiteral("aac"));
        QCOMPARE(probe.sampleRate, 44100);
        QCOMPARE(probe.channels, 1);
        QVERIFY(probe.container.contains("mp4"));
        QVERIFY2(std::abs(probe.seconds - 2.0) <= 0.05, qPrintable(QString::number(probe.seconds)));
        QVERIFY(!result->transcript.has_value());
        QFile::remove(result->path);
    }

    void aRateChangeMidRecordingKeepsTheAudioBeforeIt() {
        armWith({{44100, 2}});
        m_capture->feedSine(1.0);
        // A headset arrives: the input now runs at 48 kHz.
        m_capture->formats = {{48000, 2}};
        QVERIFY(m_capture->observer);
        m_capture->observer();
        QCOMPARE(m_capture->tapFormat, (AudioFormat{48000, 2}));
        QVERIFY(m_capture->running);
        QVERIFY(crumbs().contains("recorder recover (configChange) running=true"));
        QCOMPARE(crumbs().last(), QStringLiteral("recorder recover OK — recording"));
        m_capture->feedSine(1.0);
        QVERIFY(m_recorder->level() > 0.5f); // the meter keeps working
        m_now += 2.0;
        const auto result = m_recorder->stop();
        QVERIFY(result.has_value());
        const AudioProbe probe = probeAudio(result->path);
        QVERIFY(probe.ok);
        QCOMPARE(probe.sampleRate, 44100);
        QVERIFY2(std::abs(probe.seconds - 1.0) <= 0.05, qPrintable(QString::number(probe.seconds)));
        QFile::remove(result->path);
    }

    void anUnreadyFormatAfterAChangeLeavesTheRecordingStopped() {
        armWith({{44100, 1}});
        m_capture->feedSine(1.0);
        m_capture->formats = {{0, 0}};
        m_capture->observer();
        QCOMPARE(crumbs().last(), QStringLiteral("recorder recover BAIL invalid format"));
        QVERIFY(m_recorder->isRecording());
        m_now += 1.0;
        const auto result = m_recorder->stop();
        QVERIFY(result.has_value());
        QVERIFY(std::abs(probeAudio(result->path).seconds - 1.0) <= 0.05);
        QFile::remove(result->path);
    }

    void tooShortOrTooSmallIsDiscarded() {
        armWith({{44100, 1}});
        m_capture->feedSine(0.49);
        m_now += 0.49;
        QString path = m_recorder->currentPath();
        QVERIFY(!m_recorder->stop().has_value());
        QVERIFY(!QFileInfo::exists(path));

        armWith({{44100, 1}});
        m_capture->feedSine(0.5);
        m_now += 0.5;
        const auto half = m_recorder->stop();
        QVERIFY(half.has_value());
        QVERIFY(half->data.size() >= 1500);
        QFile::remove(half->path);

        // Long enough, but the file holds almost nothing.
        armWith({{44100, 1}});
        m_capture->feedConstant(0.0f, 256);
        m_now += 3.0;
        path = m_recorder->currentPath();
        QVERIFY(!m_recorder->stop().has_value());
        QVERIFY(!QFileInfo::exists(path));
        QVERIFY(m_recorder->currentPath().isEmpty());
    }

    void cancelDeletesTheFileAndClearsTheFlag() {
        armWith({{44100, 1}});
        m_capture->feedSine(1.0);
        const QString path = m_recorder->currentPath();
        QVERIFY(QFileInfo::exists(path));
        m_recorder->cancel();
        QVERIFY(!QFileInfo::exists(path));
        QVERIFY(!m_recorder->isRecording());
        QVERIFY(!m_capture->running);
        QVERIFY(!Prefs::shared().contains(PrefKey::crashActivity));
    }

    void theMeterRisesAtOnceAndFallsSlowly() {
        armWith({{44100, 1}});
        m_capture->feedConstant(1.0f);
        QCOMPARE(m_recorder->level(), 1.0f);
        QList<float> falling;
        for (int i = 0; i < 3; ++i) {
            m_capture->feedConstant(0.0f);
            falling << m_recorder->level();
        }
        QCOMPARE(falling.size(), 3);
        QCOMPARE(falling[0], 0.8f);
        QCOMPARE(falling[1], 0.64f);
        QCOMPARE(falling[2], 0.512f);
    }

    void levelsStayFortyLongAndFollowTheTimer() {
        QCOMPARE(m_recorder->levels().size(), 40);
        armWith({{44100, 1}});
        m_capture->feedConstant(1.0f);
        QTRY_VERIFY(m_recorder->levels().last() == 1.0f);
        QCOMPARE(m_recorder->levels().size(), 40);
        m_now += 1.0;
        QTRY_VERIFY(m_recorder->elapsed() >= 1.0);
        m_recorder->stop();
        QCOMPARE(m_recorder->levels(), QList<float>(40, 0.0f));
        QCOMPARE(m_recorder->level(), 0.0f);
    }
};

QTEST_GUILESS_MAIN(VoiceRecorderTest)
#include "test_voice_recorder.moc"
