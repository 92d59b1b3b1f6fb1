#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Planar float audio: one contiguous array per channel. Made and filled on the main thread, then
// handed to the render thread whole and only read there.
class AudioBuffer {
public:
    AudioBuffer(int channelCount, int64_t frameCount);

    int channelCount() const { return int(m_channels.size()); }
    int64_t frameCount() const { return m_frameCount; }

    float* channel(int c) { return m_channels[size_t(c)].data(); }
    const float* channel(int c) const { return m_channels[size_t(c)].data(); }

private:
    int64_t m_frameCount;
    std::vector<std::vector<float>> m_channels;
};
