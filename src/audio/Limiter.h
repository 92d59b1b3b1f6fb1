#pragma once

#include <vector>

// A look-ahead peak limiter at the end of the chain: the stretcher can lift phase-aligned,
// harmonic-rich material well above full scale, and the device or the WAV would clip it hard.
// Material that stays under the ceiling passes unchanged; a peak above it is met by a gain that
// has already ramped down over the look-ahead, so no sample ever leaves above the ceiling.
// Any channel count; the gain is shared, so the stereo image stays put. Real-time once prepared.
class Limiter {
public:
    static constexpr float kCeiling = 0.98f; // about -0.2 dBFS
    static constexpr double kLookaheadSeconds = 0.0015;
    static constexpr double kReleaseSeconds = 0.06;

    // Main thread, while nothing renders.
    void prepare(double sampleRate, int channels);
    // Forgets what it holds: the next output starts with the look-ahead's silence.
    void reset();
    // In place; `channels` at most the prepared count.
    void process(float* const* io, int channels, int frames);
    // Frames every sample is delayed by.
    int latencyFrames() const { return m_lookahead; }

private:
    float windowMinimum() const;
    bool isIdle(const float* const* io, int channels, int frames) const;

    int m_lookahead = 0;
    float m_releaseCoefficient = 0.0f;
    std::vector<std::vector<float>> m_delay; // per channel, m_lookahead frames
    std::vector<float> m_required;           // gain each input frame needs, last m_lookahead + 1
    std::vector<float> m_box;                // smoothed gains, last m_lookahead
    double m_boxSum = 0.0;
    int m_below = 0; // entries of m_required under 1
    float m_held = 1.0f;
    int m_pos = 0;
};
