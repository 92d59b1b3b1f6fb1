#include "ChordTestSignals.h"

#include <gtest/gtest.h>

TEST(ChordSampleStore, GrowsAcrossChunksWithoutLosingSamples)
{
    ChordSampleStore store;
    const int64_t n = 2 * ChordSampleStore::kChunkSamples + 10'000;
    for (int64_t i = 0; i < n; ++i)
        store.append(float(i % 100'003));
    ASSERT_EQ(store.byteCount(), n * 4);
    std::vector<float> span(5000);
    const int64_t start = ChordSampleStore::kChunkSamples * 2 - 2500; // straddles the second boundary
    store.copy(start, 5000, span.data());
    for (int64_t i = 0; i < 5000; ++i)
        ASSERT_EQ(span[size_t(i)], float((start + i) % 100'003)) << i;
}

TEST(ChordSampleCollector, KeepsFramesAtTheTargetRateWhereverTheBlocksAreCut)
{
    // Frame f carries the value f on both channels, so kept samples tell which frames were kept.
    std::vector<float> stereo(2 * 100'003);
    for (size_t i = 0; i < stereo.size(); ++i)
        stereo[i] = float(i / 2);
    auto collect = [&stereo](double rate, int64_t block) {
        ChordSampleStore store;
        ChordSampleCollector collector(rate, 2, QStringLiteral("x.wav"), store);
        for (int64_t at = 0; at < 100'003; at += block)
            collector.appendInterleaved(stereo.data() + at * 2, std::min<int64_t>(block, 100'003 - at));
        std::vector<float> out(size_t(store.size()));
        store.copy(0, store.size(), out.data());
        return out;
    };
    struct Case { double rate; std::vector<float> firstKept; };
    for (const Case& c : {Case{44100.0, {1, 3, 5, 7, 9, 11}}, Case{48000.0, {2, 4, 6, 8, 10, 13}}, Case{11025.0, {0, 1, 2, 3, 4, 5}}}) {
        const std::vector<float> whole = collect(c.rate, 100'003);
        ASSERT_GE(whole.size(), 6u);
        EXPECT_EQ(std::vector<float>(whole.begin(), whole.begin() + 6), c.firstKept) << c.rate;
        EXPECT_NEAR(double(whole.size()), 100'003 * std::min(1.0, 22050.0 / c.rate), 1.0) << c.rate;
        for (int64_t block : {1, 7, 4095})
            EXPECT_EQ(collect(c.rate, block), whole) << c.rate << " in blocks of " << block;
    }
}
