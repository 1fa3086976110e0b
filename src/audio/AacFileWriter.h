#pragma once

// AAC in an MPEG-4 container, encoded with FFmpeg on a worker thread of its
// own. The sample rate and channel count are the input's; no bit rate is set.

#include "voice/AudioFileWriter.h"

#include <memory>

class AacFileWriter : public AudioFileWriter {
public:
    AacFileWriter();
    ~AacFileWriter() override;
    bool open(const QString& path, const AudioFormat& format, QString* error) override;
    AudioFormat processingFormat() const override;
    bool write(const PcmBuffer& buffer) override;
    void close() override;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};
