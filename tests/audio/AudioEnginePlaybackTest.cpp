#include "EngineHarness.h"

using fixtures::Signal;

namespace {

constexpr int kRate = EngineHarness::kRate;

// Left at `hz`, right at 1.5 × hz.
Signal sine(int64_t frames, double hz = 440.0, float level = 0.5f) { return fixtures::stereoSines(kRate, frames, hz, level); }

struct PlaybackTest : ::testing::Test, EngineHarness {};

} // namespace

// The mode, range and what is read for it after a file read or a range set; stopped, the position is
// the range's start, and a stop in a loop's head sets up the rest of the pass.
TEST_F(PlaybackTest, ARangePicksItsModeAndAStopInALoopSetsUpTheRestOfThePass)
{
    EXPECT_FALSE(engine.playPause()) << "nothing loaded";
    EXPECT_EQ(engine.duration(), 0.0);
    const struct {
        int64_t frames;
        bool loop;
        float from, to, at;
        bool segment, head;
        int64_t expectFrom, expectLen, cursor, start;
    } rows[] = {
        // A long file to its end plays as a segment; exactly two seconds is plain.
        {3 * kRate, false, 0.0f, 1.0f, 0.0f, true, false, 0, 3 * kRate, 0, 0},
        {2 * kRate, false, 0.0f, 1.0f, 0.0f, false, false, 0, 2 * kRate, 0, 0},
        // No length: the whole file, plain.
        {100000, false, 0.5f, 0.5f, 0.5f, false, false, 0, 100000, 0, 0},
        // A playhead inside the range: the head from there, then the loop; on the range's edge it is not inside.
        {100000, true, 0.2f, 0.8f, 0.5f, false, true, 20000, 60000, 30000, 50000},
        {100000, true, 0.2f, 0.8f, 0.2f, false, false, 20000, 60000, 0, 20000}};
    for (const auto& c : rows) {
        SCOPED_TRACE(::testing::Message() << c.frames << " frames, " << c.from << " to " << c.to << " at " << c.at);
        ASSERT_TRUE(load(sine(c.frames, 441)));
        engine.setLoop(c.loop);
        engine.fillBufferFrom(c.from, c.to, c.at);
        EXPECT_EQ(engine.preRoll(), c.segment);
        EXPECT_EQ(engine.playFromPosition(), c.head);
        EXPECT_EQ(engine.from(), c.expectFrom);
        EXPECT_EQ(engine.len(), uint32_t(c.expectLen));
        EXPECT_EQ(engine.cursorPosition(), c.cursor);
        EXPECT_EQ(c.segment ? c.start : c.head ? engine.preRollBuffer().start : engine.loopBuffer().start, c.start);
    }
    EXPECT_DOUBLE_EQ(engine.duration(), 100000.0 / kRate);
    EXPECT_EQ(engine.currentSampleTime(), 20000.0);
    EXPECT_EQ(engine.progress(), 0.0) << "the graph is stopped";
    ASSERT_TRUE(engine.playPause());
    pull(20000);
    const double heard = engine.currentSampleTime();
    EXPECT_NEAR(engine.progress(), heard / 100000.0, 0.01);
    EXPECT_TRUE(engine.stop());
    EXPECT_TRUE(engine.playFromPosition());
    EXPECT_EQ(engine.from(), 20000);
    EXPECT_EQ(engine.len(), 60000u);
    EXPECT_EQ(engine.cursorPosition(), int64_t(heard - 20000.0));
    EXPECT_EQ(engine.preRollBuffer().start, int64_t(heard));
    EXPECT_EQ(engine.preRollBuffer().length, int64_t(80000 - int64_t(heard)));
    EXPECT_EQ(engine.currentSampleTime(), 20000.0) << "stopped, the position is the range's start";
}

TEST_F(PlaybackTest, LoopSeamsAtHalfSpeedAreAsSmoothAsTheRestOfTheSound)
{
    ASSERT_TRUE(load(sine(100000, 441, 0.5f)));
    engine.setLoop(true);
    engine.fillBufferFrom(0.2f, 0.5f, 0.2f);
    engine.setSpeed(0.5f);
    ASSERT_TRUE(engine.playPause());
    const auto left = pullLeft(4 * 2 * 30000);
    const float steadyStep = measure::largestStep(left, 10000, 50000);
    EXPECT_GT(steadyStep, 0.01f) << "the sine must be heard at all";
    EXPECT_LT(measure::largestStep(left, 8192), steadyStep * 1.25f);
}

TEST_F(PlaybackTest, TheFirstBeatOfAPlayOrAResumeComesOutWhole)
{
    for (float speed : {0.5f, 1.0f}) {
        ASSERT_TRUE(load(burstTrack(200000, {100000, 50000})));
        engine.setSpeed(speed);
        // A range starting on the burst, then a playhead inside a range on the other burst.
        for (auto [f, t, p] : {std::tuple{0.5f, 0.75f, 0.5f}, std::tuple{0.1f, 0.9f, 0.25f}}) {
            engine.fillBufferFrom(f, t, p);
            ASSERT_TRUE(engine.playPause());
            const auto left = pullLeft(8192);
            EXPECT_GT(measure::peak(left, 0, left.size()), 0.7f) << "speed " << speed << " range " << f;
            EXPECT_LT(measure::onset(left, 0.2f), 512) << "the beat starts the sound";
            EXPECT_FALSE(engine.playPause());
        }
        ASSERT_TRUE(load(sine(3 * kRate, 1000, 0.8f), "sine.wav"));
        engine.setSpeed(speed);
        ASSERT_TRUE(engine.playPause());
        pull(kRate / 4);
        EXPECT_FALSE(engine.playPause());
        ASSERT_TRUE(engine.playPause()) << "resume";
        const auto left = pullLeft(2048);
        EXPECT_LT(measure::onset(left, 0.5f), 256) << "within 6 ms, speed " << speed;
        EXPECT_FALSE(engine.playPause());
    }
}

TEST_F(PlaybackTest, PitchMovesBySetCentsAtAnySpeed)
{
    ASSERT_TRUE(load(sine(6 * kRate, 440)));
    engine.pitchEnable(true);
    for (const auto& [speed, cents, hz] : {std::tuple{1.0f, 1200.0f, 880.0}, std::tuple{0.5f, 100.0f, 466.1638},
                                           std::tuple{1.5f, -1200.0f, 220.0}, std::tuple{0.25f, 0.0f, 440.0}}) {
        engine.setSpeed(speed);
        engine.setPitch(cents);
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        ASSERT_TRUE(engine.playPause());
        const auto left = pullLeft(kRate);
        EXPECT_NEAR(measure::zeroCrossingFrequency(left, 8192, left.size(), kRate), hz, hz * 0.0012)
            << "speed " << speed << ", cents " << cents;
        EXPECT_FALSE(engine.playPause());
    }
}

// Speed, pitch and volume dragged while playing make no click; then volume and solo shape what is
// heard through a pause.
TEST_F(PlaybackTest, DragsMakeNoClickAndVolumeAndSoloShapeWhatIsHeardThroughAPause)
{
    // Left 440 Hz, right 660 Hz.
    ASSERT_TRUE(load(sine(6 * kRate)));
    engine.pitchEnable(true);
    ASSERT_TRUE(engine.playPause());
    pull(20000);
    std::vector<float> left;
    for (int step = 0; step < 250; ++step) {
        engine.setSpeed(float(1.0 - 0.5 * std::fabs(std::sin(step * 0.05))));
        engine.setPitch(float(600.0 * std::sin(step * 0.07)));
        engine.setVolume(step % 50 < 25 ? 1.0f : 0.3f);
        const auto block = pullLeft(512);
        left.insert(left.end(), block.begin(), block.end());
    }
    // The steepest step of a 0.5 sine at up to 622 Hz is 0.044 per sample.
    EXPECT_LT(measure::largestStep(left), 0.1f);
    EXPECT_GT(measure::peak(left, left.size() - 10000, left.size()), 0.1f) << "still sounding";
    engine.setSpeed(1.0f);
    engine.pitchEnable(false);
    engine.soloLeft(true);
    engine.setVolume(0.5f);
    EXPECT_FALSE(engine.playPause());
    ASSERT_TRUE(engine.playPause()) << "the restart reapplies solo and volume";
    pull(8192);
    const auto out = pull(kRate / 2);
    for (int c : {0, 1}) {
        const auto side = channel(out, c);
        EXPECT_NEAR(measure::zeroCrossingFrequency(side, 0, side.size(), kRate), 440.0, 1.0) << c;
        EXPECT_NEAR(measure::sineAmplitude(side, 0, side.size()), 0.25, 0.03) << "volume is linear, on " << c;
    }
    engine.soloRight(true);
    engine.soloLeft(false);
    EXPECT_EQ(engine.solo(), 0) << "whichever button switched it off";

    // A mono track sounds on both sides whatever the solo, at the volume kept from the last track.
    ASSERT_TRUE(load(fixtures::synthesise(kRate, 1, kRate, [](int64_t f, int) { return float(0.5 * std::sin(0.05 * double(f))); }),
                     QStringLiteral("mono.wav")));
    for (bool right : {false, true}) {
        engine.soloRight(right);
        engine.soloLeft(!right);
        ASSERT_TRUE(engine.playPause());
        const auto mono = pull(kRate / 4);
        for (int c : {0, 1})
            EXPECT_NEAR(measure::peak(channel(mono, c), 8192, size_t(kRate / 4)), 0.25f, 0.01f) << "at half volume, side " << c << ", solo right " << right;
        EXPECT_FALSE(engine.playPause());
    }
}

TEST_F(PlaybackTest, ShapingValuesAreClampedAndANewSetupResetsAllButSoloAndVolume)
{
    ASSERT_TRUE(load(sine(kRate, 440)));
    Equalizer& eq = engine.graph()->eqNode();
    const std::vector<std::tuple<float, float, float>> clamps = {{0.2f, 1300.0f, 2.0f}, {1.6f, -1300.0f, -1.0f}};
    for (const auto& [speed, cents, volume] : clamps) {
        engine.setSpeed(speed);
        engine.setPitch(cents);
        engine.setVolume(volume);
        EXPECT_FLOAT_EQ(engine.speed(), speed < 1.0f ? 0.25f : 1.5f);
        EXPECT_EQ(engine.graph()->pitchNode().pitch(), cents > 0 ? 1200.0 : -1200.0);
        EXPECT_EQ(engine.graph()->mixer().parameter(MatrixMixer::Global, MatrixMixer::kMasterElement), volume > 0 ? 1.0f : 0.0f);
    }
    for (uint32_t beyond : {2u * 65536u, 2u})
        EXPECT_FALSE(engine.graph()->mixer().setParameter(MatrixMixer::Global, beyond, 1.0f)) << "a crosspoint it lacks";
    engine.pitchEnable(false);
    EXPECT_EQ(engine.graph()->pitchNode().pitch(), 0.0);
    engine.pitchEnable(true);
    EXPECT_EQ(engine.graph()->pitchNode().pitch(), -1200.0) << "the last pitch comes back";

    engine.setFilter(1520.0f);
    EXPECT_EQ(eq.frequency(0), 1520.0f);
    engine.filterEnable(false);
    EXPECT_TRUE(eq.isBypassed(0) && eq.isBypassed(1));
    engine.setFilter(10000.0f);
    EXPECT_EQ(eq.frequency(1), 1520.0f) << "out of range keeps the frequency";
    EXPECT_FALSE(eq.isBypassed(0) || eq.isBypassed(1)) << "but switches the filter on";

    engine.soloLeft(true);
    ASSERT_TRUE(engine.setupEngine());
    EXPECT_EQ(engine.graph()->mixer().parameter(MatrixMixer::Input, 1), 0.0f) << "a new setup keeps the solo";
    EXPECT_EQ(engine.speed(), 1.0f);
    EXPECT_EQ(engine.pitch(), 0.0);
    EXPECT_TRUE(eq.isBypassed(0) && eq.isBypassed(1));
}
