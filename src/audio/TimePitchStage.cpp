#include "audio/TimePitchStage.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

using RubberBand::RubberBandStretcher;

TimePitchStage::TimePitchStage() = default;
TimePitchStage::~TimePitchStage() = default;

bool TimePitchStage::prepare(double sampleRate, int channels)
{
    if (channels < 1 || channels > kMaxChannels || sampleRate <= 0.0)
        return false;
    m_channels = channels;
    const auto options = RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionEngineFiner |
                         RubberBandStretcher::OptionPitchHighConsistency | RubberBandStretcher::OptionChannelsTogether;
    m_stretcher = std::make_unique<RubberBandStretcher>(size_t(sampleRate), size_t(channels), options);
    m_stretcher->setMaxProcessSize(kMaxProcessFrames);
    m_inBuffers.assign(size_t(channels), std::vector<float>(kMaxProcessFrames, 0.0f));
    m_scratch.assign(size_t(channels), std::vector<float>(kMaxProcessFrames, 0.0f));
    warmUp();
    for (auto& channel : m_scratch)
        std::fill(channel.begin(), channel.end(), 0.0f);
    // Forces both ratios to be set again at the first render.
    m_appliedRate = 0.0;
    m_appliedCents = std::numeric_limits<double>::quiet_NaN();
    m_resetRequested.store(true, std::memory_order_release);
    return true;
}

// Runs the stretcher once at both ends of the range, so that whatever it sizes lazily is sized
// here and not in the first render call at an extreme setting.
void TimePitchStage::warmUp()
{
    std::vector<float*> in, out;
    for (int c = 0; c < m_channels; ++c) {
        in.push_back(m_inBuffers[size_t(c)].data());
        out.push_back(m_scratch[size_t(c)].data());
    }
    // Pitch ratios walked in this order make the resampler grow its tables to their largest.
    const double settings[][2] = {{1.0, 0.0}, {kMinRate, kMaxCents}, {kMaxRate, -kMaxCents}, {kMinRate, -kMaxCents},
                                  {kMaxRate, kMaxCents}, {1.0, 0.0}};
    for (const auto& setting : settings) {
        m_stretcher->setTimeRatio(1.0 / setting[0]);
        m_stretcher->setPitchScale(std::pow(2.0, setting[1] / 1200.0));
        for (int i = 0; i < 2; ++i) {
            m_stretcher->process(in.data(), 1024, false);
            while (m_stretcher->available() > 0)
                m_stretcher->retrieve(out.data(), std::min<size_t>(size_t(m_stretcher->available()), kMaxProcessFrames));
        }
    }
    m_stretcher->reset();
}

void TimePitchStage::setRate(double rate)
{
    m_rate.store(std::clamp(rate, kMinRate, kMaxRate), std::memory_order_relaxed);
}

void TimePitchStage::setPitch(double cents)
{
    m_cents.store(std::clamp(cents, -kMaxCents, kMaxCents), std::memory_order_relaxed);
}

void TimePitchStage::setBypass(bool bypass)
{
    m_bypass.store(bypass, std::memory_order_relaxed);
}

void TimePitchStage::render(float* const* out, int frames)
{
    const bool bypass = m_bypass.load(std::memory_order_relaxed) || !m_stretcher;
    if (bypass) {
        if (m_input)
            m_input->render(out, frames);
        else
            for (int c = 0; c < m_channels; ++c)
                std::memset(out[c], 0, sizeof(float) * size_t(frames));
        m_wasBypassed = true;
        m_latency.store(0.0, std::memory_order_release);
        return;
    }
    applyParameters();
    if (m_resetRequested.exchange(false, std::memory_order_acq_rel) || m_wasBypassed)
        restart();
    m_wasBypassed = false;

    int produced = 0;
    while (produced < frames) {
        if (m_stretcher->available() > 0) {
            produced += retrieve(out, produced, frames - produced);
            continue;
        }
        feed();
    }
    m_latency.store(m_fedFrames - m_givenOutPos, std::memory_order_release);
}

void TimePitchStage::applyParameters()
{
    const double rate = m_rate.load(std::memory_order_relaxed);
    const double cents = m_cents.load(std::memory_order_relaxed);
    if (rate != m_appliedRate) {
        m_stretcher->setTimeRatio(1.0 / rate);
        m_appliedRate = rate;
    }
    if (!(cents == m_appliedCents)) {
        m_stretcher->setPitchScale(std::pow(2.0, cents / 1200.0));
        m_appliedCents = cents;
    }
}

void TimePitchStage::restart()
{
    m_stretcher->reset();
    // Silence ahead of the first frame lets the analysis window reach it whole; the output's
    // matching delay is then cut, so frame 0 of the input is frame 0 of the output.
    m_padPending = m_stretcher->getPreferredStartPad();
    m_dropPending = m_stretcher->getStartDelay();
    m_fedFrames = 0.0;
    m_givenOutPos = 0.0;
}

int TimePitchStage::retrieve(float* const* out, int offset, int frames)
{
    const size_t available = size_t(m_stretcher->available());
    if (m_dropPending > 0) {
        float* sink[kMaxChannels];
        for (int c = 0; c < m_channels; ++c)
            sink[c] = m_scratch[size_t(c)].data();
        const size_t n = std::min({available, m_dropPending, size_t(kMaxProcessFrames)});
        m_dropPending -= m_stretcher->retrieve(sink, n);
        // The scratch doubles as the padding source: keep it silent.
        for (int c = 0; c < m_channels; ++c)
            std::memset(sink[c], 0, sizeof(float) * n);
        return 0;
    }
    float* dst[kMaxChannels];
    for (int c = 0; c < m_channels; ++c)
        dst[c] = out[c] + offset;
    const int got = int(m_stretcher->retrieve(dst, std::min(available, size_t(frames))));
    m_givenOutPos += got * m_appliedRate;
    return got;
}

void TimePitchStage::feed()
{
    if (m_padPending > 0) {
        const float* zeros[kMaxChannels];
        for (int c = 0; c < m_channels; ++c)
            zeros[c] = m_scratch[size_t(c)].data();
        const size_t n = std::min(m_padPending, size_t(kMaxProcessFrames));
        m_stretcher->process(zeros, n, false);
        m_padPending -= n;
        return;
    }
    size_t n = m_stretcher->getSamplesRequired();
    n = std::clamp<size_t>(std::max(n == 0 ? 256 : n, size_t(m_minimumFeed)), 1, kMaxProcessFrames);
    float* in[kMaxChannels];
    for (int c = 0; c < m_channels; ++c)
        in[c] = m_inBuffers[size_t(c)].data();
    if (m_input)
        m_input->render(in, int(n));
    else
        for (int c = 0; c < m_channels; ++c)
            std::memset(in[c], 0, sizeof(float) * n);
    m_stretcher->process(in, n, false);
    m_fedFrames += double(n);
}
