#pragma once

#include "audio/AudioOutput.h"

#include <atomic>
#include <thread>
#include <vector>

// An output with no device. Deterministic: the caller pulls frames, in blocks of a fixed size,
// and gets exactly what the render callback gave. Paced: a thread of its own consumes blocks at
// the clock's pace, as a device would, and drops them (running without sound) or records them,
// so a test hears what a listener would.
class VirtualOutput : public AudioOutput {
public:
    enum class Pacing { Deterministic, RealTime };

    explicit VirtualOutput(int blockFrames = 512, int64_t latencyFrames = 0, Pacing pacing = Pacing::Deterministic);
    ~VirtualOutput() override;

    bool open(double sampleRate, int channels) override;
    void close() override;
    bool start() override;
    void stop() override;
    bool isRunning() const override { return m_running; }
    Pacing pacing() const { return m_pacing; }
    int64_t latencyFrames() const override { return m_latency; }
    bool isClocked() const override { return m_pacing == Pacing::RealTime; }

    // Paced: keeps up to `frames` frames of what is consumed from now on (before start()).
    void record(int64_t frames);
    // The frames recorded so far, interleaved; safe while running.
    std::vector<float> recorded() const;
    int64_t recordedFrames() const { return m_recorded.load(std::memory_order_acquire); }

    // Calls the render callback in blocks of blockFrames() (the last one shorter) until `frames`
    // frames are made, and returns them interleaved. Silence while not running.
    std::vector<float> pull(int64_t frames);
    int64_t framesPulled() const { return m_pulled.load(); }
    int blockFrames() const { return m_blockFrames; }

private:
    void paceLoop();

    const int m_blockFrames;
    const int64_t m_latency;
    const Pacing m_pacing;
    bool m_open = false;
    bool m_running = false;
    std::atomic<int64_t> m_pulled{0};
    std::vector<float> m_recording;
    std::atomic<int64_t> m_recorded{0};
    std::atomic<bool> m_paceActive{false};
    std::thread m_paceThread;
};
