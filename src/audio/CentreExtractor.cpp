#include "audio/CentreExtractor.h"

#include <algorithm>
#include <cmath>

namespace {

// sqrt-Hann in and out make Hann, whose copies a quarter apart add up to 2.
constexpr float kOverlapGain = 2.0f;

} // namespace

CentreExtractor::CentreExtractor()
    : m_centre(std::make_unique<RealFft>(kFrameSize, RealFft::Directions::ForwardAndInverse))
    , m_window(kFrameSize)
    , m_sum(kFrameSize)
    , m_ready(kHop)
{
    for (auto& side : m_sides)
        side = std::make_unique<RealFft>(kFrameSize);
    for (auto& heard : m_heard)
        heard.assign(kFrameSize, 0.0f);
    for (int n = 0; n < kFrameSize; ++n)
        m_window[size_t(n)] = float(std::sin(M_PI * double(n) / kFrameSize));
}

CentreExtractor::~CentreExtractor() = default;

void CentreExtractor::reset()
{
    for (auto& heard : m_heard)
        std::fill(heard.begin(), heard.end(), 0.0f);
    std::fill(m_sum.begin(), m_sum.end(), 0.0f);
    std::fill(m_ready.begin(), m_ready.end(), 0.0f);
    m_position = kFrameSize - kHop;
    m_started = false;
}

void CentreExtractor::process(float* const* io, int frames)
{
    const bool wanted = isEnabled();
    if (!m_started) {
        m_active = wanted;
        m_started = true;
    }
    const bool fading = wanted != m_active;
    m_active = wanted;
    for (int n = 0; n < frames; ++n) {
        const float centre = next(io[0][n], io[1][n]);
        float share = m_active ? 1.0f : 0.0f;
        if (fading)
            share = m_active ? float(n + 1) / float(frames) : 1.0f - float(n + 1) / float(frames);
        for (int c = 0; c < 2; ++c)
            io[c][n] += share * (centre - io[c][n]);
    }
}

// Takes one frame of each side in and gives the centre of the frame kLatencyFrames earlier.
float CentreExtractor::next(float left, float right)
{
    m_heard[0][size_t(m_position)] = left;
    m_heard[1][size_t(m_position)] = right;
    const float out = m_ready[size_t(m_position - (kFrameSize - kHop))];
    if (++m_position == kFrameSize) {
        transformFrame();
        m_position = kFrameSize - kHop;
    }
    return out;
}

void CentreExtractor::transformFrame()
{
    const float* spectra[2];
    for (int c = 0; c < 2; ++c) {
        float* in = m_sides[size_t(c)]->input();
        for (int n = 0; n < kFrameSize; ++n)
            in[n] = m_heard[size_t(c)][size_t(n)] * m_window[size_t(n)];
        spectra[c] = m_sides[size_t(c)]->transform();
    }
    float* mid = m_centre->spectrum();
    for (int k = 0; k <= kFrameSize / 2; ++k) {
        const float lr = spectra[0][2 * k], li = spectra[0][2 * k + 1];
        const float rr = spectra[1][2 * k], ri = spectra[1][2 * k + 1];
        const float power = lr * lr + li * li + rr * rr + ri * ri;
        const float alike = lr * rr + li * ri; // Re(L·R*)
        const float weight = power > 1e-20f ? 2.0f * std::max(0.0f, alike) / power : 0.0f;
        mid[2 * k] = 0.5f * weight * (lr + rr);
        mid[2 * k + 1] = 0.5f * weight * (li + ri);
    }
    const float* back = m_centre->inverse();
    const float scale = 1.0f / (kOverlapGain * float(kFrameSize));
    for (int n = 0; n < kFrameSize; ++n)
        m_sum[size_t(n)] += back[n] * m_window[size_t(n)] * scale;

    std::copy_n(m_sum.begin(), kHop, m_ready.begin());
    std::copy(m_sum.begin() + kHop, m_sum.end(), m_sum.begin());
    std::fill(m_sum.end() - kHop, m_sum.end(), 0.0f);
    for (auto& heard : m_heard)
        std::copy(heard.begin() + kHop, heard.end(), heard.begin());
}
