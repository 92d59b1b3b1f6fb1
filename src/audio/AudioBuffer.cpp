#include "audio/AudioBuffer.h"

AudioBuffer::AudioBuffer(int channelCount, int64_t frameCount)
    : m_frameCount(frameCount), m_channels(size_t(channelCount), std::vector<float>(size_t(frameCount), 0.0f))
{
}
