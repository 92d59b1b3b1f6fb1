#include "audio/AudioRing.h"

#include <algorithm>
#include <cstring>

AudioRing::AudioRing(int channels, int capacityFrames)
    : m_channels(std::max(1, channels)),
      m_capacity(std::max(1, capacityFrames)),
      m_samples(new float[size_t(m_channels) * size_t(m_capacity)]())
{
}

// A flush moves the read position forward; the consumer stores it at its next read, everybody
// else reads it through here.
uint64_t AudioRing::readPosition() const
{
    return std::max(m_read.load(std::memory_order_acquire), m_flushTo.load(std::memory_order_acquire));
}

int AudioRing::writableFrames() const
{
    const uint64_t used = m_write.load(std::memory_order_relaxed) - m_read.load(std::memory_order_acquire);
    return m_capacity - int(std::min<uint64_t>(used, uint64_t(m_capacity)));
}

int AudioRing::write(const float* const* planar, int frames)
{
    const uint64_t w = m_write.load(std::memory_order_relaxed);
    const int n = std::min(frames, writableFrames());
    for (int i = 0; i < n; ++i) {
        float* frame = &m_samples[size_t((w + uint64_t(i)) % uint64_t(m_capacity)) * size_t(m_channels)];
        for (int c = 0; c < m_channels; ++c)
            frame[c] = planar[c][i];
    }
    m_write.store(w + uint64_t(n), std::memory_order_release);
    return n;
}

int AudioRing::readableFrames() const
{
    const uint64_t w = m_write.load(std::memory_order_acquire);
    const uint64_t r = readPosition();
    return w > r ? int(w - r) : 0;
}

int AudioRing::read(float* interleaved, int frames, uint64_t* firstFrame)
{
    const uint64_t w = m_write.load(std::memory_order_acquire);
    uint64_t r = readPosition();
    if (firstFrame)
        *firstFrame = r;
    const int n = std::min(frames, w > r ? int(w - r) : 0);
    for (int done = 0; done < n;) {
        const uint64_t slot = r % uint64_t(m_capacity);
        const int run = std::min(n - done, int(uint64_t(m_capacity) - slot));
        std::memcpy(interleaved + size_t(done) * size_t(m_channels), &m_samples[size_t(slot) * size_t(m_channels)],
                    sizeof(float) * size_t(run) * size_t(m_channels));
        done += run;
        r += uint64_t(run);
    }
    m_read.store(r, std::memory_order_release);
    return n;
}

int AudioRing::readPadded(float* interleaved, int frames, uint64_t* firstFrame)
{
    const int n = read(interleaved, frames, firstFrame);
    if (n == frames)
        return n;
    std::memset(interleaved + size_t(n) * size_t(m_channels), 0, sizeof(float) * size_t(frames - n) * size_t(m_channels));
    m_underruns.fetch_add(1, std::memory_order_relaxed);
    return n;
}

void AudioRing::flush()
{
    m_flushTo.store(m_write.load(std::memory_order_acquire), std::memory_order_release);
    m_flushes.fetch_add(1, std::memory_order_acq_rel);
}
