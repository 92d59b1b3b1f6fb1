#include "audio/AudioRing.h"
#include "audio/VirtualOutput.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

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

TEST(AudioRing, interleavesAndWrapsWithoutLosingOrReorderingFrames)
{
    AudioRing ring(2, 100);
    int64_t written = 0, expected = 0;
    std::vector<float> out(2 * 64);
    for (int round = 0; round < 50; ++round) {
        writeCounting(ring, written, 37 + round % 5);
        const int n = ring.read(out.data(), 23 + round % 7);
        for (int i = 0; i < n; ++i, ++expected) {
            ASSERT_EQ(out[size_t(2 * i)], float(expected));
            ASSERT_EQ(out[size_t(2 * i + 1)], -float(expected));
        }
    }
    EXPECT_EQ(int64_t(ring.readableFrames()), written - expected);
}

TEST(AudioRing, refusesToOverwriteAndPadsWithSilenceWhenDry)
{
    AudioRing ring(2, 64);
    int64_t next = 0;
    EXPECT_EQ(writeCounting(ring, next, 100), 64);
    EXPECT_EQ(ring.writableFrames(), 0);
    std::vector<float> out(2 * 80, 7.0f);
    ring.readPadded(out.data(), 80);
    EXPECT_EQ(out[2 * 63], 63.0f);
    EXPECT_EQ(out[2 * 64], 0.0f);
    EXPECT_EQ(out[2 * 79 + 1], 0.0f);
    EXPECT_EQ(ring.underruns(), 1u);
    ring.readPadded(out.data(), 0);
    EXPECT_EQ(ring.underruns(), 1u);
}

TEST(AudioRing, flushDiscardsWhatWasWrittenButNotWhatFollows)
{
    AudioRing ring(2, 256);
    int64_t next = 0;
    writeCounting(ring, next, 200);
    ring.flush();
    EXPECT_EQ(ring.readableFrames(), 0);
    next = 1000;
    writeCounting(ring, next, 50);
    std::vector<float> out(2 * 100);
    EXPECT_EQ(ring.read(out.data(), 100), 50);
    EXPECT_EQ(out[0], 1000.0f);
    EXPECT_EQ(ring.writableFrames(), 256);
}

TEST(AudioRing, aProducerAndAConsumerThreadPassEveryFrameInOrder)
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
        const int n = ring.read(out.data(), 97);
        for (int i = 0; i < n; ++i, ++expected)
            inOrder = inOrder && out[size_t(2 * i)] == float(expected) && out[size_t(2 * i + 1)] == -float(expected);
        if (n == 0)
            std::this_thread::yield();
    }
    producer.join();
    EXPECT_TRUE(inOrder) << "at frame " << expected;
    EXPECT_EQ(expected, total);
}

TEST(VirtualOutput, pullsTheCallbackInFixedBlocksOnlyWhileRunning)
{
    VirtualOutput output(100, 256);
    std::vector<int> blocks;
    int64_t counter = 0;
    output.setRenderCallback([&](float* interleaved, int frames) {
        blocks.push_back(frames);
        for (int i = 0; i < frames; ++i, ++counter)
            interleaved[2 * i] = interleaved[2 * i + 1] = float(counter);
    });
    ASSERT_TRUE(output.open(48000.0, 2));
    auto silent = output.pull(50);
    EXPECT_TRUE(blocks.empty());
    EXPECT_EQ(silent, std::vector<float>(100, 0.0f));

    ASSERT_TRUE(output.start());
    const auto out = output.pull(250);
    EXPECT_EQ(blocks, (std::vector<int>{100, 100, 50}));
    ASSERT_EQ(out.size(), 500u);
    for (int i = 0; i < 250; ++i)
        ASSERT_EQ(out[size_t(2 * i + 1)], float(i));
    EXPECT_EQ(output.framesPulled(), 250);
    EXPECT_EQ(output.latencyFrames(), 256);
    output.stop();
    output.pull(10);
    EXPECT_EQ(blocks.size(), 3u);
}

} // namespace
