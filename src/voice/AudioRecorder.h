#pragma once

// Captures the microphone into vm-<UUID>.m4a in the temporary folder while it
// publishes a live level, a 40-long level history and, if asked, a live
// transcript. Arming the input is a small recovery ladder (four attempts,
// soft and hard retries), each step leaving a breadcrumb in the crash trail:
// the input fails in transient ways, and that trail is how failures here get
// diagnosed.

#include "voice/AudioBackend.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <memory>
#include <optional>

class AudioRecorder : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(double elapsed READ elapsed NOTIFY changed)
    Q_PROPERTY(QString liveTranscript READ liveTranscript NOTIFY changed)
    Q_PROPERTY(float level READ level NOTIFY changed)
    Q_PROPERTY(QVariantList levels READ levelList NOTIFY changed)

public:
    static constexpr int kLevelCount = 40;

    struct Recording {
        QByteArray data;
        QString path;
        std::optional<QString> transcript;
    };
    // Gives the audio factory when arming needs it; null when there is none.
    using BackendSource = std::function<AudioBackend*()>;
    // Seconds on a steady clock; tests drive their own.
    using Clock = std::function<double()>;

    explicit AudioRecorder(BackendSource backend, QObject* parent = nullptr);
    ~AudioRecorder() override;

    void start(const QStringList& contextualStrings = {}, bool liveTranscribe = true);
    std::optional<Recording> stop();
    void cancel();
    // Called on the main thread when every arming attempt failed.
    std::function<void()> onArmGaveUp;

    bool isRecording() const { return m_isRecording; }
    double elapsed() const { return m_elapsed; }
    QString liveTranscript() const { return m_liveTranscript; }
    float level() const { return m_level; }
    const QList<float>& levels() const { return m_levels; }
    QVariantList levelList() const;
    // The path being written, while there is one.
    QString currentPath() const { return m_path; }

    void setClock(Clock clock) { m_clock = std::move(clock); }
    // The language whose recogniser a live transcript uses ("en").
    void setLanguage(const QString& code) { m_language = code; }

signals:
    void changed();

private:
    enum class ArmResult { ok, invalidFormat, failed };

    void armEngine(const QStringList& contextualStrings, bool liveTranscribe, int attempt = 1);
    ArmResult attemptArm(const QStringList& contextualStrings, bool liveTranscribe);
    bool installTapWithRetry(AudioFormat& format);
    ArmResult openFileAndStart(const AudioFormat& format);
    void armGaveUp();
    void hardResetAudio();
    void registerAudioObservers();
    void removeAudioObservers();
    void recoverIfRecording(const QString& reason);
    void startRecognition(const QStringList& contextualStrings);
    void resetLevels();
    void tick();
    void onBuffer(const PcmBuffer& buffer);
    void applyLevel(float normalised);
    void teardownCapture();
    void deleteFile();
    bool ensureCapture();

    bool m_isRecording = false;
    double m_elapsed = 0;
    QString m_liveTranscript;
    float m_level = 0;
    QList<float> m_levels;

    float m_smoothedLevel = 0;
    BackendSource m_backendSource;
    AudioBackend* m_backend = nullptr;
    std::unique_ptr<CaptureLayer> m_engine;
    std::shared_ptr<AudioFileWriter> m_audioFile;
    QString m_path;
    QTimer* m_timer = nullptr;
    std::optional<double> m_startedAt;
    std::shared_ptr<Recogniser> m_recognizer;
    TapBlock m_tapBlock;
    bool m_observing = false;
    Clock m_clock;
    QString m_language = QStringLiteral("en");
};
