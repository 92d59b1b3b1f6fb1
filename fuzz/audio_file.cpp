// A file a user opens: whatever its bytes, the reader opens and decodes it or refuses it, what it
// delivers has the channels it stated, and its progress only climbs from 0 to 1.
#include "FuzzSupport.h"

#include "audio/AudioFileReader.h"

#include <cmath>

namespace {
// Decoding stops here, so that one run stays short whatever length the header claims.
constexpr int64_t kFrameCap = 1 << 16;
volatile float g_sink;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = fuzz::writeScratchFile(QStringLiteral("track"), data, size);
    AudioFileReader reader;
    if (!reader.open(path))
        return 0;
    const AudioStreamInfo info = reader.info();
    fuzz::require(info.channelCount > 0 && info.sampleRate > 0, "an opened file has channels and a rate");
    int64_t accepted = 0;
    double lastFraction = 0.0;
    reader.decode([&](const float* interleaved, int64_t frames) {
        fuzz::require(frames > 0, "a block holds frames");
        // Every sample is read, so a block shorter than stated shows up as a bad read.
        float sum = 0.0f;
        for (int64_t i = 0; i < frames * info.channelCount; ++i)
            sum += std::fabs(interleaved[i]);
        g_sink = sum;
        if (accepted >= kFrameCap)
            return false;
        accepted += frames;
        return true;
    }, nullptr, [&](double fraction) {
        fuzz::require(fraction >= lastFraction && fraction <= 1.0, "progress climbs within 0..1");
        lastFraction = fraction;
    });
    fuzz::require(reader.decodedFrames() == accepted, "the frames counted are the frames taken");
    return 0;
}
