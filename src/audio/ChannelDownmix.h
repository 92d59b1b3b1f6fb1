#pragma once

#include "audio/AudioRenderSource.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Brings a source of any channel count to at most two channels for the stereo chain: mono and
// stereo pass through untouched, more channels fold down by FFmpeg's standard matrix for their
// speaker layout (centre and surrounds at -3 dB, the LFE left out).
class ChannelDownmix : public AudioRenderSource {
public:
    static constexpr int kMaxOutputChannels = 2;

    // While nothing renders. `channelMask` is FFmpeg's speaker mask, 0 for the default layout.
    void configure(int inputChannels, uint64_t channelMask, int maxFrames);
    void setInput(AudioRenderSource* input) { m_input = input; }
    int channelCount() const override { return m_outputChannels; }
    int inputChannelCount() const { return m_inputChannels; }

    void render(float* const* out, int frames) override;
    double lastRenderTime() const override { return m_input ? m_input->lastRenderTime() : 0.0; }
    double lastRenderRate() const override { return m_input ? m_input->lastRenderRate() : 0.0; }
    bool playedLastRender() const override { return m_input && m_input->playedLastRender(); }
    bool startedStreamLastRender() const override { return m_input && m_input->startedStreamLastRender(); }
    int64_t framesToPassEnd() const override { return m_input ? m_input->framesToPassEnd() : AudioRenderSource::framesToPassEnd(); }
    double passRate() const override { return m_input ? m_input->passRate() : 0.0; }
    double passRateSince() const override { return m_input ? m_input->passRateSince() : 0.0; }

    // Weight of input channel i in output o.
    float weight(int o, int i) const { return m_matrix[size_t(o * m_inputChannels + i)]; }

private:
    AudioRenderSource* m_input = nullptr;
    int m_inputChannels = 1;
    int m_outputChannels = 1;
    std::vector<float> m_matrix;
    std::vector<std::vector<float>> m_scratch;
    std::vector<float*> m_scratchPointers;
};
