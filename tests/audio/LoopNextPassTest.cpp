// A loop's range changed while it plays, as people hear it: the pass under way runs to its end
// and the next one plays the new range, with no break and the playhead following.
#include "EngineHarness.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr int kRate = EngineHarness::kRate;

// A 5 ms burst of 2 kHz at each of `marks` (seconds) over silence.
fixtures::Signal marks(double seconds, std::vector<double> at)
{
    return fixtures::synthesise(kRate, 2, int64_t(seconds * kRate), [at](int64_t f, int) {
        for (double mark : at) {
            const int64_t start = int64_t(mark * kRate);
            if (f >= start && f < start + 220)
                return float(0.9 * std::sin(2 * M_PI * 2000.0 * double(f - start) / kRate));
        }
        return 0.0f;
    });
}

std::vector<double> onsetSeconds(const std::vector<float>& x)
{
    std::vector<double> found;
    for (int64_t at = measure::onset(x, 0.5f); at >= 0; at = measure::onset(x, 0.5f, size_t(at + kRate / 10)))
        found.push_back(double(at) / kRate);
    return found;
}

struct LoopNextPassTest : ::testing::Test, EngineHarness {
    LoopNextPassTest() : EngineHarness(pacedOutput()) {}
};

TEST_F(LoopNextPassTest, TheNextPassPlaysTheNewRangeAndThePlayheadFollows)
{
    // 8 s: marks at 1 s and 2 s; the loop is 2 s to 4 s, then 1 s to 4 s.
    ASSERT_TRUE(load(marks(8.0, {1.0, 2.0})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    output().record(int64_t(6.5 * kRate));
    ASSERT_TRUE(engine.playPause());
    ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= kRate / 2; }));
    EXPECT_FALSE(engine.setNextLoopRange(0.5f, 0.25f)) << "an empty range";
    ASSERT_TRUE(engine.setNextLoopRange(0.125f, 0.5f));

    std::vector<double> positions; // seconds of the file, sampled while the new passes are heard
    ASSERT_TRUE(waitFor([&] {
        if (output().recordedFrames() > int64_t(2.2 * kRate))
            positions.push_back(engine.currentTime());
        return output().recordedFrames() >= int64_t(6.5 * kRate);
    }, 10000));
    const auto heard = channel(output().recorded(), 0);
    const std::vector<double> onsets = onsetSeconds(heard);
    ASSERT_GE(onsets.size(), 4u) << "marks heard";
    // The first pass (2 s long) ends where it was going; each later one is 3 s and has both marks.
    const double first = onsets[0];
    const double expected[] = {0.0, 2.0, 3.0, 5.0};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(onsets[i] - first, expected[i], 64.0 / kRate) << "mark " << i;
    ASSERT_FALSE(positions.empty());
    for (double p : positions)
        ASSERT_TRUE(p >= 1.0 - 0.01 && p < 4.0 + 0.01) << "the playhead at " << p << " s";
    EXPECT_LT(*std::min_element(positions.begin(), positions.end()), 1.5) << "it reached the new start";
}

TEST_F(LoopNextPassTest, NothingPlayingRefusesAndAStopForgetsTheChange)
{
    ASSERT_TRUE(load(marks(8.0, {1.0, 2.0})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    EXPECT_FALSE(engine.setNextLoopRange(0.125f, 0.5f)) << "nothing plays";
    output().record(int64_t(1.0 * kRate));
    ASSERT_TRUE(engine.playPause());
    ASSERT_TRUE(engine.setNextLoopRange(0.125f, 0.5f));
    engine.stop();
    // Played again from the top, the old range holds: a stop ends what was asked of that play.
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    output().record(int64_t(4.5 * kRate));
    ASSERT_TRUE(engine.playPause());
    ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= int64_t(4.5 * kRate); }, 10000));
    const std::vector<double> onsets = onsetSeconds(channel(output().recorded(), 0));
    ASSERT_GE(onsets.size(), 2u);
    EXPECT_NEAR(onsets[1] - onsets[0], 2.0, 64.0 / kRate) << "2 s passes: the old range";
}

} // namespace
