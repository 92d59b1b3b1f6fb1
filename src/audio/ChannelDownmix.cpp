#include "audio/ChannelDownmix.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

namespace {

AVChannelLayout layoutFor(int channels, uint64_t mask)
{
    AVChannelLayout layout{};
    if (mask == 0 || av_channel_layout_from_mask(&layout, mask) < 0 || layout.nb_channels != channels)
        av_channel_layout_default(&layout, channels);
    return layout;
}

} // namespace

void ChannelDownmix::configure(int inputChannels, uint64_t channelMask, int maxFrames)
{
    m_inputChannels = std::max(1, inputChannels);
    m_outputChannels = std::min(m_inputChannels, kMaxOutputChannels);
    m_matrix.assign(size_t(m_outputChannels * m_inputChannels), 0.0f);
    m_scratch.clear();
    m_scratchPointers.clear();
    if (m_inputChannels <= kMaxOutputChannels) {
        for (int c = 0; c < m_outputChannels; ++c)
            m_matrix[size_t(c * m_inputChannels + c)] = 1.0f;
        return;
    }
    AVChannelLayout in = layoutFor(m_inputChannels, channelMask);
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    // FFmpeg fills the matrix in a row stride of its own choosing: give it room for its largest.
    // A huge maximum keeps its levels; the limiter looks after the peaks.
    const int stride = std::max(m_inputChannels, 64);
    std::vector<double> matrix(size_t(64 * stride), 0.0);
    const bool built = swr_build_matrix2(&in, &stereo, M_SQRT1_2, M_SQRT1_2, 0.0, 1e9, 1.0, matrix.data(), stride,
                                         AV_MATRIX_ENCODING_NONE, nullptr) >= 0;
    av_channel_layout_uninit(&in);
    for (int o = 0; o < 2; ++o)
        for (int i = 0; i < m_inputChannels; ++i)
            // A layout FFmpeg can not fold: every channel to both sides alike.
            m_matrix[size_t(o * m_inputChannels + i)] = built ? float(matrix[size_t(o * stride + i)]) : 1.0f / float(m_inputChannels);
    m_scratch.assign(size_t(m_inputChannels), std::vector<float>(size_t(std::max(1, maxFrames))));
    for (auto& channel : m_scratch)
        m_scratchPointers.push_back(channel.data());
}

void ChannelDownmix::render(float* const* out, int frames)
{
    if (!m_input) {
        for (int c = 0; c < m_outputChannels; ++c)
            std::memset(out[c], 0, sizeof(float) * size_t(frames));
        return;
    }
    if (m_scratchPointers.empty()) {
        m_input->render(out, frames);
        return;
    }
    const int capacity = int(m_scratch.front().size());
    for (int done = 0; done < frames;) {
        const int n = std::min(capacity, frames - done);
        m_input->render(m_scratchPointers.data(), n);
        for (int o = 0; o < m_outputChannels; ++o) {
            float* dst = out[o] + done;
            std::memset(dst, 0, sizeof(float) * size_t(n));
            for (int i = 0; i < m_inputChannels; ++i) {
                const float w = weight(o, i);
                if (w == 0.0f)
                    continue;
                const float* src = m_scratchPointers[size_t(i)];
                for (int f = 0; f < n; ++f)
                    dst[f] += w * src[f];
            }
        }
        done += n;
    }
}
