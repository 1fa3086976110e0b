#pragma once

// Playback of a local audio file with QMediaPlayer on the default output.

#include "voice/PlayerBackend.h"

#include <QObject>

class QAudioOutput;
class QMediaPlayer;

class QtPlayer : public QObject, public PlayerBackend {
    Q_OBJECT
public:
    QtPlayer();
    ~QtPlayer() override;
    void play(const QString& path) override;
    void pause() override;
    void stop() override;
    void seek(qint64 positionMs) override;
    qint64 position() const override;
    qint64 duration() const override;

private:
    QMediaPlayer* m_player;
    QAudioOutput* m_output;
};
