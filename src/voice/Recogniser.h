#pragma once

// Live speech recognition fed from the recorder's tap. Results arrive on the
// main thread; an engine may stay silent, which only leaves the transcript empty.

#include "voice/AudioTypes.h"

#include <QStringList>

class Recogniser {
public:
    virtual ~Recogniser() = default;
    virtual bool isAvailable() const = 0;
    // Starts an utterance; `onPartial` gets the best text so far, on the main thread.
    virtual void begin(const QStringList& contextualStrings,
                       std::function<void(const QString&)> onPartial) = 0;
    virtual void append(const PcmBuffer& buffer) = 0;
    // No more audio: the last result still arrives.
    virtual void endAudio() = 0;
    // Drops the utterance; no result arrives after this.
    virtual void cancel() = 0;
};
