#include "audio/Limiter.h"

#include <algorithm>
#include <cmath>
#include <numeric>

void Limiter::prepare(double sampleRate, int channels)
{
    m_lookahead = std::max(1, int(std::lround(sampleRate * kLookaheadSeconds)));
    m_releaseCoefficient = float(1.0 - std::exp(-1.0 / (kReleaseSeconds * sampleRate)));
    m_delay.assign(size_t(std::max(1, channels)), std::vector<float>(size_t(m_lookahead)));
    m_required.assign(size_t(m_lookahead + 1), 1.0f);
    m_box.assign(size_t(m_lookahead), 1.0f);
    reset();
}

void Limiter::reset()
{
    for (auto& channel : m_delay)
        std::fill(channel.begin(), channel.end(), 0.0f);
    std::fill(m_required.begin(), m_required.end(), 1.0f);
    std::fill(m_box.begin(), m_box.end(), 1.0f);
    m_boxSum = double(m_lookahead);
    m_below = 0;
    m_held = 1.0f;
    m_pos = 0;
}

float Limiter::windowMinimum() const
{
    return m_below == 0 ? 1.0f : *std::min_element(m_required.begin(), m_required.end());
}

// The gain applied to the frame leaving the delay is the mean of the last D held gains, each no
// larger than the least gain any frame of its window needs; every window of those D holds the
// leaving frame, so the mean never lets it pass above the ceiling.
bool Limiter::isIdle(const float* const* io, int channels, int frames) const
{
    if (m_below != 0 || m_held != 1.0f || m_boxSum < double(m_lookahead) - 1e-6)
        return false;
    for (int c = 0; c < channels; ++c)
        for (int n = 0; n < frames; ++n)
            if (std::fabs(io[c][n]) > kCeiling)
                return false;
    return true;
}

void Limiter::process(float* const* io, int channels, int frames)
{
    channels = std::min(channels, int(m_delay.size()));
    // Under the ceiling with nothing to recover from, the gain is 1 throughout: only the delay runs.
    if (isIdle(io, channels, frames)) {
        const int period = int(m_required.size() * m_box.size());
        for (int n = 0; n < frames; ++n) {
            const size_t slot = size_t(m_pos) % size_t(m_lookahead);
            for (int c = 0; c < channels; ++c)
                std::swap(io[c][n], m_delay[size_t(c)][slot]);
            m_pos = (m_pos + 1) % period;
        }
        return;
    }
    const size_t windowSize = m_required.size();
    for (int n = 0; n < frames; ++n) {
        float peak = 0.0f;
        for (int c = 0; c < channels; ++c)
            peak = std::max(peak, std::fabs(io[c][n]));
        const float need = peak > kCeiling ? kCeiling / peak : 1.0f;

        const size_t slot = size_t(m_pos) % windowSize;
        m_below += (need < 1.0f) - (m_required[slot] < 1.0f);
        m_required[slot] = need;
        m_held = std::min(windowMinimum(), m_held + (1.0f - m_held) * m_releaseCoefficient);
        if (m_held > 0.99999f && m_below == 0)
            m_held = 1.0f;

        const size_t boxSlot = size_t(m_pos) % m_box.size();
        m_boxSum += double(m_held) - double(m_box[boxSlot]);
        m_box[boxSlot] = m_held;
        const float gain = m_held == 1.0f && m_boxSum >= double(m_lookahead) - 1e-6 ? 1.0f
                                                                               : float(m_boxSum / double(m_lookahead));

        const size_t delaySlot = size_t(m_pos) % size_t(m_lookahead);
        for (int c = 0; c < channels; ++c) {
            const float leaving = m_delay[size_t(c)][delaySlot];
            m_delay[size_t(c)][delaySlot] = io[c][n];
            io[c][n] = leaving * gain;
        }
        m_pos = (m_pos + 1) % int(windowSize * m_box.size());
        if (m_pos == 0) // no rounding drift builds up over hours
            m_boxSum = std::accumulate(m_box.begin(), m_box.end(), 0.0);
    }
}
