#include "voice/AudioPlayer.h"

#include "core/Logging.h"
#include "net/Download.h"
#include "voice/VoiceCache.h"

#include <QCryptographicHash>
#include <QFile>
#include <QPointer>
#include <QSaveFile>

namespace {

QString cachePathFor(const QUrl& url) {
    const QString dir = voice::voiceCacheDir();
    const QByteArray key =
        QCryptographicHash::hash(url.toString().toUtf8(), QCryptographicHash::Sha256)
            .toHex()
            .left(32);
    return dir + QLatin1Char('/') + QString::fromLatin1(key) + QStringLiteral(".m4a");
}

} // namespace

AudioPlayer::AudioPlayer(BackendSource backend, QObject* parent)
    : QObject(parent), m_backendSource(std::move(backend)) {}

AudioPlayer::~AudioPlayer() = default;

qint64 AudioPlayer::position() const {
    return m_player && !m_playingURL.isEmpty() ? m_player->position() : 0;
}

qint64 AudioPlayer::duration() const {
    return m_player && !m_playingURL.isEmpty() ? m_player->duration() : 0;
}

bool AudioPlayer::ensurePlayer() {
    if (m_player) return true;
    // Once per run, when playback is first wanted: startup stays untouched.
    voice::pruneVoiceCache(voice::voiceCacheDir(), {}, QDateTime::currentDateTime());
    AudioBackend* backend = m_backendSource ? m_backendSource() : nullptr;
    if (backend) m_player = backend->createPlayer();
    if (!m_player) return false;
    m_player->onProgress = [this] { emit progressChanged(); };
    m_player->onEnded = [this] { stop(); };
    m_player->onError = [this](const QString& text) {
        qCWarning(lcVoice) << "[Velmarin] a voice message did not play:" << text;
        stop();
    };
    return true;
}

void AudioPlayer::toggle(const QUrl& url) {
    if (!m_playingURL.isEmpty() && m_playingURL == url) {
        stop();
        return;
    }
    stop();
    if (url.isEmpty() || !ensurePlayer()) return;
    m_playingURL = url;
    emit playingChanged();
    auto task = start(url);
    Q_UNUSED(task);
}

QCoro::Task<> AudioPlayer::start(QUrl url) {
    QPointer<AudioPlayer> self(this);
    const QString path = co_await localFile(url);
    // Another message may have been chosen while this one was fetched.
    if (!self || self->m_playingURL != url) co_return;
    if (path.isEmpty()) {
        self->stop();
        co_return;
    }
    self->m_player->play(path);
}

QCoro::Task<QString> AudioPlayer::localFile(QUrl url) {
    if (url.isLocalFile()) co_return url.toLocalFile();
    const QString path = cachePathFor(url);
    if (QFile::exists(path)) {
        voice::touchCachedFile(path, QDateTime::currentDateTime());
        co_return path;
    }
    QSaveFile sink(path);
    if (!sink.open(QIODevice::WriteOnly)) co_return QString();
    try {
        co_await downloadTo(url, sink);
    } catch (const std::exception& e) {
        qCWarning(lcVoice) << "[Velmarin] a voice message could not be fetched:" << e.what();
        sink.cancelWriting();
        co_return QString();
    }
    co_return sink.commit() ? path : QString();
}

void AudioPlayer::stop() {
    if (m_player) m_player->stop();
    if (m_playingURL.isEmpty()) return;
    m_playingURL.clear();
    emit playingChanged();
    emit progressChanged();
}

void AudioPlayer::seek(const QUrl& url, double fraction) {
    if (url != m_playingURL || !m_player || m_player->duration() <= 0) return;
    m_player->seek(qint64(std::clamp(fraction, 0.0, 1.0) * double(m_player->duration())));
    emit progressChanged();
}
