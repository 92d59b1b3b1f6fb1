#pragma once

#include <QString>

#include <cstdint>

// The format of the graph's connections and buffers: non-interleaved float at the file's rate and
// channel count. A file's stored format adds the codec it was encoded with.
struct AudioFormat {
    double sampleRate = 0.0;
    int channelCount = 0;
    QString codecName;
    uint64_t channelMask = 0; // FFmpeg's speaker mask, 0 for the usual order of that many channels

    bool isValid() const { return sampleRate > 0.0 && channelCount > 0; }
    bool sameLayout(const AudioFormat& other) const
    {
        return sampleRate == other.sampleRate && channelCount == other.channelCount;
    }
};
