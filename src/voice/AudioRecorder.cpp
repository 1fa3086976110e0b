#include "voice/AudioRecorder.h"

#include "core/CrashLog.h"
#include "voice/VoiceMath.h"

#include <QDir>
#include <QFile>
#include <QUuid>
#include <chrono>

namespace {

const QString kActivity = QStringLiteral("enregistrement vocal");
constexpr int kMaxAttempts = 4;
constexpr int kSoftRetryMs = 250;
constexpr int kHardRetryMs = 300;
constexpr int kTickMs = 100;
constexpr double kShortestSeconds = 0.5;
constexpr qint64 kSmallestBytes = 1500;

QString flag(bool b) {
    return b ? QStringLiteral("true") : QStringLiteral("false");
}

double steadySeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

QString freshPath() {
    return QDir::temp().filePath(
        QStringLiteral("vm-%1.m4a")
            .arg(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()));
}

QString formatText(const AudioFormat& f) {
    return QStringLiteral("sr=%1 ch=%2").arg(f.sampleRate).arg(f.channels);
}

} // namespace

AudioRecorder::AudioRecorder(BackendSource backend, QObject* parent)
    : QObject(parent), m_levels(kLevelCount, 0.0f), m_backendSource(std::move(backend)),
      m_clock(steadySeconds) {}

AudioRecorder::~AudioRecorder() {
    if (m_engine) {
        m_engine->setConfigurationObserver({});
        m_engine->removeTap();
        m_engine->stop();
    }
    if (m_recognizer) m_recognizer->cancel();
    if (m_audioFile) m_audioFile->close();
}

QVariantList AudioRecorder::levelList() const {
    QVariantList list;
    list.reserve(m_levels.size());
    for (const float v : m_levels)
        list.append(double(v));
    return list;
}

// MARK: Start and the arming ladder

void AudioRecorder::start(const QStringList& contextualStrings, bool liveTranscribe) {
    if (m_isRecording) return;
    CrashLog::setActivity(kActivity, true);
    CrashLog::breadcrumb(QStringLiteral("recorder.start liveTranscribe=") + flag(liveTranscribe));
    m_isRecording = true;
    m_startedAt = m_clock();
    m_elapsed = 0;
    delete m_timer;
    m_timer = new QTimer(this);
    m_timer->setInterval(kTickMs);
    connect(m_timer, &QTimer::timeout, this, &AudioRecorder::tick);
    m_timer->start();
    emit changed();
    // The press that started the recording returns before any audio work.
    QTimer::singleShot(0, this, [this, contextualStrings, liveTranscribe] {
        armEngine(contextualStrings, liveTranscribe);
    });
}

void AudioRecorder::tick() {
    if (!m_startedAt) return;
    m_elapsed = m_clock() - *m_startedAt;
    m_levels.removeFirst();
    m_levels.append(m_level);
    emit changed();
}

void AudioRecorder::armEngine(const QStringList& contextualStrings, bool liveTranscribe,
                              int attempt) {
    if (!m_isRecording) return;
    const ArmResult result = attemptArm(contextualStrings, liveTranscribe);
    if (result == ArmResult::ok) return;
    const bool retry = attempt < kMaxAttempts && m_isRecording;
    if (retry && result == ArmResult::invalidFormat) {
        CrashLog::breadcrumb(
            QStringLiteral("armEngine attempt %1: format not ready — soft retry").arg(attempt));
    } else if (retry) {
        CrashLog::breadcrumb(
            QStringLiteral("armEngine attempt %1 failed — hard-reset audio + retry").arg(attempt));
        hardResetAudio();
    } else {
        armGaveUp();
        return;
    }
    const int wait = result == ArmResult::invalidFormat ? kSoftRetryMs : kHardRetryMs;
    QTimer::singleShot(wait, this, [this, contextualStrings, liveTranscribe, attempt] {
        if (m_isRecording) armEngine(contextualStrings, liveTranscribe, attempt + 1);
    });
}

bool AudioRecorder::ensureCapture() {
    if (m_engine) return true;
    if (!m_backend && m_backendSource) m_backend = m_backendSource();
    if (m_backend) m_engine = m_backend->createCapture();
    return m_engine != nullptr;
}

AudioRecorder::ArmResult AudioRecorder::attemptArm(const QStringList& contextualStrings,
                                                   bool liveTranscribe) {
    const bool running = m_engine && m_engine->isRunning();
    CrashLog::breadcrumb(QStringLiteral("armEngine reset engine/tap (running=") + flag(running) +
                         QLatin1Char(')'));
    if (!ensureCapture()) {
        CrashLog::breadcrumb(QStringLiteral("armEngine BAIL no audio input layer"));
        return ArmResult::failed;
    }
    if (m_engine->isRunning()) m_engine->stop();
    m_engine->removeTap();
    const QString path = freshPath();
    m_liveTranscript.clear();
    AudioFormat format = m_engine->inputFormat();
    CrashLog::breadcrumb(QStringLiteral("armEngine format ") + formatText(format));
    if (!format.isValid()) {
        CrashLog::breadcrumb(QStringLiteral("armEngine BAIL invalid format"));
        return ArmResult::invalidFormat;
    }
    QPointer<AudioRecorder> self(this);
    m_tapBlock = [self](const PcmBuffer& buffer) {
        if (self) self->onBuffer(buffer);
    };
    if (!installTapWithRetry(format)) {
        m_engine->removeTap();
        return m_engine->inputFormat().isValid() ? ArmResult::failed : ArmResult::invalidFormat;
    }
    m_path = path;
    const ArmResult started = openFileAndStart(format);
    if (started != ArmResult::ok) return started;
    CrashLog::breadcrumb(QStringLiteral("armEngine OK — recording"));
    registerAudioObservers();
    if (liveTranscribe) startRecognition(contextualStrings);
    return ArmResult::ok;
}

bool AudioRecorder::installTapWithRetry(AudioFormat& format) {
    CrashLog::breadcrumb(QStringLiteral("armEngine installTap…"));
    QString error;
    if (m_engine->installTap(format, m_tapBlock, &error)) return true;
    CrashLog::breadcrumb(QStringLiteral("armEngine installTap threw (") + error +
                         QStringLiteral(") — reset+retry"));
    m_engine->removeTap();
    m_engine->reset();
    format = m_engine->inputFormat();
    CrashLog::breadcrumb(QStringLiteral("armEngine retry format ") + formatText(format));
    if (!format.isValid()) return false;
    if (m_engine->installTap(format, m_tapBlock, &error)) return true;
    CrashLog::breadcrumb(QStringLiteral("armEngine BAIL installTap retry failed: ") + error);
    return false;
}

AudioRecorder::ArmResult AudioRecorder::openFileAndStart(const AudioFormat& format) {
    std::shared_ptr<AudioFileWriter> file(m_backend ? m_backend->createWriter() : nullptr);
    QString error = QStringLiteral("no encoder");
    if (!file || !file->open(m_path, format, &error)) {
        CrashLog::breadcrumb(QStringLiteral("armEngine BAIL AVAudioFile error: ") + error);
        m_engine->removeTap();
        m_audioFile.reset();
        deleteFile();
        return ArmResult::failed;
    }
    m_audioFile = std::move(file);
    CrashLog::breadcrumb(QStringLiteral("armEngine engine.start…"));
    m_engine->prepare();
    error.clear();
    m_engine->start(&error);
    if (m_engine->isRunning()) return ArmResult::ok;
    CrashLog::breadcrumb(QStringLiteral("armEngine BAIL engine.start failed: ") +
                         (error.isEmpty() ? QStringLiteral("not running") : error));
    m_engine->removeTap();
    m_audioFile->close();
    m_audioFile.reset();
    deleteFile();
    return ArmResult::failed;
}

void AudioRecorder::armGaveUp() {
    CrashLog::breadcrumb(QStringLiteral("armEngine gave up"));
    CrashLog::setActivity(kActivity, false);
    hardResetAudio();
    m_isRecording = false;
    emit changed();
    if (onArmGaveUp) onArmGaveUp();
}

void AudioRecorder::hardResetAudio() {
    removeAudioObservers();
    if (m_engine) {
        m_engine->removeTap();
        if (m_engine->isRunning()) m_engine->stop();
        m_engine->reset();
    }
    if (m_audioFile) m_audioFile->close();
    m_audioFile.reset();
    deleteFile();
}

void AudioRecorder::deleteFile() {
    // A file that will not go is left for the system's temporary cleanup.
    if (!m_path.isEmpty()) QFile::remove(m_path);
    m_path.clear();
}

// MARK: Device changes

void AudioRecorder::registerAudioObservers() {
    if (m_observing || !m_engine) return;
    m_observing = true;
    QPointer<AudioRecorder> self(this);
    m_engine->setConfigurationObserver([self] {
        if (self) self->recoverIfRecording(QStringLiteral("configChange"));
    });
}

void AudioRecorder::removeAudioObservers() {
    if (m_engine) m_engine->setConfigurationObserver({});
    m_observing = false;
}

void AudioRecorder::recoverIfRecording(const QString& reason) {
    if (!m_isRecording || !m_tapBlock || !m_engine) return;
    const bool running = m_engine->isRunning();
    // A route change that left the input running needs nothing.
    if (running && reason == QLatin1String("routeChange")) return;
    CrashLog::breadcrumb(QStringLiteral("recorder recover (") + reason +
                         QStringLiteral(") running=") + flag(running));
    m_engine->removeTap();
    if (m_engine->isRunning()) m_engine->stop();
    const AudioFormat format = m_engine->inputFormat();
    if (!format.isValid()) {
        // Left stopped: stop() still delivers what was written so far.
        CrashLog::breadcrumb(QStringLiteral("recorder recover BAIL invalid format"));
        return;
    }
    QString error;
    if (!m_engine->installTap(format, m_tapBlock, &error)) {
        CrashLog::breadcrumb(QStringLiteral("recorder recover installTap threw: ") + error);
        m_engine->removeTap();
        return;
    }
    m_engine->prepare();
    if (!m_engine->start(&error) && !error.isEmpty())
        CrashLog::breadcrumb(QStringLiteral("recover start err ") + error);
    CrashLog::breadcrumb(
        QStringLiteral("recorder recover ") +
        (m_engine->isRunning() ? QStringLiteral("OK — recording") : QStringLiteral("FAILED")));
}

// MARK: The tap

void AudioRecorder::onBuffer(const PcmBuffer& buffer) {
    const std::shared_ptr<AudioFileWriter> file = m_audioFile;
    // After a device change the file keeps the format it was opened with:
    // buffers in another one go to the meter and the transcript only.
    if (file && file->processingFormat() == buffer.format) file->write(buffer);
    if (const std::shared_ptr<Recogniser> recogniser = m_recognizer) recogniser->append(buffer);
    if (buffer.frames() <= 0 || buffer.format.channels <= 0) return;
    const float normalised =
        voice::meterLevel(buffer.samples.data(), buffer.frames(), buffer.format.channels);
    QMetaObject::invokeMethod(this, [this, normalised] { applyLevel(normalised); });
}

void AudioRecorder::applyLevel(float normalised) {
    m_smoothedLevel = voice::smoothLevel(m_smoothedLevel, normalised);
    m_level = m_smoothedLevel;
    emit changed();
}

void AudioRecorder::startRecognition(const QStringList& contextualStrings) {
    std::shared_ptr<Recogniser> recogniser(m_backend ? m_backend->createRecogniser(m_language)
                                                     : nullptr);
    if (!recogniser || !recogniser->isAvailable()) return;
    QPointer<AudioRecorder> self(this);
    recogniser->begin(contextualStrings, [self](const QString& text) {
        if (!self || !self->m_recognizer) return;
        self->m_liveTranscript = text;
        emit self->changed();
    });
    m_recognizer = std::move(recogniser);
}

// MARK: Stop and cancel

void AudioRecorder::teardownCapture() {
    CrashLog::setActivity(kActivity, false);
    removeAudioObservers();
    delete m_timer;
    m_timer = nullptr;
    m_startedAt.reset();
    if (m_engine) {
        if (m_engine->isRunning()) m_engine->stop();
        m_engine->removeTap();
    }
}

std::optional<AudioRecorder::Recording> AudioRecorder::stop() {
    const double duration = m_startedAt ? m_clock() - *m_startedAt : 0.0;
    teardownCapture();
    if (m_recognizer) m_recognizer->endAudio();
    // Closing finishes the file: the encoder drains its queue first.
    if (m_audioFile) m_audioFile->close();
    m_audioFile.reset();
    m_recognizer.reset();
    m_isRecording = false;
    resetLevels();
    const QString transcript = m_liveTranscript.trimmed();
    m_liveTranscript = transcript;
    emit changed();
    if (m_path.isEmpty()) return std::nullopt;
    if (duration < kShortestSeconds) {
        deleteFile();
        return std::nullopt;
    }
    QFile file(m_path);
    QByteArray data;
    if (file.open(QIODevice::ReadOnly)) data = file.readAll();
    if (data.size() < kSmallestBytes) {
        deleteFile();
        return std::nullopt;
    }
    Recording result{data, m_path, std::nullopt};
    if (!transcript.isEmpty()) result.transcript = transcript;
    // The file is the caller's from here on.
    m_path.clear();
    return result;
}

void AudioRecorder::cancel() {
    teardownCapture();
    if (m_recognizer) m_recognizer->cancel();
    if (m_audioFile) m_audioFile->close();
    m_audioFile.reset();
    m_recognizer.reset();
    deleteFile();
    m_liveTranscript.clear();
    m_isRecording = false;
    resetLevels();
    emit changed();
}

void AudioRecorder::resetLevels() {
    m_level = 0;
    m_smoothedLevel = 0;
    m_levels.fill(0.0f);
}
