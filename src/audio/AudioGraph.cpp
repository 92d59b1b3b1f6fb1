#include "audio/AudioGraph.h"

#include "audio/AudioOutput.h"
#include "audio/RealtimePriority.h"

#include <algorithm>
#include <chrono>
#include <cmath>

AudioGraph::AudioGraph(std::unique_ptr<AudioOutput> output, Rendering rendering)
    : m_output(std::move(output))
    , m_rendering(rendering)
{
    m_downmix.setInput(&m_player);
    m_pitch.setInput(&m_downmix);
    m_player.setClickTrack(&m_clicks);
    m_output->setRenderCallback([this](float* interleaved, int frames) { fillFromOutputCallback(interleaved, frames); });
    m_player.startCompletionThread();
}

AudioGraph::~AudioGraph()
{
    shutdown();
}

void AudioGraph::shutdown()
{
    stop();
    m_player.stop();
    m_player.stopCompletionThread();
    m_player.processCompletions();
    m_output->close();
}

void AudioGraph::connect(const AudioFormat& format)
{
    if (m_running || !format.isValid())
        return;
    const bool sameFormat = format.sameLayout(m_format) && format.channelMask == m_format.channelMask && m_ring;
    m_format = format;
    if (!sameFormat) {
        m_player.setChannelCount(format.channelCount);
        m_player.setSampleRate(format.sampleRate);
        m_clicks.prepare(format.sampleRate);
        m_downmix.configure(format.channelCount, format.channelMask, TimePitchStage::kMaxProcessFrames);
        m_pitch.prepare(format.sampleRate, m_downmix.channelCount());
        m_eq.setSampleRate(format.sampleRate);
        m_limiter.prepare(format.sampleRate, kOutputChannels);
        m_fadeFrames = std::max(1, int(std::lround(format.sampleRate * kFadeSeconds)));
        m_ring = std::make_unique<AudioRing>(kOutputChannels, int(format.sampleRate * kAheadSeconds) + 4 * kBlockFrames);
        m_stageBuffers.assign(size_t(m_downmix.channelCount()), std::vector<float>(size_t(kBlockFrames)));
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
    m_timeline.reset();
    m_muted = false;
    m_fadeLeft = 0;
    m_fadeSeen = m_fadeRequests.load();
    m_flushesSeen = m_ring->flushCount();
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
    if (!m_running)
        return;
    m_output->stop();
    stopRenderThread();
    m_ring->flush();
    m_pitch.requestReset();
    m_running = false;
}

void AudioGraph::reset()
{
    stop();
    m_pitch.requestReset();
}

void AudioGraph::fadeOut()
{
    if (!m_running || !m_output->isRunning() || !m_output->isClocked())
        return;
    const uint32_t request = m_fadeRequests.fetch_add(1) + 1;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    while (int32_t(m_fadesDone.load(std::memory_order_acquire) - request) < 0 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::microseconds(500));
}

HeardTimeline::Heard AudioGraph::heard() const
{
    return m_timeline.heard(m_output->latencyFrames(), m_format.sampleRate, m_output->isClocked());
}

// True when the block began a new stream.
bool AudioGraph::renderBlock(float* const* out, int frames)
{
    m_pitch.render(m_stagePointers.data(), frames);
    const bool started = m_pitch.startedStreamLastRender();
    if (started) {
        m_limiter.reset();
        m_centre.reset();
    }
    m_mixer.process(m_stagePointers.data(), m_downmix.channelCount(), out, frames);
    m_centre.process(out, frames);
    m_eq.process(out, kOutputChannels, frames);
    m_clicks.mix(out, kOutputChannels, frames, m_pitch.lastRenderTime(), m_pitch.lastRenderRate());
    m_limiter.process(out, kOutputChannels, frames);
    return started;
}

void AudioGraph::writeBlock()
{
    const auto started = std::chrono::steady_clock::now();
    if (renderBlock(m_mixPointers.data(), kBlockFrames))
        m_ring->flush();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    if (seconds > m_worstBlockSeconds.load(std::memory_order_relaxed))
        m_worstBlockSeconds.store(seconds, std::memory_order_relaxed);
    // The delays of the limiter and the centre extractor put the block's first frame that far
    // back on the time line.
    const double rate = m_pitch.lastRenderRate();
    const int delay = m_limiter.latencyFrames() + m_centre.latencyFrames();
    const double time = m_pitch.lastRenderTime() - double(delay) * rate;
    m_timeline.stampBlock(m_ring->writePosition(), time, rate, m_player.renderEpoch());
    m_ring->write(m_mixPointers.data(), kBlockFrames);
}

void AudioGraph::fillFromOutputCallback(float* interleaved, int frames)
{
    if (m_rendering == Rendering::InOutputCallback)
        while (m_ring->queuedFrames() < frames)
            writeBlock();
    uint64_t first = 0;
    const int fromRing = m_ring->readPadded(interleaved, frames, &first);
    shapeDeviceBlock(interleaved, frames);
    m_timeline.deviceRead(first, fromRing, frames);
}

// The fade of fadeOut(), and the silence after it until a new stream flushes the ring.
void AudioGraph::shapeDeviceBlock(float* interleaved, int frames)
{
    const uint64_t flushes = m_ring->flushCount();
    if (flushes != m_flushesSeen) {
        m_flushesSeen = flushes;
        m_muted = false;
    }
    const uint32_t requests = m_fadeRequests.load(std::memory_order_acquire);
    if (requests != m_fadeSeen) {
        m_fadeSeen = requests;
        if (!m_muted && m_fadeLeft == 0)
            m_fadeLeft = m_fadeFrames;
    }
    for (int n = 0; n < frames && (m_fadeLeft > 0 || m_muted); ++n) {
        float gain = 0.0f;
        if (m_fadeLeft > 0) {
            gain = float(0.5 * (1.0 - std::cos(M_PI * double(m_fadeLeft) / double(m_fadeFrames + 1))));
            if (--m_fadeLeft == 0)
                m_muted = true;
        }
        for (int c = 0; c < kOutputChannels; ++c)
            interleaved[n * kOutputChannels + c] *= gain;
    }
    if (m_muted)
        m_fadesDone.store(m_fadeSeen, std::memory_order_release);
}

void AudioGraph::startRenderThread()
{
    m_renderThreadRunning.store(true);
    m_renderThreadId.store(0);
    m_renderThread = std::thread([this] {
        pthread_setname_np(pthread_self(), "lento-render"); // for debuggers, top, and the tests' heap watch
        m_renderThreadId.store(RealtimePriority::currentThreadId());
        renderThreadLoop();
    });
    while (m_renderThreadId.load() == 0)
        std::this_thread::yield();
    RealtimePriority::request(m_renderThread.native_handle(), m_renderThreadId.load());
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
        if (m_ring->queuedFrames() < ahead && m_ring->writableFrames() >= kBlockFrames)
            writeBlock();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    // What follows is the thread's own teardown, no longer under the real-time rules.
    pthread_setname_np(pthread_self(), "lento-ended");
}
