#include "audio/AudioBuffer.h"

AudioBuffer::AudioBuffer(int channelCount, int64_t frameCount)
    : m_frameCount(frameCount < 0 ? 0 : frameCount),
      m_channels(size_t(channelCount < 0 ? 0 : channelCount), std::vector<float>(size_t(m_frameCount), 0.0f))
{
}
