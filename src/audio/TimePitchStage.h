#pragma once

#include "audio/AudioRenderSource.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

namespace RubberBand {
class RubberBandStretcher;
}

// Speed and pitch, set independently, over Rubber Band's real-time R3 engine. Pulls its input
// from the stage before it.
//
// prepare() runs on the main thread while nothing renders. The setters may be called from any
// thread at any time; the render thread picks the values up at its next call, since the
// stretcher takes its ratios only from the thread that feeds it.
class TimePitchStage : public AudioRenderSource {
public:
    static constexpr double kMinRate = 0.25;
    static constexpr double kMaxRate = 1.5;
    static constexpr double kMaxCents = 1200.0;
    static constexpr int kMaxChannels = 8;
    // Largest piece handed to the stretcher at once.
    static constexpr int kMaxProcessFrames = 4096;

    TimePitchStage();
    ~TimePitchStage() override;
    TimePitchStage(const TimePitchStage&) = delete;
    TimePitchStage& operator=(const TimePitchStage&) = delete;

    // Makes the stretcher and every buffer for the whole rate and pitch range. False for a
    // channel count the stage cannot take.
    bool prepare(double sampleRate, int channels);
    // Non-owning; set while nothing renders. Its channel count must be the prepared one.
    void setInput(AudioRenderSource* input) { m_input = input; }
    int channelCount() const override { return m_channels; }

    // Playback rate, clamped to kMinRate..kMaxRate; the stretch ratio is its inverse.
    void setRate(double rate);
    double rate() const { return m_rate.load(std::memory_order_relaxed); }
    // Cents, clamped to ±kMaxCents.
    void setPitch(double cents);
    double pitch() const { return m_cents.load(std::memory_order_relaxed); }
    // Bypassed, the input passes straight through. Leaving bypass starts the stretcher afresh.
    void setBypass(bool bypass);
    bool isBypassed() const { return m_bypass.load(std::memory_order_relaxed); }
    // The next render starts afresh: what the stretcher holds is dropped, and the first frame
    // fed afterwards comes out first and whole (for a play, a seek or a new range).
    void requestReset() { m_resetRequested.store(true, std::memory_order_release); }
    // Input frames handed to the stretcher at least at once; 0 feeds only what it asks for. An
    // offline pull sets kMaxProcessFrames: far fewer calls, while playing keeps its work per block
    // small. Set while nothing renders.
    void setMinimumFeedFrames(int frames) { m_minimumFeed = std::clamp(frames, 0, kMaxProcessFrames); }

    void render(float* const* out, int frames) override;

    // Source frames pulled from the input but not yet given out, at the latest render: the
    // frame being given out is (frames pulled − latency). 0 while bypassed.
    double latencyFrames() const { return m_latency.load(std::memory_order_acquire); }

private:
    void applyParameters();
    void restart();
    int retrieve(float* const* out, int offset, int frames);
    void feed();
    void warmUp();

    std::unique_ptr<RubberBand::RubberBandStretcher> m_stretcher;
    AudioRenderSource* m_input = nullptr;
    int m_channels = 0;

    std::atomic<double> m_rate{1.0};
    std::atomic<double> m_cents{0.0};
    std::atomic<bool> m_bypass{false};
    std::atomic<bool> m_resetRequested{true};
    std::atomic<double> m_latency{0.0};
    int m_minimumFeed = 0;

    // Render side.
    double m_appliedRate = 0.0;
    double m_appliedCents = 0.0;
    bool m_wasBypassed = false;
    size_t m_padPending = 0;
    size_t m_dropPending = 0;
    double m_fedFrames = 0.0;    // source frames fed since the last restart
    double m_givenOutPos = 0.0;  // source position of the next frame given out
    std::vector<std::vector<float>> m_inBuffers;
    std::vector<std::vector<float>> m_scratch; // zeros to pad with, and a sink for dropped frames
};
