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
    if (channels < 1 || sampleRate <= 0.0)
        return false;
    m_channels = channels;
    m_seamFadeFrames = std::max(1.0, std::round(sampleRate * kSpeedSeamFadeSeconds));
    const auto options = RubberBandStretcher::OptionProcessRealTime | RubberBandStretcher::OptionEngineFiner |
                         RubberBandStretcher::OptionPitchHighConsistency | RubberBandStretcher::OptionChannelsTogether;
    m_stretcher = std::make_unique<RubberBandStretcher>(size_t(sampleRate), size_t(channels), options);
    m_stretcher->setMaxProcessSize(kMaxProcessFrames);
    m_inBuffers.assign(size_t(channels), std::vector<float>(kMaxProcessFrames, 0.0f));
    m_scratch.assign(size_t(channels), std::vector<float>(kMaxProcessFrames, 0.0f));
    m_inPointers.clear();
    m_scratchPointers.clear();
    for (int c = 0; c < channels; ++c) {
        m_inPointers.push_back(m_inBuffers[size_t(c)].data());
        m_scratchPointers.push_back(m_scratch[size_t(c)].data());
    }
    m_outPointers.assign(size_t(channels), nullptr);
    warmUp();
    for (auto& channel : m_scratch)
        std::fill(channel.begin(), channel.end(), 0.0f);
    // Forces both ratios to be set again at the first render.
    m_appliedRate = 0.0;
    m_appliedCents = std::numeric_limits<double>::quiet_NaN();
    m_idle = true;
    return true;
}

// Runs the stretcher once at both ends of the range, so that whatever it sizes lazily is sized
// here and not in the first render call at an extreme setting.
void TimePitchStage::warmUp()
{
    std::vector<float*> in = m_inPointers, out = m_scratchPointers;
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
        m_input->render(out, frames);
        m_blockTime = m_input->lastRenderTime();
        m_blockRate = m_input->lastRenderRate();
        m_blockStarted = m_input->startedStreamLastRender();
        m_idle = true;
        return;
    }
    if (m_resetRequested.exchange(false, std::memory_order_acq_rel))
        m_idle = true;
    m_blockStarted = false;
    if (m_idle && !startIfPlayed(out, frames))
        return;

    m_blockStartPos = m_givenOutPos;
    int produced = 0;
    while (produced < frames) {
        if (m_drainingTo >= 0.0 && m_givenOutPos >= m_fed - 0.5) {
            startPassAtNewSpeed();
            continue;
        }
        if (m_stretcher->available() > 0) {
            produced += retrieve(out, produced, frames - produced);
            continue;
        }
        if (m_drainingTo >= 0.0) {
            startPassAtNewSpeed();
            continue;
        }
        if (feed())
            produced = 0; // a new stream began: it starts the block, the old one's part goes
    }
    m_blockTime = m_inputBase + m_blockStartPos;
    m_blockRate = (m_givenOutPos - m_blockStartPos) / double(frames);
}

// While idle the input is probed a whole block at a time: silence passes through, and the first
// played block starts the stretcher, so the stream's first frame is the first it is fed.
bool TimePitchStage::startIfPlayed(float* const* out, int frames)
{
    m_input->render(out, frames);
    if (!m_input->playedLastRender()) {
        m_blockTime = m_input->lastRenderTime();
        m_blockRate = 0.0;
        return false;
    }
    applyParameters(m_input->lastRenderTime());
    restart(m_input->lastRenderTime());
    process(out, frames);
    m_blockStarted = true;
    return true;
}

// A pass's own speed holds from its first frame on: a piece fed before it keeps the speed it
// was fed at.
void TimePitchStage::applyParameters(double inputTime)
{
    double rate = m_rate.load(std::memory_order_relaxed);
    if (m_input->passRate() > 0.0)
        rate = m_input->passRateSince() <= inputTime ? std::clamp(m_input->passRate(), kMinRate, kMaxRate)
                                                     : (m_appliedRate > 0.0 ? m_appliedRate : rate);
    const double cents = m_cents.load(std::memory_order_relaxed);
    if (rate != m_appliedRate) {
        // What the stretcher already holds still comes out at the rate it was fed at.
        if (m_appliedRate > 0.0) {
            m_heldAtOldRate = std::max(0.0, m_fed - m_givenOutPos);
            m_oldRate = m_appliedRate;
        }
        m_stretcher->setTimeRatio(1.0 / rate);
        m_appliedRate = rate;
    }
    if (!(cents == m_appliedCents)) {
        m_stretcher->setPitchScale(std::pow(2.0, cents / 1200.0));
        m_appliedCents = cents;
    }
}

void TimePitchStage::restart(double inputTime)
{
    m_stretcher->reset();
    // Silence ahead of the first frame lets the analysis window reach it whole; the output's
    // matching delay is then cut, so frame 0 of the input is frame 0 of the output.
    for (size_t pad = m_stretcher->getPreferredStartPad(); pad > 0;) {
        const size_t n = std::min(pad, size_t(kMaxProcessFrames));
        m_stretcher->process(m_scratchPointers.data(), n, false);
        pad -= n;
    }
    m_dropPending = m_stretcher->getStartDelay();
    m_inputBase = inputTime;
    m_givenOutPos = 0.0;
    m_fed = 0.0;
    m_heldAtOldRate = 0.0;
    m_drainingTo = -1.0;
    m_fadeInDone = int(m_seamFadeFrames); // a stream's own start is not faded
    m_idle = false;
}

int TimePitchStage::retrieve(float* const* out, int offset, int frames)
{
    const size_t available = size_t(m_stretcher->available());
    if (m_dropPending > 0) {
        const size_t n = std::min({available, m_dropPending, size_t(kMaxProcessFrames)});
        m_dropPending -= m_stretcher->retrieve(m_scratchPointers.data(), n);
        // The scratch doubles as the padding source: keep it silent.
        for (int c = 0; c < m_channels; ++c)
            std::memset(m_scratchPointers[size_t(c)], 0, sizeof(float) * n);
        return 0;
    }
    for (int c = 0; c < m_channels; ++c)
        m_outPointers[size_t(c)] = out[c] + offset;
    // A pass given out whole ends there: what the stretcher adds after its last frame is dropped.
    size_t wanted = std::min(available, size_t(frames));
    const double held = framesStillHeld();
    if (m_drainingTo >= 0.0)
        wanted = std::min(wanted, size_t(std::max(1.0, std::ceil(held))));
    const int got = int(m_stretcher->retrieve(m_outPointers.data(), wanted));
    shapeSpeedSeam(got, held);
    const double atOldRate = std::min(double(got), m_heldAtOldRate / m_oldRate);
    m_heldAtOldRate -= atOldRate * m_oldRate;
    m_givenOutPos += atOldRate * m_oldRate + (got - atOldRate) * m_appliedRate;
    return got;
}

bool TimePitchStage::feed()
{
    size_t n = m_stretcher->getSamplesRequired();
    n = std::clamp<size_t>(std::max(n == 0 ? 256 : n, size_t(m_minimumFeed)), 1, kMaxProcessFrames);
    // A pass that may change the speed ends a piece, so the new speed starts on its first frame.
    n = size_t(std::clamp<int64_t>(m_input->framesToPassEnd(), 1, int64_t(n)));
    m_input->render(m_inPointers.data(), int(n));
    const double inputTime = m_input->lastRenderTime();
    applyParameters(inputTime);
    bool restarted = false;
    if (m_input->startedStreamLastRender()) {
        // A new stream began while the old one was still in the stretcher.
        restart(m_input->lastRenderTime());
        m_blockStartPos = 0.0;
        m_blockStarted = true;
        restarted = true;
    } else if (!m_input->playedLastRender()) {
        m_idle = true; // halted: the next block waits for a new stream
    }
    // The stretcher would apply a new speed to what it still holds, cutting the pass short: it
    // gives out the whole pass first and starts the next one afresh.
    const bool endsPass = m_input->passRate() > 0.0 && m_input->passRateSince() == inputTime + double(n) &&
                          std::clamp(m_input->passRate(), kMinRate, kMaxRate) != m_appliedRate;
    process(m_inPointers.data(), int(n), endsPass);
    if (endsPass)
        m_drainingTo = inputTime + double(n);
    return restarted;
}

// Two independent stretches do not meet in phase: the pass before a new speed fades out over its
// last frames and the pass after fades in, a dip too short to hear as a gap and never a click.
void TimePitchStage::shapeSpeedSeam(int frames, double heldBefore)
{
    const int fade = int(m_seamFadeFrames);
    for (int i = 0; i < frames; ++i) {
        double gain = 1.0;
        const double toEnd = heldBefore - double(i);
        if (m_drainingTo >= 0.0 && toEnd <= fade)
            gain = std::sin(M_PI_2 * std::max(0.0, toEnd - 0.5) / fade);
        else if (m_fadeInDone < fade)
            gain = std::sin(M_PI_2 * (double(m_fadeInDone++) + 0.5) / fade);
        else if (!(m_drainingTo >= 0.0))
            return;
        for (int c = 0; c < m_channels; ++c)
            m_outPointers[size_t(c)][i] *= float(gain);
    }
}

// Output frames to come for what was fed and not yet given out.
double TimePitchStage::framesStillHeld() const
{
    const double held = std::max(0.0, m_fed - m_givenOutPos);
    const double atOldRate = std::min(held, m_heldAtOldRate);
    return atOldRate / m_oldRate + (held - atOldRate) / m_appliedRate;
}

// The time line goes on across the restart: the block began that far before the new pass.
void TimePitchStage::startPassAtNewSpeed()
{
    const double blockStart = m_inputBase + m_blockStartPos;
    const double passStart = m_drainingTo;
    m_drainingTo = -1.0;
    applyParameters(passStart);
    restart(passStart);
    m_fadeInDone = 0;
    m_blockStartPos = blockStart - passStart;
}

void TimePitchStage::process(float* const* in, int frames, bool final)
{
    m_fed += frames;
    for (int done = 0; done < frames;) {
        const int n = std::min(frames - done, kMaxProcessFrames);
        for (int c = 0; c < m_channels; ++c)
            m_outPointers[size_t(c)] = in[c] + done;
        m_stretcher->process(m_outPointers.data(), size_t(n), final && done + n == frames);
        done += n;
    }
}
