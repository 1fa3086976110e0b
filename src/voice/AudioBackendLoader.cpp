#include "voice/AudioBackendLoader.h"

#include "core/Logging.h"
#include "voice/AudioBackend.h"

#include <QCoreApplication>
#include <QDir>
#include <QPluginLoader>

namespace {

QStringList pluginDirs() {
    const QString app = QCoreApplication::applicationDirPath();
    QStringList dirs{app, app + QStringLiteral("/../lib/velmarin")};
    dirs += QStringLiteral(VELMARIN_AUDIO_PLUGIN_DIRS).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    return dirs;
}

AudioBackend* findBackend() {
    QStringList failures;
    for (const QString& dir : pluginDirs()) {
        const QString path = QDir(dir).filePath(QStringLiteral("libvelmarin_audio.so"));
        if (!QFileInfo::exists(path)) continue;
        QPluginLoader loader(path);
        if (auto* backend = qobject_cast<AudioBackend*>(loader.instance())) return backend;
        failures << loader.errorString();
    }
    qCWarning(lcVoice) << "[Velmarin] no audio plugin could be loaded; recording and playback"
                          " are off:"
                       << (failures.isEmpty() ? QStringLiteral("not found") : failures.join("; "));
    return nullptr;
}

} // namespace

AudioBackend* loadAudioBackend() {
    static AudioBackend* const backend = findBackend();
    return backend;
}
