#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

// Interleaved float frames handed from the render thread (producer) to the device callback
// (consumer) without locks or allocation. Storage is made in the constructor.
class AudioRing {
public:
    AudioRing(int channels, int capacityFrames);

    int channelCount() const { return m_channels; }
    int capacityFrames() const { return m_capacity; }

    // Producer side.
    int writableFrames() const;
    // Interleaves planar[0..channelCount()) into the ring; returns the frames taken, fewer when
    // the ring is full.
    int write(const float* const* planar, int frames);

    // Consumer side.
    int readableFrames() const;
    // Copies up to `frames` interleaved frames out; returns how many. *firstFrame receives the
    // ring's running count of the first frame copied.
    int read(float* interleaved, int frames, uint64_t* firstFrame = nullptr);
    // Always fills `frames`: what the ring lacks becomes silence and counts as one underrun.
    // Returns the frames that came from the ring.
    int readPadded(float* interleaved, int frames, uint64_t* firstFrame = nullptr);
    uint64_t underruns() const { return m_underruns.load(std::memory_order_relaxed); }

    // Any thread: everything written so far is discarded (a seek or a new range). The consumer
    // skips it at its next read, and only then is its space free for the producer, so that a
    // read under way never sees its frames overwritten.
    void flush();
    // How many flushes there were: a reader that sees it change knows a new stream follows.
    uint64_t flushCount() const { return m_flushes.load(std::memory_order_acquire); }
    // Producer side: the running count of the next frame written.
    uint64_t writePosition() const { return m_write.load(std::memory_order_relaxed); }
    // Frames written and not yet read: what sits between the render thread and the device.
    int queuedFrames() const { return readableFrames(); }

private:
    uint64_t readPosition() const;

    const int m_channels;
    const int m_capacity;
    std::unique_ptr<float[]> m_samples;
    alignas(64) std::atomic<uint64_t> m_write{0};
    alignas(64) std::atomic<uint64_t> m_read{0};
    alignas(64) std::atomic<uint64_t> m_flushTo{0};
    std::atomic<uint64_t> m_underruns{0};
    std::atomic<uint64_t> m_flushes{0};
};
