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
//
// The stretcher starts afresh with the first played frame of each new stream (a play after a
// stop), so nothing of a start is lost and nothing from before it is heard; while its input is
// halted it gives the input's silence and holds no state.
class TimePitchStage : public AudioRenderSource {
public:
    static constexpr double kMinRate = 0.25;
    static constexpr double kMaxRate = 1.5;
    static constexpr double kMaxCents = 1200.0;
    // Largest piece handed to the stretcher at once.
    static constexpr int kMaxProcessFrames = 4096;
    static constexpr double kSpeedSeamFadeSeconds = 0.004;

    TimePitchStage();
    ~TimePitchStage() override;
    TimePitchStage(const TimePitchStage&) = delete;
    TimePitchStage& operator=(const TimePitchStage&) = delete;

    // Makes the stretcher and every buffer for the whole rate and pitch range. False for a
    // channel count or rate the stage cannot take.
    bool prepare(double sampleRate, int channels);
    // Non-owning, and needed before the first render; set while nothing renders. Its channel
    // count must be the prepared one.
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
    // The stretcher starts afresh at the next played frame.
    void requestReset() { m_resetRequested.store(true, std::memory_order_release); }
    // Input frames handed to the stretcher at least at once; 0 feeds only what it asks for. Set
    // while nothing renders.
    void setMinimumFeedFrames(int frames) { m_minimumFeed = std::clamp(frames, 0, kMaxProcessFrames); }

    void render(float* const* out, int frames) override;
    double lastRenderTime() const override { return m_blockTime; }
    double lastRenderRate() const override { return m_blockRate; }
    bool playedLastRender() const override { return m_blockRate > 0.0; }
    bool startedStreamLastRender() const override { return m_blockStarted; }

private:
    void applyParameters(double inputTime);
    void restart(double inputTime);
    bool startIfPlayed(float* const* out, int frames);
    int retrieve(float* const* out, int offset, int frames);
    bool feed();
    void process(float* const* in, int frames, bool final = false);
    void startPassAtNewSpeed();
    double framesStillHeld() const;
    void shapeSpeedSeam(int frames, double heldBefore);
    void warmUp();

    std::unique_ptr<RubberBand::RubberBandStretcher> m_stretcher;
    AudioRenderSource* m_input = nullptr;
    int m_channels = 0;

    std::atomic<double> m_rate{1.0};
    std::atomic<double> m_cents{0.0};
    std::atomic<bool> m_bypass{false};
    std::atomic<bool> m_resetRequested{true};
    int m_minimumFeed = 0;

    // Render side.
    bool m_idle = true;
    double m_appliedRate = 0.0;
    double m_appliedCents = 0.0;
    size_t m_dropPending = 0;
    double m_inputBase = 0.0;   // time line of the first frame fed since the restart
    double m_givenOutPos = 0.0; // time-line frames from there to the next frame given out
    double m_fed = 0.0;         // time-line frames fed since the restart
    double m_heldAtOldRate = 0.0; // fed before the last rate change and not yet given out
    double m_oldRate = 1.0;
    double m_blockStartPos = 0.0;
    double m_blockTime = 0.0;
    double m_blockRate = 0.0;
    bool m_blockStarted = false;
    double m_drainingTo = -1.0; // the time line where a pass at a new speed starts, once the old is out
    double m_seamFadeFrames = 1.0;
    int m_fadeInDone = 0;
    std::vector<std::vector<float>> m_inBuffers;
    std::vector<std::vector<float>> m_scratch; // zeros to pad with, and a sink for dropped frames
    std::vector<float*> m_inPointers, m_scratchPointers, m_outPointers;
};
