#include "audio/ExportRenderer.h"

#include "audio/AudioRenderSource.h"
#include "audio/TimePitchStage.h"
#include "audio/WavWriter.h"

#include <rubberband/RubberBandStretcher.h>

#include <algorithm>
#include <cmath>
#include <cstring>

using RubberBand::RubberBandStretcher;

namespace {

constexpr int kChunk = 4096;
// The study is a fraction of the work; it takes the first part of the progress bar.
constexpr double kStudyShare = 0.1;

void copyMixer(const MatrixMixer& from, MatrixMixer& to)
{
    to.setParameter(MatrixMixer::Global, MatrixMixer::kMasterElement,
                    from.parameter(MatrixMixer::Global, MatrixMixer::kMasterElement));
    for (uint32_t i = 0; i < MatrixMixer::kChannels; ++i) {
        to.setParameter(MatrixMixer::Input, i, from.parameter(MatrixMixer::Input, i));
        to.setParameter(MatrixMixer::Output, i, from.parameter(MatrixMixer::Output, i));
        for (uint32_t o = 0; o < MatrixMixer::kChannels; ++o)
            to.setParameter(MatrixMixer::Global, i * 65536 + o, from.parameter(MatrixMixer::Global, i * 65536 + o));
    }
}

std::unique_ptr<Equalizer> copyEqualizer(const Equalizer& from, double sampleRate)
{
    auto eq = std::make_unique<Equalizer>();
    for (int b = 0; b < Equalizer::kBands; ++b) {
        eq->setType(b, from.type(b));
        eq->setFrequency(b, from.frequency(b));
        eq->setBandwidth(b, from.bandwidth(b));
        eq->setGain(b, from.gain(b));
        eq->setBypass(b, from.isBypassed(b));
    }
    eq->setSampleRate(sampleRate); // settles on those settings: no fade in at the start
    return eq;
}

void makeBuffers(std::vector<std::vector<float>>& buffers, std::vector<float*>& pointers, int channels)
{
    buffers.assign(size_t(channels), std::vector<float>(size_t(kChunk)));
    pointers.clear();
    for (auto& b : buffers)
        pointers.push_back(b.data());
}

} // namespace

ExportRenderer::ExportRenderer(const Settings& settings, const MatrixMixer& mixer, const Equalizer& eq)
    : m_settings(settings)
{
    copyMixer(mixer, m_mixer);
    if (settings.centreOnly && settings.channels >= MatrixMixer::kChannels) {
        m_centre = std::make_unique<CentreExtractor>();
        m_centre->setEnabled(true);
    }
    for (int first = 0; first < settings.channels; first += Equalizer::kMaxChannels)
        m_eqs.push_back(copyEqualizer(eq, settings.sampleRate));
    // Settled and bypassed, the filter is the identity for the whole export.
    m_filtering = !(eq.isBypassed(0) && eq.isBypassed(1));
    m_limiter.prepare(settings.sampleRate, settings.channels);
    makeBuffers(m_in, m_inPointers, settings.channels);
    makeBuffers(m_out, m_outPointers, settings.channels);
    makeBuffers(m_mix, m_mixPointers, MatrixMixer::kChannels);
    m_offsetPointers.assign(size_t(settings.channels), nullptr);
    if (settings.followsPasses)
        m_clicks.prepare(settings.sampleRate);
    if (stretches() && !settings.followsPasses) {
        m_stretcher = std::make_unique<RubberBandStretcher>(
            size_t(settings.sampleRate), size_t(settings.channels),
            RubberBandStretcher::OptionProcessOffline | RubberBandStretcher::OptionEngineFiner);
        m_stretcher->setTimeRatio(1.0 / settings.rate);
        m_stretcher->setPitchScale(std::pow(2.0, settings.cents / 1200.0));
        m_stretcher->setMaxProcessSize(kChunk);
    }
}

ExportRenderer::~ExportRenderer() = default;

bool ExportRenderer::stretches() const
{
    return m_settings.rate != 1.0 || m_settings.cents != 0.0;
}

bool ExportRenderer::run(AudioRenderSource& study, AudioRenderSource& input, int64_t inputFrames, int64_t total,
                         WavWriter& writer, const std::atomic<bool>& abort, const Progress& progress)
{
    m_total = total;
    m_written = 0;
    m_toDrop = m_limiter.latencyFrames();
    m_limiter.reset();
    if (m_centre) {
        m_toDrop += CentreExtractor::kLatencyFrames;
        m_centre->reset();
    }
    if (m_settings.followsPasses)
        return runFollowingPasses(input, writer, abort, progress);
    if (m_stretcher) {
        m_stretcher->setExpectedInputDuration(size_t(inputFrames));
        studyAll(study, inputFrames, abort, progress);
    }
    const double studyShare = m_stretcher ? kStudyShare : 0.0;
    bool ok = true;
    int64_t fed = 0;
    // A failed write ends the render: the file will not be kept.
    while (m_written < total && !abort && ok) {
        if (progress)
            progress(studyShare + (1.0 - studyShare) * double(m_written) / double(total));
        if (fed < inputFrames) {
            const int n = int(std::min<int64_t>(kChunk, inputFrames - fed));
            input.render(m_inPointers.data(), n);
            fed += n;
            if (!m_stretcher) {
                ok = deliver(m_inPointers.data(), n, writer) && ok;
                continue;
            }
            m_stretcher->process(m_inPointers.data(), size_t(n), fed == inputFrames);
        }
        int available = m_stretcher ? m_stretcher->available() : -1;
        while (available > 0 && m_written < total && ok) {
            const size_t got = m_stretcher->retrieve(m_outPointers.data(), size_t(std::min(available, kChunk)));
            ok = deliver(m_outPointers.data(), int(got), writer) && ok;
            available = m_stretcher->available();
        }
        if (fed == inputFrames && available < 0)
            break;
    }
    // The limiter's tail, then silence where the stretcher gave fewer frames than the range needs.
    for (auto& channel : m_in)
        std::fill(channel.begin(), channel.end(), 0.0f);
    while (m_written < total && !abort && ok)
        ok = deliver(m_inPointers.data(), int(std::min<int64_t>(kChunk, total - m_written + m_toDrop)), writer) && ok;
    return ok;
}

bool ExportRenderer::runFollowingPasses(AudioRenderSource& input, WavWriter& writer, const std::atomic<bool>& abort,
                                        const Progress& progress)
{
    TimePitchStage stage;
    if (!stage.prepare(m_settings.sampleRate, m_settings.channels))
        return false;
    stage.setInput(&input);
    stage.setRate(m_settings.rate);
    stage.setPitch(m_settings.cents);
    bool ok = true;
    while (m_written < m_total && !abort && ok) {
        if (progress)
            progress(double(m_written) / double(m_total));
        stage.render(m_outPointers.data(), kChunk);
        m_blockTime = stage.lastRenderTime();
        m_blockRate = stage.lastRenderRate();
        ok = deliver(m_outPointers.data(), kChunk, writer);
    }
    return ok;
}

void ExportRenderer::studyAll(AudioRenderSource& study, int64_t inputFrames, const std::atomic<bool>& abort,
                              const Progress& progress)
{
    for (int64_t done = 0; done < inputFrames && !abort;) {
        if (progress)
            progress(kStudyShare * double(done) / double(inputFrames));
        const int n = int(std::min<int64_t>(kChunk, inputFrames - done));
        study.render(m_inPointers.data(), n);
        done += n;
        m_stretcher->study(m_inPointers.data(), size_t(n), done == inputFrames);
    }
}

// Shapes a block and writes what is due of it; the delays of the limiter and the centre
// extractor are dropped from the start.
bool ExportRenderer::deliver(float* const* block, int frames, WavWriter& writer)
{
    shape(block, frames);
    const int skip = int(std::min<int64_t>(m_toDrop, frames));
    m_toDrop -= skip;
    const int n = int(std::min<int64_t>(frames - skip, m_total - m_written));
    if (n <= 0)
        return true;
    for (int c = 0; c < m_settings.channels; ++c)
        m_offsetPointers[size_t(c)] = block[c] + skip;
    m_written += n;
    return writer.write(m_offsetPointers.data(), n);
}

// Volume and solo on the first two channels (a mono track takes the left output, where its own
// channel is), the master volume on the others; then the tone filter and the limiter.
void ExportRenderer::shape(float* const* block, int frames)
{
    const int channels = m_settings.channels;
    if (channels >= MatrixMixer::kChannels) {
        m_mixer.process(block, MatrixMixer::kChannels, block, frames);
        if (m_centre)
            m_centre->process(block, frames);
    } else {
        m_mixer.process(block, channels, m_mixPointers.data(), frames);
        std::memcpy(block[0], m_mixPointers[0], sizeof(float) * size_t(frames));
    }
    const float master = m_mixer.parameter(MatrixMixer::Global, MatrixMixer::kMasterElement);
    for (int c = MatrixMixer::kChannels; c < channels; ++c)
        for (int i = 0; i < frames; ++i)
            block[c][i] *= master;
    for (size_t g = 0; g < m_eqs.size() && m_filtering; ++g) {
        const int first = int(g) * Equalizer::kMaxChannels;
        m_eqs[g]->process(block + first, std::min(Equalizer::kMaxChannels, channels - first), frames);
    }
    if (m_settings.followsPasses)
        m_clicks.mix(block, std::min(channels, int(MatrixMixer::kChannels)), frames, m_blockTime, m_blockRate);
    m_limiter.process(block, channels, frames);
}
