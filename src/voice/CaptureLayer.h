#pragma once

// The audio input as the recorder drives it: a format to read, one tap to
// install, an engine to start and stop, and word of a device change. The real
// one sits on the system's audio; tests drive a fake.

#include "voice/AudioTypes.h"

class CaptureLayer {
public:
    virtual ~CaptureLayer() = default;

    // The input's current format; invalid while the device is not ready.
    virtual AudioFormat inputFormat() = 0;
    // False (with `error` filled) when the layer refused the tap outright.
    virtual bool installTap(const AudioFormat& format, TapBlock tap, QString* error) = 0;
    virtual void removeTap() = 0;
    virtual void prepare() = 0;
    // False with `error` when starting failed; isRunning() says the outcome.
    virtual bool start(QString* error) = 0;
    virtual void stop() = 0;
    virtual void reset() = 0;
    virtual bool isRunning() const = 0;
    // Called on the main thread when the input device or its format changes;
    // an empty function stops the reports.
    virtual void setConfigurationObserver(std::function<void()> observer) = 0;
};
