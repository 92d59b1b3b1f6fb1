#include "ChordTestSignals.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

std::vector<float> storeContents(const ChordSampleStore& store)
{
    std::vector<float> out(size_t(store.size()));
    if (!out.empty())
        store.copy(0, store.size(), out.data());
    return out;
}

// Collects an interleaved signal in blocks of blockFrames.
std::vector<float> collectInBlocks(const std::vector<float>& interleaved, double rate, int channels, int64_t blockFrames)
{
    ChordSampleStore store;
    ChordSampleCollector collector(rate, channels, QStringLiteral("x.wav"), store);
    const int64_t frames = int64_t(interleaved.size()) / channels;
    for (int64_t at = 0; at < frames; at += blockFrames)
        collector.appendInterleaved(interleaved.data() + at * channels, std::min(blockFrames, frames - at));
    return storeContents(store);
}

// Frame f carries the value f on every channel, so kept samples tell which frames were kept.
std::vector<float> ramp(int64_t frames, int channels)
{
    std::vector<float> out(size_t(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            out[size_t(f * channels + c)] = float(f);
    return out;
}

} // namespace

TEST(ChordSampleStore, GrowsAcrossChunksWithoutLosingSamples)
{
    ChordSampleStore store;
    const int64_t n = 2 * ChordSampleStore::kChunkSamples + 10'000;
    for (int64_t i = 0; i < n; ++i)
        store.append(float(i % 100'003));
    ASSERT_EQ(store.size(), n);
    EXPECT_EQ(store.byteCount(), n * 4);
    std::vector<float> span(5000);
    const int64_t start = ChordSampleStore::kChunkSamples * 2 - 2500; // straddles the second boundary
    store.copy(start, 5000, span.data());
    for (int64_t i = 0; i < 5000; ++i)
        ASSERT_EQ(span[size_t(i)], float((start + i) % 100'003)) << i;
    EXPECT_EQ(store.at(n - 1), float((n - 1) % 100'003));
}

TEST(ChordSampleCollector, BlockCutsDoNotChangeTheResult)
{
    std::vector<float> stereo(2 * 100'003);
    uint32_t x = 12345;
    for (float& v : stereo) {
        x = x * 1664525u + 1013904223u;
        v = float(int32_t(x)) / 2147483648.0f;
    }
    const std::vector<float> whole = collectInBlocks(stereo, 48000.0, 2, 100'003);
    ASSERT_GT(whole.size(), 45'000u);
    for (int64_t block : {1, 7, 1000, 4095, 8192})
        EXPECT_EQ(collectInBlocks(stereo, 48000.0, 2, block), whole) << block;
}

TEST(ChordSampleCollector, ChannelsAreAveragedInDoublePrecision)
{
    // In float, 1 + 2^-24 + 2^-24 stays 1; in double the two small parts survive the sum.
    const float tiny = std::ldexp(1.0f, -24);
    const std::vector<float> kept = collectInBlocks({1.0f, tiny, tiny}, chordtest::kRate, 3, 1);
    ASSERT_EQ(kept.size(), 1u);
    const float viaFloat = (1.0f + tiny + tiny) / 3.0f;
    EXPECT_EQ(kept[0], float((1.0 + std::ldexp(1.0, -23)) / 3.0));
    EXPECT_NE(kept[0], viaFloat);

    EXPECT_EQ(collectInBlocks({0.5f, -0.25f, 0.75f, 0.25f}, chordtest::kRate, 2, 2), (std::vector<float>{0.125f, 0.5f}));
}

TEST(ChordSampleCollector, StepOfTwoKeepsEverySecondFrameStartingWithTheSecond)
{
    const std::vector<float> kept = collectInBlocks(ramp(1001, 2), 44100.0, 2, 333);
    ASSERT_EQ(kept.size(), 500u);
    for (size_t i = 0; i < kept.size(); ++i)
        ASSERT_EQ(kept[i], float(2 * i + 1)) << i;
}

TEST(ChordSampleCollector, FortyEightKilohertzKeepsFramesTwoOrThreeApartAtTheTargetMeanRate)
{
    const int64_t frames = 48000 * 10;
    const std::vector<float> kept = collectInBlocks(ramp(frames, 1), 48000.0, 1, 8192);
    EXPECT_NEAR(double(kept.size()), 220'500.0, 1.0);
    EXPECT_EQ(kept.front(), 2.0f);
    for (size_t i = 1; i < kept.size(); ++i) {
        const float gap = kept[i] - kept[i - 1];
        ASSERT_TRUE(gap == 2.0f || gap == 3.0f) << i << " gap " << gap;
    }
    // Over any second the mean is the target rate.
    const auto inFirstSecond = std::count_if(kept.begin(), kept.end(), [](float f) { return f < 48000.0f; });
    EXPECT_NEAR(double(inFirstSecond), 22050.0, 1.0);
}

TEST(ChordSampleCollector, SlowSourcesKeepEveryFrame)
{
    const std::vector<float> kept = collectInBlocks(ramp(44100, 1), 11025.0, 1, 8192);
    ASSERT_EQ(kept.size(), 44100u);
    EXPECT_EQ(kept.back(), 44099.0f);
    EXPECT_EQ(kept, collectInBlocks(ramp(44100, 1), chordtest::kRate, 1, 8192));
}
