#include "audio/MatrixMixer.h"

MatrixMixer::MatrixMixer()
{
    for (int i = 0; i < kChannels; ++i) {
        m_inVolume[i].store(1.0f);
        m_outVolume[i].store(1.0f);
        for (int o = 0; o < kChannels; ++o)
            m_cross[i][o].store(i == o ? 1.0f : 0.0f);
    }
}

std::atomic<float>* MatrixMixer::slot(uint32_t scope, uint32_t element)
{
    return const_cast<std::atomic<float>*>(static_cast<const MatrixMixer*>(this)->slot(scope, element));
}

const std::atomic<float>* MatrixMixer::slot(uint32_t scope, uint32_t element) const
{
    switch (scope) {
    case Global: {
        if (element == kMasterElement)
            return &m_master;
        const uint32_t i = element >> 16, o = element & 0xFFFF;
        return i < kChannels && o < kChannels ? &m_cross[i][o] : nullptr;
    }
    case Input:
        return element < kChannels ? &m_inVolume[element] : nullptr;
    case Output:
        return element < kChannels ? &m_outVolume[element] : nullptr;
    default:
        return nullptr;
    }
}

bool MatrixMixer::setParameter(uint32_t scope, uint32_t element, float value)
{
    std::atomic<float>* p = slot(scope, element);
    if (!p)
        return false;
    p->store(value, std::memory_order_relaxed);
    return true;
}

float MatrixMixer::parameter(uint32_t scope, uint32_t element) const
{
    const std::atomic<float>* p = slot(scope, element);
    return p ? p->load(std::memory_order_relaxed) : 0.0f;
}

void MatrixMixer::process(const float* const* in, int inChannels, float* const* out, int frames)
{
    float target[kChannels][kChannels];
    const float master = m_master.load(std::memory_order_relaxed);
    for (int i = 0; i < kChannels; ++i)
        for (int o = 0; o < kChannels; ++o)
            target[i][o] = master * m_outVolume[o].load(std::memory_order_relaxed) *
                           m_inVolume[i].load(std::memory_order_relaxed) * m_cross[i][o].load(std::memory_order_relaxed);
    if (!m_started) {
        for (int i = 0; i < kChannels; ++i)
            for (int o = 0; o < kChannels; ++o)
                m_gain[i][o] = target[i][o];
        m_started = true;
    }

    const float* in0 = in[0];
    const float* in1 = inChannels > 1 ? in[1] : in[0];
    float step[kChannels][kChannels];
    const float perFrame = frames > 0 ? 1.0f / float(frames) : 0.0f;
    for (int i = 0; i < kChannels; ++i)
        for (int o = 0; o < kChannels; ++o)
            step[i][o] = (target[i][o] - m_gain[i][o]) * perFrame;

    for (int n = 0; n < frames; ++n) {
        const float t = float(n + 1);
        const float x0 = in0[n], x1 = in1[n];
        for (int o = 0; o < kChannels; ++o)
            out[o][n] = (m_gain[0][o] + step[0][o] * t) * x0 + (m_gain[1][o] + step[1][o] * t) * x1;
    }
    for (int i = 0; i < kChannels; ++i)
        for (int o = 0; o < kChannels; ++o)
            m_gain[i][o] = target[i][o];
}
