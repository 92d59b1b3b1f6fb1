#include "audio/AudioGraph.h"

#include "audio/AudioOutput.h"

#include <algorithm>
#include <chrono>

AudioGraph::AudioGraph(std::unique_ptr<AudioOutput> output, Rendering rendering)
    : m_output(std::move(output))
    , m_rendering(rendering)
{
    m_pitch.setInput(&m_player);
    m_output->setRenderCallback([this](float* interleaved, int frames) { fillFromOutputCallback(interleaved, frames); });
    m_player.startCompletionThread();
}

AudioGraph::~AudioGraph()
{
    stop();
    m_player.stop();
    m_player.stopCompletionThread();
    m_player.processCompletions();
    m_output->close();
}

bool AudioGraph::hasOutputDevice()
{
    if (m_output->channelCount() > 0)
        return true;
    const bool opened = m_output->open(m_format.isValid() ? m_format.sampleRate : 44100.0, kOutputChannels);
    if (opened)
        m_output->close();
    return opened;
}

void AudioGraph::connect(const AudioFormat& format)
{
    if (m_running || !format.isValid())
        return;
    const bool sameFormat = format.sameLayout(m_format) && m_ring;
    m_format = format;
    if (!sameFormat) {
        m_player.setChannelCount(format.channelCount);
        m_pitch.prepare(format.sampleRate, format.channelCount);
        m_eq.setSampleRate(format.sampleRate);
        m_ring = std::make_unique<AudioRing>(kOutputChannels, int(format.sampleRate * kAheadSeconds) + 4 * kBlockFrames);
        m_stageBuffers.assign(size_t(format.channelCount), std::vector<float>(size_t(kMaxOfflineFrames)));
        m_stagePointers.clear();
        for (auto& b : m_stageBuffers)
            m_stagePointers.push_back(b.data());
        m_mixBuffers.assign(kOutputChannels, std::vector<float>(size_t(kBlockFrames)));
        m_mixPointers.clear();
        for (auto& b : m_mixBuffers)
            m_mixPointers.push_back(b.data());
    }
    m_ring->flush();
}

bool AudioGraph::start()
{
    if (m_running)
        return true;
    if (!m_ring)
        return false;
    if (m_output->isLost() || m_output->channelCount() == 0 || m_output->sampleRate() != m_format.sampleRate) {
        m_output->close();
        if (!m_output->open(m_format.sampleRate, kOutputChannels))
            return false;
    }
    if (m_rendering == Rendering::OnRenderThread)
        startRenderThread();
    if (!m_output->start()) {
        stopRenderThread();
        return false;
    }
    m_running = true;
    return true;
}

void AudioGraph::stop()
{
    if (m_manual)
        stopManualRendering();
    if (!m_running)
        return;
    m_output->stop();
    stopRenderThread();
    m_flushRequested.store(false);
    m_ring->flush();
    m_running = false;
}

void AudioGraph::reset()
{
    stop();
    m_pitch.requestReset();
}

void AudioGraph::flush()
{
    m_pitch.requestReset();
    if (!m_ring)
        return;
    // While rendering runs, the rendering side drops the ring itself, so that a block under way
    // when the flush came can not land after it.
    if (m_running)
        m_flushRequested.store(true, std::memory_order_release);
    else
        m_ring->flush();
}

void AudioGraph::applyRequestedFlush()
{
    if (m_flushRequested.exchange(false, std::memory_order_acq_rel))
        m_ring->flush();
}

double AudioGraph::heardLatencyFrames() const
{
    if (!m_ring)
        return 0.0;
    const double rate = m_pitch.isBypassed() ? 1.0 : m_pitch.rate();
    const double queued = double(m_ring->queuedFrames()) + double(m_output->latencyFrames());
    return m_pitch.latencyFrames() + queued * rate;
}

bool AudioGraph::startManualRendering()
{
    stop();
    if (!m_ring)
        return false;
    m_manual = true;
    m_running = true;
    m_pitch.setMinimumFeedFrames(TimePitchStage::kMaxProcessFrames);
    return true;
}

void AudioGraph::stopManualRendering()
{
    if (!m_manual)
        return;
    m_manual = false;
    m_running = false;
    m_pitch.setMinimumFeedFrames(0);
    m_flushRequested.store(false);
    m_ring->flush();
}

void AudioGraph::renderOffline(float* const* out, int frames)
{
    float* block[kOutputChannels];
    for (int done = 0; done < frames;) {
        const int n = std::min(kMaxOfflineFrames, frames - done);
        for (int c = 0; c < kOutputChannels; ++c)
            block[c] = out[c] + done;
        renderBlock(block, n);
        done += n;
    }
}

void AudioGraph::renderBlock(float* const* out, int frames)
{
    m_pitch.render(m_stagePointers.data(), frames);
    m_mixer.process(m_stagePointers.data(), m_format.channelCount, out, frames);
    m_eq.process(out, kOutputChannels, frames);
}

void AudioGraph::fillFromOutputCallback(float* interleaved, int frames)
{
    if (m_rendering == Rendering::InOutputCallback) {
        applyRequestedFlush();
        while (m_ring->queuedFrames() < frames) {
            renderBlock(m_mixPointers.data(), kBlockFrames);
            m_ring->write(m_mixPointers.data(), kBlockFrames);
        }
    }
    m_ring->readPadded(interleaved, frames);
}

void AudioGraph::startRenderThread()
{
    m_renderThreadRunning.store(true);
    m_renderThread = std::thread([this] { renderThreadLoop(); });
}

void AudioGraph::stopRenderThread()
{
    m_renderThreadRunning.store(false);
    if (m_renderThread.joinable())
        m_renderThread.join();
}

// Keeps the ring about kAheadSeconds ahead of the device; sleeps briefly when it is.
void AudioGraph::renderThreadLoop()
{
    const int ahead = int(m_format.sampleRate * kAheadSeconds);
    while (m_renderThreadRunning.load(std::memory_order_acquire)) {
        applyRequestedFlush();
        if (m_ring->queuedFrames() < ahead && m_ring->writableFrames() >= kBlockFrames) {
            renderBlock(m_mixPointers.data(), kBlockFrames);
            m_ring->write(m_mixPointers.data(), kBlockFrames);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
}
