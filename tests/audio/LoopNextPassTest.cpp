// A loop's range changed while it plays: the pass under way runs to its end and the next one plays
// the new range, with no break and the playhead following. The graph is pulled block by block,
// so a slow (sanitized) build hears exactly the same.
#include "EngineHarness.h"

namespace {

constexpr int kRate = EngineHarness::kRate;

std::vector<double> onsetSeconds(const std::vector<float>& x)
{
    std::vector<double> found;
    for (int64_t at : measure::onsets(x, 0.5f, kRate / 10))
        found.push_back(double(at) / kRate);
    return found;
}

struct LoopNextPassTest : ::testing::Test, EngineHarness {
    // Pulls `seconds` of output in tenths, noting the playhead (file seconds) after each.
    std::vector<float> play(double seconds, std::vector<double>* playhead = nullptr)
    {
        std::vector<float> left;
        for (int i = 0; i < int(std::lround(seconds * 10)); ++i) {
            const auto block = channel(pull(kRate / 10), 0);
            left.insert(left.end(), block.begin(), block.end());
            if (playhead)
                playhead->push_back(engine.currentTime());
        }
        return left;
    }
};

TEST_F(LoopNextPassTest, TheNextPassPlaysTheNewRangeAndThePlayheadFollows)
{
    // 8 s: marks at 1 s and 2 s; the loop is 2 s to 4 s, then 1 s to 4 s.
    ASSERT_TRUE(load(burstTrack(8 * kRate, {kRate, 2 * kRate})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    ASSERT_TRUE(engine.playPause());
    std::vector<float> heard = play(0.5);
    EXPECT_FALSE(engine.setNextLoopRange(0.5f, 0.25f)) << "an empty range";
    ASSERT_TRUE(engine.setNextLoopRange(0.125f, 0.5f));
    std::vector<double> playhead;
    const std::vector<float> rest = play(6.0, &playhead);
    heard.insert(heard.end(), rest.begin(), rest.end());

    const std::vector<double> onsets = onsetSeconds(heard);
    ASSERT_GE(onsets.size(), 4u) << "marks heard";
    // The first pass (2 s long) ends where it was going; each later one is 3 s and has both marks.
    const double expected[] = {0.0, 2.0, 3.0, 5.0};
    for (size_t i = 0; i < 4; ++i)
        EXPECT_NEAR(onsets[i] - onsets[0], expected[i], 64.0 / kRate) << "mark " << i;
    // Pulled in tenths: before the seam at 2 s the old range, after it the new one from its start.
    for (size_t i = 0; i < playhead.size(); ++i) {
        const double t = 0.5 + 0.1 * double(i + 1); // seconds heard
        // Right at a seam the limiter's few frames of delay leave the playhead on either side.
        if (std::abs(t - 2.0) < 0.05 || std::abs(t - 5.0) < 0.05)
            continue;
        const double expectedAt = t < 2.0 ? 2.0 + t : 1.0 + std::fmod(t - 2.0, 3.0);
        EXPECT_NEAR(playhead[i], expectedAt, 0.02) << "at " << t << " s";
    }
}

TEST_F(LoopNextPassTest, NothingPlayingRefusesAndAStopForgetsTheChange)
{
    ASSERT_TRUE(load(burstTrack(8 * kRate, {kRate, 2 * kRate})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    EXPECT_FALSE(engine.setNextLoopRange(0.125f, 0.5f)) << "nothing plays";
    ASSERT_TRUE(engine.playPause());
    play(0.2);
    ASSERT_TRUE(engine.setNextLoopRange(0.125f, 0.5f));
    engine.stop();
    // Played again from the top, the old range holds: a stop ends what was asked of that play.
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    ASSERT_TRUE(engine.playPause());
    const std::vector<double> onsets = onsetSeconds(play(4.5));
    ASSERT_GE(onsets.size(), 2u);
    EXPECT_NEAR(onsets[1] - onsets[0], 2.0, 64.0 / kRate) << "2 s passes: the old range";
}

} // namespace
