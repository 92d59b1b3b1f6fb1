#include "audio/AudioRing.h"

#include "common/Testing.h"

namespace {

// Writes `frames` frames whose left sample is the running frame number, right its negative.
int writeCounting(AudioRing& ring, int64_t& next, int frames)
{
    std::vector<float> l(static_cast<size_t>(frames)), r(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
        r[size_t(i)] = -(l[size_t(i)] = float(next + i));
    const float* planar[2] = {l.data(), r.data()};
    const int n = ring.write(planar, frames);
    next += n;
    return n;
}

TEST(AudioRing, refusesToOverwritePadsWithSilenceWhenDryAndAFlushDropsOnlyWhatCameBefore)
{
    AudioRing ring(2, 64);
    int64_t next = 0;
    EXPECT_EQ(writeCounting(ring, next, 100), 64);
    std::vector<float> out(2 * 80, 7.0f);
    EXPECT_EQ(ring.readPadded(out.data(), 80), 64);
    EXPECT_EQ(out[2 * 63], 63.0f);
    EXPECT_EQ(out[2 * 64], 0.0f);
    EXPECT_EQ(out[2 * 79 + 1], 0.0f);
    EXPECT_EQ(ring.underruns(), 1u);

    writeCounting(ring, next, 40);
    ring.flush();
    EXPECT_EQ(ring.readableFrames(), 0);
    EXPECT_EQ(ring.flushCount(), 1u);
    next = 1000;
    writeCounting(ring, next, 10);
    EXPECT_EQ(ring.read(out.data(), 100), 10);
    EXPECT_EQ(out[0], 1000.0f);
    EXPECT_EQ(ring.writableFrames(), 64);
}

} // namespace
