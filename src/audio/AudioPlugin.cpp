// The system's audio as one plugin: loading it maps Qt Multimedia, FFmpeg and
// PocketSphinx into the process, which the app does only on first use.
#include "audio/AacFileWriter.h"
#include "audio/QtCapture.h"
#include "audio/QtPlayer.h"
#include "audio/SphinxRecogniser.h"
#include "voice/AudioBackend.h"

#include <QObject>

class AudioPlugin : public QObject, public AudioBackend {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID VelmarinAudioBackend_iid)
    Q_INTERFACES(AudioBackend)

public:
    AudioPlugin() {
        // Qt 6.4 would pick GStreamer, whose AAC decoder is a separate package;
        // FFmpeg is here already for the writer.
        if (!qEnvironmentVariableIsSet("QT_MEDIA_BACKEND")) qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    }

    std::unique_ptr<CaptureLayer> createCapture() override { return std::make_unique<QtCapture>(); }
    std::unique_ptr<AudioFileWriter> createWriter() override {
        return std::make_unique<AacFileWriter>();
    }
    std::unique_ptr<Recogniser> createRecogniser(const QString& language) override {
        // Only an English model is installed; other languages have no recogniser.
        if (language != QLatin1String("en")) return nullptr;
        return std::make_unique<SphinxRecogniser>(QStringLiteral(VELMARIN_SPHINX_MODEL_DIR));
    }
    std::unique_ptr<PlayerBackend> createPlayer() override { return std::make_unique<QtPlayer>(); }
};

#include "AudioPlugin.moc"
