#include "audio/VirtualOutput.h"

#include <algorithm>

VirtualOutput::VirtualOutput(int blockFrames, int64_t latencyFrames)
    : m_blockFrames(std::max(1, blockFrames)), m_latency(latencyFrames)
{
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
    m_running = false;
    m_open = false;
    m_channels = 0;
    m_sampleRate = 0.0;
}

bool VirtualOutput::start()
{
    m_running = m_open;
    return m_running;
}

void VirtualOutput::stop() { m_running = false; }

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
