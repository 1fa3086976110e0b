#pragma once

// English live transcription with PocketSphinx, on a worker thread of its
// own: buffers are resampled to 16 kHz mono and decoded as they come, and
// each new best hypothesis is handed to the main thread.

#include "voice/Recogniser.h"

#include <QObject>
#include <memory>

class SphinxRecogniser : public QObject, public Recogniser {
    Q_OBJECT
public:
    // The acoustic model, language model and dictionary under `modelDir`.
    explicit SphinxRecogniser(const QString& modelDir);
    ~SphinxRecogniser() override;

    bool isAvailable() const override;
    void begin(const QStringList& contextualStrings,
               std::function<void(const QString&)> onPartial) override;
    void append(const PcmBuffer& buffer) override;
    void endAudio() override;
    void cancel() override;

private:
    struct Worker;
    void deliver(const QString& text);

    QString m_modelDir;
    std::function<void(const QString&)> m_onPartial;
    std::unique_ptr<Worker> m_worker;
};
