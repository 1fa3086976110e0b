#pragma once

// A capture layer the test drives: the formats it reports, taps that may be
// refused, an engine that may not start, buffers of a generated sine and a
// device change on demand. The file writer is the real one.

#include "audio/AacFileWriter.h"
#include "voice/AudioBackend.h"

#include <QList>
#include <cmath>

class FakeCapture : public CaptureLayer {
public:
    // Formats handed out one per read; the last one then stays.
    QList<AudioFormat> formats{AudioFormat{44100, 1}};
    int tapRefusals = 0; // installTap refusals still to come
    bool startFails = false;
    int resets = 0;
    int installs = 0;
    bool running = false;
    TapBlock tap;
    AudioFormat tapFormat;
    std::function<void()> observer;

    AudioFormat inputFormat() override {
        return formats.size() > 1 ? formats.takeFirst() : formats.value(0);
    }
    bool installTap(const AudioFormat& format, TapBlock block, QString* error) override {
        if (tapRefusals > 0) {
            --tapRefusals;
            *error = QStringLiteral("tap refused");
            return false;
        }
        ++installs;
        tap = std::move(block);
        tapFormat = format;
        return true;
    }
    void removeTap() override { tap = nullptr; }
    void prepare() override {}
    bool start(QString* error) override {
        running = !startFails && tap != nullptr;
        if (!running) *error = QStringLiteral("device busy");
        return running;
    }
    void stop() override { running = false; }
    void reset() override {
        ++resets;
        running = false;
    }
    bool isRunning() const override { return running; }
    void setConfigurationObserver(std::function<void()> o) override { observer = std::move(o); }

    // `seconds` of a sine at the tap's format, in buffers of 2048 frames.
    void feedSine(double seconds, double frequency = 440.0, float amplitude = 0.5f) {
        const qint64 total = qint64(std::llround(seconds * tapFormat.sampleRate));
        for (qint64 done = 0; done < total && tap;) {
            const int frames = int(std::min<qint64>(2048, total - done));
            PcmBuffer b{tapFormat, {}};
            b.samples.resize(size_t(frames) * size_t(tapFormat.channels));
            for (int i = 0; i < frames; ++i) {
                const float s =
                    amplitude * float(std::sin(2.0 * M_PI * frequency * double(done + i) /
                                               tapFormat.sampleRate));
                for (int c = 0; c < tapFormat.channels; ++c)
                    b.samples[size_t(i * tapFormat.channels + c)] = s;
            }
            tap(b);
            done += frames;
        }
    }
    // One buffer whose every sample is `value`.
    void feedConstant(float value, int frames = 2048) {
        PcmBuffer b{tapFormat, std::vector<float>(size_t(frames * tapFormat.channels), value)};
        if (tap) tap(b);
    }
};

// A player that remembers what it was asked to play and when it stopped.
class FakePlayer : public PlayerBackend {
public:
    QString playing;
    QStringList played;
    qint64 length = 4000;
    qint64 at = 0;
    void play(const QString& path) override {
        playing = path;
        played << path;
    }
    void pause() override {}
    void stop() override { playing.clear(); }
    void seek(qint64 positionMs) override { at = positionMs; }
    qint64 position() const override { return at; }
    qint64 duration() const override { return length; }
};

class FakeBackend : public AudioBackend {
public:
    FakeCapture* capture = new FakeCapture; // owned by the recorder once asked for
    FakePlayer* player = new FakePlayer;    // owned by the audio player once asked for
    std::unique_ptr<CaptureLayer> createCapture() override {
        return std::unique_ptr<CaptureLayer>(capture);
    }
    std::unique_ptr<AudioFileWriter> createWriter() override {
        return std::make_unique<AacFileWriter>();
    }
    std::unique_ptr<Recogniser> createRecogniser(const QString&) override { return nullptr; }
    std::unique_ptr<PlayerBackend> createPlayer() override {
        return std::unique_ptr<PlayerBackend>(player);
    }
};
