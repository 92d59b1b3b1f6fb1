#include "audio/AcousticFingerprint.h"

#include "audio/PcmCache.h"

#include <chromaprint.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

// Chromaprint needs a few seconds to say anything; silence would make every quiet track the same.
constexpr double kShortestSeconds = 3.0;
constexpr float kQuietestPeak = 0.001f; // -60 dBFS
constexpr int64_t kChunkFrames = 8192;

struct ContextFree {
    void operator()(ChromaprintContext* context) const { chromaprint_free(context); }
};

} // namespace

QString AcousticFingerprint::of(const PcmCache& pcm)
{
    const int channels = pcm.channelCount();
    const int64_t frames = std::min(pcm.frameCount(), int64_t(std::llround(kSeconds * pcm.sampleRate())));
    if (!pcm.isFinished() || channels < 1 || double(frames) < kShortestSeconds * pcm.sampleRate())
        return {};
    std::unique_ptr<ChromaprintContext, ContextFree> context(chromaprint_new(CHROMAPRINT_ALGORITHM_DEFAULT));
    if (!context || !chromaprint_start(context.get(), int(std::lround(pcm.sampleRate())), 1))
        return {};
    // Mono, the mean of every channel: a fingerprint of the sound, not of its layout.
    std::vector<int16_t> mono(static_cast<size_t>(kChunkFrames));
    float peak = 0.0f;
    for (int64_t start = 0; start < frames; start += kChunkFrames) {
        const int64_t n = std::min(kChunkFrames, frames - start);
        for (int64_t i = 0; i < n; ++i) {
            float sum = 0.0f;
            for (int c = 0; c < channels; ++c)
                sum += pcm.channel(c)[start + i];
            const float mean = std::clamp(sum / float(channels), -1.0f, 1.0f);
            peak = std::max(peak, std::abs(mean));
            mono[size_t(i)] = int16_t(std::lround(mean * 32767.0f));
        }
        if (!chromaprint_feed(context.get(), mono.data(), int(n)))
            return {};
    }
    char* text = nullptr;
    if (peak < kQuietestPeak || !chromaprint_finish(context.get()) || !chromaprint_get_fingerprint(context.get(), &text))
        return {};
    const QString fingerprint = QString::fromLatin1(text);
    chromaprint_dealloc(text);
    return fingerprint;
}
