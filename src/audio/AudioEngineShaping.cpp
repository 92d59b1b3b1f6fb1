// Speed, pitch, tone filter, volume and channel solo.
#include "audio/AudioEngine.h"

#include <algorithm>

void AudioEngine::setSpeed(float rate)
{
    const float clamped = std::clamp(rate, 0.25f, 1.5f);
    if (!m_graph)
        return;
    m_graph->pitchNode().setRate(clamped);
    m_graph->playerNode().setHandRate(clamped);
}

float AudioEngine::speed() const
{
    return m_graph ? float(m_graph->pitchNode().rate()) : 0.0f;
}

void AudioEngine::setVolume(float volume)
{
    m_volume = std::clamp(volume, 0.0f, 1.0f);
    if (m_graph)
        m_graph->mixer().setParameter(MatrixMixer::Global, MatrixMixer::kMasterElement, m_volume);
}

void AudioEngine::soloLeft(bool on)
{
    m_solo = on ? 1 : 0;
    setSolo();
}

void AudioEngine::soloRight(bool on)
{
    m_solo = on ? 2 : 0;
    setSolo();
}

void AudioEngine::cancelCentre(bool on)
{
    m_solo = on ? kCancelCentre : 0;
    setSolo();
}

void AudioEngine::centreOnly(bool on)
{
    m_solo = on ? kCentreOnly : 0;
    setSolo();
}

// A soloed channel reaches both outputs and the other is muted at its input; the crosspoint from
// the muted channel to its own side stays at 1 and has no effect. Cancelling the centre sends
// left less right to both sides: what the two share, a centre-panned voice, is gone exactly.
// Keeping only the centre is the centre extractor's work; the mixer passes both sides straight.
void AudioEngine::setSolo()
{
    if (m_solo < 0 || m_solo > kCentreOnly || !m_graph)
        return;
    static constexpr float crosspoints[5][2][2] = {
        {{1.0f, 0.0f}, {0.0f, 1.0f}},
        {{1.0f, 1.0f}, {0.0f, 1.0f}},
        {{1.0f, 0.0f}, {1.0f, 1.0f}},
        {{1.0f, 1.0f}, {-1.0f, -1.0f}},
        {{1.0f, 0.0f}, {0.0f, 1.0f}},
    };
    static constexpr float finalInput[5][2] = {{1.0f, 1.0f}, {1.0f, 0.0f}, {0.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}};
    MatrixMixer& mixer = m_graph->mixer();
    for (uint32_t in = 0; in < 2; ++in) {
        mixer.setParameter(MatrixMixer::Input, in, 1.0f);
        for (uint32_t out = 0; out < 2; ++out) {
            if (in == 0)
                mixer.setParameter(MatrixMixer::Output, out, 1.0f);
            mixer.setParameter(MatrixMixer::Global, in * 65536 + out, crosspoints[m_solo][in][out]);
        }
    }
    for (uint32_t in = 0; in < 2; ++in)
        mixer.setParameter(MatrixMixer::Input, in, finalInput[m_solo][in]);
    m_graph->centre().setEnabled(m_solo == kCentreOnly);
}

void AudioEngine::setPitch(float cents)
{
    m_pitch = std::clamp(double(cents), -1200.0, 1200.0);
    if (m_graph)
        m_graph->pitchNode().setPitch(m_pitch);
}

void AudioEngine::pitchEnable(bool enable)
{
    if (m_graph)
        m_graph->pitchNode().setPitch(enable ? m_pitch : 0.0);
}

void AudioEngine::setFilter(float hz)
{
    if (!m_graph)
        return;
    Equalizer& eq = m_graph->eqNode();
    if (hz > 1.0f && hz < 10000.0f) {
        eq.setFrequency(0, hz);
        eq.setFrequency(1, hz);
        eq.setGain(1, float(12.0 - double(hz) / 300.0));
    }
    eq.setBypass(0, false);
    eq.setBypass(1, false);
}

void AudioEngine::filterEnable(bool enable)
{
    if (!m_graph)
        return;
    m_graph->eqNode().setBypass(0, !enable);
    m_graph->eqNode().setBypass(1, !enable);
}
