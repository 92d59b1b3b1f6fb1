// A playing loop's passes: a range changed while it plays takes over at the next pass with no
// break; a trainer speeds the passes up at their seams; a gap or a count-in comes before each pass.
// The graph is pulled block by block, so a slow (sanitized) build hears exactly the same.
#include "EngineHarness.h"

namespace {

constexpr int kRate = EngineHarness::kRate;

std::vector<double> onsetSeconds(const std::vector<float>& x, float threshold = 0.5f)
{
    std::vector<double> found;
    for (int64_t at : measure::onsets(x, threshold, kRate / 10))
        found.push_back(double(at) / kRate);
    return found;
}

constexpr double kBlock = 512.0 / kRate;

struct LoopPassesTest : ::testing::Test, EngineHarness {
    // Pulls `seconds` of output in tenths, noting the playhead (file seconds) after each.
    std::vector<float> play(double seconds, std::vector<double>* playhead = nullptr)
    {
        std::vector<float> left;
        for (int i = 0; i < int(std::lround(seconds * 10)); ++i) {
            const auto block = pullLeft(kRate / 10);
            left.insert(left.end(), block.begin(), block.end());
            if (playhead)
                playhead->push_back(engine.currentTime());
        }
        return left;
    }
};

TEST_F(LoopPassesTest, TheNextPassPlaysTheNewRangeThePlayheadFollowsAndAStopForgetsTheChange)
{
    // 8 s: marks at 1 s and 2 s; the loop is 2 s to 4 s, then 1 s to 4 s.
    ASSERT_TRUE(load(burstTrack(8 * kRate, {kRate, 2 * kRate})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    EXPECT_FALSE(engine.setNextLoopRange(0.125f, 0.5f)) << "nothing plays";
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

    // A stop ends what was asked of that play: played again, the 2-s passes hold, not 0 s to 4 s.
    ASSERT_TRUE(engine.setNextLoopRange(0.0f, 0.5f));
    engine.stop();
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    ASSERT_TRUE(engine.playPause());
    const std::vector<double> again = onsetSeconds(play(4.5));
    ASSERT_GE(again.size(), 2u);
    EXPECT_NEAR(again[1] - again[0], 2.0, 64.0 / kRate);
}

// Trainer 0.5 + 0.25 a pass up to 1.0 on the 2-s range 2 s to 4 s, with marks half a second and a
// second and a half in over a steady tone: each pass lasts 2 s over its speed, inside a pass the
// speed holds, and where it steps up the tone stays a tone, no step larger than its own steepest.
TEST_F(LoopPassesTest, ATrainerSpeedsUpEachPassAtItsSeamWithNoClick)
{
    const float bed = 0.2f;
    ASSERT_TRUE(load(burstTrack(8 * kRate, {kRate * 5 / 2, kRate * 7 / 2}, bed)));
    engine.setLoop(true);
    engine.setPassPlan(PassPlan{0.5, 0.25, 1.0, 1});
    engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
    ASSERT_TRUE(engine.playPause());
    std::vector<double> trained;
    std::vector<float> heard;
    for (int i = 0; i < 95; ++i) {
        const auto block = play(0.1);
        heard.insert(heard.end(), block.begin(), block.end());
        trained.push_back(engine.trainedRateHeard());
    }
    const std::vector<double> onsets = onsetSeconds(heard);
    ASSERT_GE(onsets.size(), 6u);
    // Passes start at 0, 4, 6.67 and 8.67 s; the marks 0.5 s and 1.5 s of the track after each start.
    const double expected[] = {1.0, 3.0, 4.0 + 0.5 / 0.75, 4.0 + 1.5 / 0.75, 4.0 + 2 / 0.75 + 0.5, 4.0 + 2 / 0.75 + 1.5};
    for (size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(onsets[i], expected[i], kBlock) << "mark " << i;
    EXPECT_DOUBLE_EQ(trained[10], 0.5) << "the speed the window shows at 1 s";
    EXPECT_DOUBLE_EQ(trained[50], 0.75) << "at 5 s";
    EXPECT_DOUBLE_EQ(trained[80], 1.0) << "at 8 s";
    const double steepest = bed * 2 * M_PI * 200.0 / kRate;
    for (const double seam : {4.0, 4.0 + 2 / 0.75})
        EXPECT_LT(measure::largestStep(heard, size_t((seam - 0.05) * kRate), size_t((seam + 0.05) * kRate)), 1.5 * steepest)
            << "at the seam at " << seam << " s";
}

// A 1-s gap before each pass of a 2-s range lasts a second at any speed, and through it the
// playhead waits at the range's start.
struct LoopLeadTest : LoopPassesTest, ::testing::WithParamInterface<double> {
    // Plays the 2-s range 2 s to 4 s in a loop at the test's speed with `plan`.
    void start(const fixtures::Signal& track, const PassPlan& plan)
    {
        ASSERT_TRUE(load(track));
        engine.setLoop(true);
        engine.setSpeed(float(GetParam()));
        engine.setPassPlan(plan);
        engine.fillBufferFrom(0.25f, 0.5f, 0.0f);
        ASSERT_TRUE(engine.playPause());
    }
};

TEST_P(LoopLeadTest, OneSecondOfSilenceComesBeforeEachPass)
{
    const double speed = GetParam();
    // The range holds a soft tone and a mark at its start; silence around it.
    start(fixtures::synthesise(kRate, 2, 8 * kRate, [](int64_t f, int) {
        if (f < 2 * kRate || f >= 4 * kRate)
            return 0.0f;
        const double t = double(f) / kRate;
        return float(f < 2 * kRate + 220 ? 0.9 * std::sin(2 * M_PI * 2000.0 * t) : 0.2 * std::sin(2 * M_PI * 330.0 * t));
    }), PassPlan{0.0, 0.0, 0.0, 1, 1.0});
    std::vector<double> playhead;
    const std::vector<float> heard = play(2.0 * (1.0 + 2.0 / speed) + 0.5, &playhead);

    const double pass = 2.0 / speed;
    const std::vector<double> onsets = onsetSeconds(heard);
    ASSERT_GE(onsets.size(), 2u);
    EXPECT_NEAR(onsets[0], 1.0, kBlock) << "the first pass comes after its gap";
    EXPECT_NEAR(onsets[1], 2.0 + pass, kBlock) << "each later one too";
    // A stretched tone rings a little before and after itself: the gap's middle is silent.
    for (const double gapStart : {0.0, 1.0 + pass}) {
        const auto from = size_t((gapStart + 0.1) * kRate), to = size_t((gapStart + 0.9) * kRate);
        EXPECT_LT(measure::peak(heard, from, to), 1e-3) << "silence from " << gapStart << " s";
    }
    const auto passEnd = size_t((1.0 + pass) * kRate);
    EXPECT_GT(measure::peak(heard, passEnd - 1500, passEnd - 500), 0.1) << "the tone plays to the pass's end";
    // The window shows the range's very first frame, not one beside it.
    EXPECT_DOUBLE_EQ(playhead[4], 2.0) << "half-way through the first gap";
    EXPECT_DOUBLE_EQ(playhead[size_t((1.5 + pass) * 10)], 2.0) << "half-way through the second";
}

// A count-in of four at 120 BPM: clicks half a second apart, the last half a second before the
// pass's first frame, at any speed, before every pass.
TEST_P(LoopLeadTest, FourClicksLeadIntoEachPassOnTheBeat)
{
    start(burstTrack(8 * kRate, {2 * kRate}), PassPlan{0.0, 0.0, 0.0, 1, 0.0, 4, 120.0});
    const double pass = 2.0 / GetParam();
    const std::vector<double> onsets = onsetSeconds(play(4.5 + pass), 0.3f);
    ASSERT_GE(onsets.size(), 10u);
    for (size_t pass0 : {size_t(0), size_t(5)})
        for (size_t i = 0; i < 5; ++i)
            EXPECT_NEAR(onsets[pass0 + i] - onsets[0], double(pass0 / 5) * (2.0 + pass) + 0.5 * double(i), 2e-3)
                << "onset " << pass0 + i << ": clicks, then the mark";
}

INSTANTIATE_TEST_SUITE_P(Speeds, LoopLeadTest, ::testing::Values(1.0, 0.75));

// An export of the passes, from the window's engine and from the command line, has the passes'
// lengths and leads: a file to practise with away from the computer.
TEST_F(LoopPassesTest, ExportsHaveThePassesAsTheyPlay)
{
    ASSERT_TRUE(load(burstTrack(8 * kRate, {2 * kRate})));
    const QString track = dir.filePath(QStringLiteral("track.wav"));
    const struct {
        const char* name;
        PassPlan plan;
        QStringList options;
        int passes;
        std::vector<double> onsets; // seconds
        double seconds;
    } rows[] = {
        {"trainer and gap", PassPlan{0.5, 0.25, 1.0, 1, 1.0}, {"--trainer", "0.5:0.25:1:1.0", "--gap", "1"}, 3,
         {1.0, 6.0, 7.0 + 2 / 0.75}, 5.0 + 1.0 + 2 / 0.75 + 3.0},
        {"count-in", PassPlan{0.0, 0.0, 0.0, 1, 0.0, 2, 120.0}, {"--count-in", "2", "--bpm", "120"}, 2,
         {0.0, 0.5, 1.0, 3.0, 3.5, 4.0}, 6.0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        engine.setLoop(true);
        engine.setPassPlan(row.plan);
        engine.fillBufferFrom(0.25f, 0.5f, 0.25f);
        fixtures::Signal exported = exportTo(QStringLiteral("passes.wav"), row.passes);
        const QString commanded = dir.filePath(QStringLiteral("command.wav"));
        const fixtures::LentoRun run = fixtures::runLento(
            QStringList{"--export", track, "-o", commanded, "--from", "2", "--to", "4", "--loops", QString::number(row.passes)}
            + row.options);
        ASSERT_EQ(run.status, 0) << run.err.constData();
        fixtures::Signal fromCommand;
        ASSERT_TRUE(fixtures::readSoundFile(commanded, fromCommand));
        for (fixtures::Signal* written : {&exported, &fromCommand}) {
            EXPECT_NEAR(double(written->frames()) / kRate, row.seconds, 1.0 / kRate);
            const std::vector<double> onsets = onsetSeconds(channel(written->interleaved, 0), 0.3f);
            ASSERT_EQ(onsets.size(), row.onsets.size());
            for (size_t i = 0; i < onsets.size(); ++i)
                EXPECT_NEAR(onsets[i], row.onsets[i], kBlock) << "onset " << i;
        }
    }
}

} // namespace
