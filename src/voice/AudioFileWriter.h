#pragma once

// A compressed audio file written as buffers arrive. Encoding happens on a
// worker thread of the writer's own; write() only queues.

#include "voice/AudioTypes.h"

class AudioFileWriter {
public:
    virtual ~AudioFileWriter() = default;
    // Creates the file at `path` for buffers in `format`.
    virtual bool open(const QString& path, const AudioFormat& format, QString* error) = 0;
    // The format the file was opened with; buffers in another one are refused.
    virtual AudioFormat processingFormat() const = 0;
    virtual bool write(const PcmBuffer& buffer) = 0;
    // Encodes what is queued and finishes the file; safe to call twice.
    virtual void close() = 0;
};
