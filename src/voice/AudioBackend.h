#pragma once

// Everything that touches the system's audio, made by one factory. The app
// loads the real factory from a plugin on first use, so the multimedia and
// speech libraries stay out of a process that never records or plays.

#include "voice/AudioFileWriter.h"
#include "voice/CaptureLayer.h"
#include "voice/PlayerBackend.h"
#include "voice/Recogniser.h"

#include <QObject>
#include <memory>

class AudioBackend {
public:
    virtual ~AudioBackend() = default;
    virtual std::unique_ptr<CaptureLayer> createCapture() = 0;
    virtual std::unique_ptr<AudioFileWriter> createWriter() = 0;
    // The recogniser for a language code ("en"), or none.
    virtual std::unique_ptr<Recogniser> createRecogniser(const QString& language) = 0;
    virtual std::unique_ptr<PlayerBackend> createPlayer() = 0;
};

#define VelmarinAudioBackend_iid "app.velmarin.AudioBackend/1.0"
Q_DECLARE_INTERFACE(AudioBackend, VelmarinAudioBackend_iid)
