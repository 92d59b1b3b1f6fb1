#include "audio/AudioRing.h"

#include "common/Testing.h"

#include <atomic>
#include <thread>

namespace {

// Writes `frames` frames whose left sample is the running frame number, right its negative.
int writeCounting(AudioRing& ring, int64_t& next, int frames)
{
    std::vector<float> l(static_cast<size_t>(frames)), r(static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i) {
        l[size_t(i)] = float(next + i);
        r[size_t(i)] = -float(next + i);
    }
    const float* planar[2] = {l.data(), r.data()};
    const int n = ring.write(planar, frames);
    next += n;
    return n;
}

TEST(AudioRing, aProducerAndAConsumerThreadPassEveryFrameInOrderAcrossTheWrap)
{
    AudioRing ring(2, 300);
    const int64_t total = 400000;
    std::thread producer([&] {
        int64_t next = 0;
        while (next < total)
            if (writeCounting(ring, next, int(std::min<int64_t>(128, total - next))) == 0)
                std::this_thread::yield();
    });
    int64_t expected = 0;
    bool inOrder = true;
    std::vector<float> out(2 * 97);
    while (expected < total && inOrder) {
        uint64_t first = 0;
        const int n = ring.read(out.data(), 97, &first);
        inOrder = n == 0 || first == uint64_t(expected);
        for (int i = 0; i < n; ++i, ++expected)
            inOrder = inOrder && out[size_t(2 * i)] == float(expected) && out[size_t(2 * i + 1)] == -float(expected);
        if (n == 0)
            std::this_thread::yield();
    }
    producer.join();
    EXPECT_TRUE(inOrder) << "at frame " << expected;
    EXPECT_EQ(expected, total);
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
