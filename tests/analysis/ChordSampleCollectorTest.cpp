#include "analysis/LTChordEstimatorInternal.h"
#include "common/Testing.h"

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

TEST(ChordSampleCollector, KeepsFramesAtTheTargetRateWhereverTheBlocksAreCutUpToTheCap)
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
    for (const auto& [rate, firstKept] : {std::pair{44100.0, std::vector<float>{1, 3, 5, 7, 9, 11}}, {48000.0, {2, 4, 6, 8, 10, 13}}, {11025.0, {0, 1, 2, 3, 4, 5}}}) {
        const std::vector<float> whole = collect(rate, 100'003);
        ASSERT_GE(whole.size(), 6u);
        EXPECT_EQ(std::vector<float>(whole.begin(), whole.begin() + 6), firstKept) << rate;
        EXPECT_NEAR(double(whole.size()), 100'003 * std::min(1.0, 22050.0 / rate), 1.0) << rate;
        for (int64_t block : {1, 7, 4095})
            EXPECT_EQ(collect(rate, block), whole) << rate << " in blocks of " << block;
    }

    // An hour stops at the cap with one line; the block that reached it is refused.
    const std::vector<float> block(8192, 0.5f);
    LogCapture log;
    ChordSampleStore store;
    ChordSampleCollector collector(chordconst::kTargetRate, 1, QStringLiteral("hour.flac"), store);
    int64_t fed = 0;
    while (fed < 3600 * 22050 && collector.appendInterleaved(block.data(), int64_t(block.size())))
        fed += int64_t(block.size());
    const int64_t capSamples = chordconst::kSampleCapBytes / 4; // 2,400 s
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(fed, capSamples / 8192 * 8192);
    EXPECT_FALSE(collector.appendInterleaved(block.data(), 1));
    EXPECT_EQ(store.size(), capSamples);
    EXPECT_EQ(log.lines(), QStringList{"[NOTE_DEBUG] analysis sample limit reached for hour.flac"});
}
