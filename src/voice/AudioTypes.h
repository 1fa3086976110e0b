#pragma once

// Audio as the recorder sees it: a format that may read as unready (zero) for
// a moment after a device change, and buffers of interleaved 32-bit floats.

#include <QString>
#include <functional>
#include <vector>

struct AudioFormat {
    int sampleRate = 0;
    int channels = 0;
    bool isValid() const { return sampleRate > 0 && channels > 0; }
    bool operator==(const AudioFormat&) const = default;
};

struct PcmBuffer {
    AudioFormat format;
    std::vector<float> samples; // interleaved, frames() * channels long
    int frames() const { return format.channels > 0 ? int(samples.size()) / format.channels : 0; }
};

// Called for every captured buffer, on the thread the capture layer names.
using TapBlock = std::function<void(const PcmBuffer&)>;
