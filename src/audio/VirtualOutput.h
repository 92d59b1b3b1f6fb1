#pragma once

#include "audio/AudioOutput.h"

#include <vector>

// An output with no device: the caller pulls frames, in blocks of a fixed size, and gets exactly
// what the render callback gave. For tests and anything else that must run without sound.
class VirtualOutput : public AudioOutput {
public:
    explicit VirtualOutput(int blockFrames = 512, int64_t latencyFrames = 0);

    bool open(double sampleRate, int channels) override;
    void close() override;
    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    int64_t latencyFrames() const override { return m_latency; }

    // Calls the render callback in blocks of blockFrames() (the last one shorter) until `frames`
    // frames are made, and returns them interleaved. Silence while not running.
    std::vector<float> pull(int64_t frames);
    int64_t framesPulled() const { return m_pulled; }
    int blockFrames() const { return m_blockFrames; }

private:
    const int m_blockFrames;
    const int64_t m_latency;
    bool m_open = false;
    bool m_running = false;
    int64_t m_pulled = 0;
};
