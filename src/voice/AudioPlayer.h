#pragma once

// Plays voice messages, one at a time in the whole app: starting another
// stops the one playing. A server's file is fetched through the pinned
// session into the cache first, then played from disk.

#include "voice/AudioBackend.h"

#include <QCoroTask>
#include <QObject>
#include <QUrl>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <memory>

class AudioPlayer : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("AppModel owns it")
    // Empty while nothing plays.
    Q_PROPERTY(QUrl playingURL READ playingURL NOTIFY playingChanged)
    Q_PROPERTY(qint64 position READ position NOTIFY progressChanged)
    Q_PROPERTY(qint64 duration READ duration NOTIFY progressChanged)

public:
    using BackendSource = std::function<AudioBackend*()>;
    // Where a server's file lands before it plays.
    using CacheFile = std::function<QString(const QUrl&)>;

    explicit AudioPlayer(BackendSource backend, QObject* parent = nullptr);
    ~AudioPlayer() override;

    QUrl playingURL() const { return m_playingURL; }
    qint64 position() const;
    qint64 duration() const;

    Q_INVOKABLE void toggle(const QUrl& url);
    Q_INVOKABLE void stop();
    // Jumps within the message playing; `fraction` of its length, 0 to 1.
    Q_INVOKABLE void seek(const QUrl& url, double fraction);

signals:
    void playingChanged();
    void progressChanged();

private:
    QCoro::Task<> start(QUrl url);
    QCoro::Task<QString> localFile(QUrl url);
    bool ensurePlayer();

    BackendSource m_backendSource;
    std::unique_ptr<PlayerBackend> m_player;
    QUrl m_playingURL;
};
