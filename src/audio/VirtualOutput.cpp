#include "audio/VirtualOutput.h"

#include <algorithm>
#include <chrono>
#include <pthread.h>

VirtualOutput::VirtualOutput(int blockFrames, int64_t latencyFrames, Pacing pacing)
    : m_blockFrames(std::max(1, blockFrames)), m_latency(latencyFrames), m_pacing(pacing)
{
}

VirtualOutput::~VirtualOutput()
{
    stop();
}

bool VirtualOutput::open(double sampleRate, int channels)
{
    if (sampleRate <= 0.0 || channels < 1)
        return false;
    m_sampleRate = sampleRate;
    m_channels = channels;
    m_open = true;
    return true;
}

void VirtualOutput::close()
{
    stop();
    m_open = false;
    m_channels = 0;
    m_sampleRate = 0.0;
}

bool VirtualOutput::start()
{
    m_running = m_open;
    if (m_running && m_pacing == Pacing::RealTime && !m_paceThread.joinable()) {
        m_paceActive = true;
        m_paceThread = std::thread([this] { paceLoop(); });
    }
    return m_running;
}

void VirtualOutput::stop()
{
    m_paceActive = false;
    if (m_paceThread.joinable())
        m_paceThread.join();
    m_running = false;
}

// One block a block-duration, on a steady schedule, like a device's callback.
void VirtualOutput::paceLoop()
{
    std::vector<float> block(size_t(m_blockFrames) * size_t(std::max(m_channels, 1)));
    // Named once its buffer is made: from here on it is held to a device's rules.
    pthread_setname_np(pthread_self(), "lento-output");
    const auto period = std::chrono::duration<double>(double(m_blockFrames) / m_sampleRate);
    auto next = std::chrono::steady_clock::now();
    while (m_paceActive.load()) {
        if (m_render)
            m_render(block.data(), m_blockFrames);
        const int64_t kept = m_recorded.load(std::memory_order_relaxed);
        const int64_t room = int64_t(m_recording.size()) / std::max(m_channels, 1) - kept;
        const int64_t n = std::min<int64_t>(room, m_blockFrames);
        std::copy_n(block.data(), size_t(n) * size_t(m_channels), m_recording.data() + size_t(kept) * size_t(m_channels));
        m_recorded.store(kept + n, std::memory_order_release);
        m_pulled += m_blockFrames;
        next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(period);
        std::this_thread::sleep_until(next);
    }
    pthread_setname_np(pthread_self(), "lento-ended");
}

void VirtualOutput::record(int64_t frames)
{
    m_recording.assign(size_t(std::max<int64_t>(frames, 0)) * size_t(std::max(m_channels, 2)), 0.0f);
    m_recorded.store(0);
}

std::vector<float> VirtualOutput::recorded() const
{
    const int64_t n = m_recorded.load(std::memory_order_acquire);
    return {m_recording.begin(), m_recording.begin() + n * std::max(m_channels, 1)};
}

std::vector<float> VirtualOutput::pull(int64_t frames)
{
    std::vector<float> out(size_t(std::max<int64_t>(frames, 0)) * size_t(std::max(m_channels, 1)), 0.0f);
    if (!m_running || !m_render)
        return out;
    for (int64_t done = 0; done < frames;) {
        const int n = int(std::min<int64_t>(m_blockFrames, frames - done));
        m_render(out.data() + size_t(done) * size_t(m_channels), n);
        done += n;
    }
    m_pulled += frames;
    return out;
}
