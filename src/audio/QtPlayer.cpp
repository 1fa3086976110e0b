#include "audio/QtPlayer.h"

#include <QAudioOutput>
#include <QMediaPlayer>
#include <QUrl>

QtPlayer::QtPlayer() : m_player(new QMediaPlayer(this)), m_output(new QAudioOutput(this)) {
    m_player->setAudioOutput(m_output);
    connect(m_player, &QMediaPlayer::positionChanged, this, [this] {
        if (onProgress) onProgress();
    });
    connect(m_player, &QMediaPlayer::durationChanged, this, [this] {
        if (onProgress) onProgress();
    });
    connect(m_player, &QMediaPlayer::mediaStatusChanged, this,
            [this](QMediaPlayer::MediaStatus status) {
                if (status == QMediaPlayer::EndOfMedia && onEnded) onEnded();
            });
    connect(m_player, &QMediaPlayer::errorOccurred, this,
            [this](QMediaPlayer::Error, const QString& text) {
                if (onError) onError(text);
            });
}

QtPlayer::~QtPlayer() {
    m_player->stop();
}

void QtPlayer::play(const QString& path) {
    m_player->setSource(QUrl::fromLocalFile(path));
    m_player->play();
}

void QtPlayer::pause() {
    m_player->pause();
}

void QtPlayer::stop() {
    m_player->stop();
    m_player->setSource(QUrl());
}

void QtPlayer::seek(qint64 positionMs) {
    m_player->setPosition(positionMs);
}

qint64 QtPlayer::position() const {
    return m_player->position();
}

qint64 QtPlayer::duration() const {
    return m_player->duration();
}
