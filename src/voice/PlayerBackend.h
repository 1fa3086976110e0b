#pragma once

// One media player for local audio files: the system's player in the app, a
// fake in tests.

#include <QString>
#include <functional>

class PlayerBackend {
public:
    virtual ~PlayerBackend() = default;
    virtual void play(const QString& path) = 0;
    virtual void pause() = 0;
    virtual void stop() = 0;
    virtual void seek(qint64 positionMs) = 0;
    virtual qint64 position() const = 0;
    virtual qint64 duration() const = 0;
    // Position and duration moved; the end of the file was reached; it failed.
    std::function<void()> onProgress;
    std::function<void()> onEnded;
    std::function<void(const QString&)> onError;
};
