#include "EngineHarness.h"

#include "audio/AudioBuffer.h"
#include "common/LogCapture.h"

#include <gtest/gtest.h>

using fixtures::Signal;

namespace {

constexpr int kRate = EngineHarness::kRate;

// Silence with 10 ms bursts of 1 kHz at the given frames.
Signal bursts(int64_t frames, std::vector<int64_t> at, float level = 0.8f)
{
    return fixtures::synthesise(kRate, 2, frames, [at, level](int64_t f, int) {
        for (int64_t start : at)
            if (f >= start && f < start + 441)
                return float(level * std::sin(2 * M_PI * 1000.0 * double(f - start) / kRate));
        return 0.0f;
    });
}

Signal sine(int64_t frames, double hz, float level = 0.5f, double rightHz = 0.0)
{
    return fixtures::synthesise(kRate, 2, frames, [=](int64_t f, int c) {
        const double freq = c == 1 && rightHz > 0.0 ? rightHz : hz;
        return float(level * std::sin(2 * M_PI * freq * double(f) / kRate));
    });
}

struct PlaybackTest : ::testing::Test, EngineHarness {};

} // namespace

TEST_F(PlaybackTest, AReadLeavesTheWholeFileAsRangeInTheModeItsLengthCallsFor)
{
    ASSERT_TRUE(load(sine(3 * kRate, 440)));
    EXPECT_EQ(engine.from(), 0);
    EXPECT_EQ(engine.len(), uint32_t(3 * kRate));
    EXPECT_EQ(engine.cursorPosition(), 0);
    EXPECT_TRUE(engine.preRoll()) << "a long file to its end plays as a segment";

    const Signal two = sine(2 * kRate, 440);
    ASSERT_TRUE(load(two, "two.wav"));
    EXPECT_FALSE(engine.preRoll()) << "exactly two seconds is plain";
    EXPECT_EQ(engine.loopBuffer().start, 0);
    EXPECT_EQ(engine.loopBuffer().length, 2 * kRate);
}

TEST_F(PlaybackTest, RangesPickSegmentHeadOrPlainModeAndFillTheirBuffers)
{
    const Signal source = sine(100000, 441);
    ASSERT_TRUE(load(source));

    engine.fillBufferFrom(0.5f, 0.5f, 0.5f);
    EXPECT_EQ(engine.from(), 0);
    EXPECT_EQ(engine.len(), 100000u);
    EXPECT_FALSE(engine.preRoll());
    EXPECT_FALSE(engine.playFromPosition());
    EXPECT_EQ(engine.loopBuffer().length, 100000);

    engine.setLoop(true);
    engine.fillBufferFrom(0.2f, 0.8f, 0.5f);
    EXPECT_TRUE(engine.playFromPosition());
    EXPECT_FALSE(engine.preRoll());
    EXPECT_EQ(engine.from(), 20000);
    EXPECT_EQ(engine.len(), 60000u);
    EXPECT_EQ(engine.cursorPosition(), 30000);
    EXPECT_EQ(engine.preRollBuffer().start, 50000);
    EXPECT_EQ(engine.preRollBuffer().length, 30000);

    // A playhead on the range's edge is not inside it.
    engine.fillBufferFrom(0.2f, 0.8f, 0.2f);
    EXPECT_FALSE(engine.playFromPosition());
    EXPECT_EQ(engine.cursorPosition(), 0);
    EXPECT_EQ(engine.loopBuffer().start, 20000);
    EXPECT_EQ(engine.loopBuffer().length, 60000);
}

TEST_F(PlaybackTest, LoopSeamsAtHalfSpeedAreAsSmoothAsTheRestOfTheSound)
{
    // 441 Hz has a period of exactly 100 frames, so the looped range is itself seamless.
    ASSERT_TRUE(load(sine(100000, 441, 0.5f)));
    engine.setLoop(true);
    engine.fillBufferFrom(0.2f, 0.5f, 0.2f);
    ASSERT_EQ(engine.len() % 100, 0u);
    engine.setSpeed(0.5f);
    ASSERT_TRUE(engine.playPause());
    const auto left = channel(pull(4 * 2 * 30000), 0);

    // The largest step anywhere, seams included, against the largest inside the first pass.
    const auto largestStep = [&](size_t from, size_t to) {
        float step = 0.0f;
        for (size_t i = from; i < to; ++i)
            step = std::max(step, std::fabs(left[i] - left[i - 1]));
        return step;
    };
    const float steadyStep = largestStep(10000, 50000);
    const float seamStep = largestStep(8192, left.size());
    EXPECT_GT(steadyStep, 0.01f) << "the sine must be heard at all";
    EXPECT_LT(seamStep, steadyStep * 1.25f);
    EXPECT_GT(measure::sineAmplitude(left, 20000, left.size()), 0.3);
}

TEST_F(PlaybackTest, TheFirstBeatAtTheStartOfPlayComesOutWhole)
{
    for (float speed : {0.5f, 1.0f}) {
        ASSERT_TRUE(load(bursts(200000, {100000, 50000})));
        engine.setSpeed(speed);
        // A range starting on the burst, then a playhead inside a range on the other burst.
        for (auto [f, t, p] : {std::tuple{0.5f, 0.75f, 0.5f}, std::tuple{0.1f, 0.9f, 0.25f}}) {
            engine.fillBufferFrom(f, t, p);
            ASSERT_TRUE(engine.playPause());
            const auto left = channel(pull(8192), 0);
            EXPECT_GT(measure::peak(left, 0, left.size()), 0.7f) << "speed " << speed << " range " << f;
            const int64_t onset = measure::onset(left, 0.2f);
            EXPECT_GE(onset, 0);
            EXPECT_LT(onset, 512) << "the beat starts the sound";
            EXPECT_FALSE(engine.playPause()) << "pause";
        }
    }
}

TEST_F(PlaybackTest, AResumedTrackSoundsAtFullLevelFromItsFirstFrames)
{
    ASSERT_TRUE(load(sine(3 * kRate, 1000, 0.8f)));
    for (float speed : {0.5f, 1.0f}) {
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        engine.setSpeed(speed);
        ASSERT_TRUE(engine.playPause());
        pull(kRate / 4);
        EXPECT_FALSE(engine.playPause());
        ASSERT_TRUE(engine.playPause()) << "resume";
        const auto left = channel(pull(2048), 0);
        EXPECT_LT(measure::onset(left, 0.5f), 256) << "within 6 ms, speed " << speed;
        EXPECT_GT(measure::peak(left, 0, 512), 0.7f) << "speed " << speed;
        EXPECT_FALSE(engine.playPause());
    }
}

namespace {

// Pulls until the burst is heard, then compares the reported position with the frame heard.
void expectPositionMatchesTheSound(EngineHarness& h, int64_t burstFrame, double rate, const char* when)
{
    std::vector<float> heard;
    for (int block = 0; block < 4000; ++block) {
        const auto frames = EngineHarness::channel(h.pull(512), 0);
        heard.insert(heard.end(), frames.begin(), frames.end());
        const int64_t onset = measure::onset(heard, 0.3f, heard.size() - frames.size());
        if (onset < 0)
            continue;
        const double expected = double(burstFrame) + double(int64_t(heard.size()) - onset) * rate;
        EXPECT_NEAR(h.engine.currentSampleTime(), expected, 0.010 * kRate) << when << " at speed " << rate;
        return;
    }
    ADD_FAILURE() << "burst never heard " << when;
}

} // namespace

TEST_F(PlaybackTest, ThePlayheadIsTheFrameHeardAtEverySpeed)
{
    ASSERT_TRUE(load(bursts(4 * kRate, {kRate, 3 * kRate})));
    for (double rate : {0.25, 0.5, 1.0, 1.5}) {
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        engine.setSpeed(float(rate));
        ASSERT_TRUE(engine.playPause());
        expectPositionMatchesTheSound(*this, kRate, rate, "after start");
        pull(int64_t(0.2 * kRate / rate)); // past the burst before pausing
        EXPECT_FALSE(engine.playPause()) << "pause at speed " << rate;
        // Resumed where it was heard, the next burst is still where the position says.
        ASSERT_TRUE(engine.playPause());
        expectPositionMatchesTheSound(*this, 3 * kRate, rate, "after resume");
        EXPECT_FALSE(engine.playPause()) << "pause at speed " << rate;
    }
}

TEST_F(PlaybackTest, ThePlayheadFollowsTheSoundAcrossALoopWrap)
{
    ASSERT_TRUE(load(bursts(100000, {30000})));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.75f, 0.5f); // head from 50,000, then 25,000..75,000 again
    engine.setSpeed(0.5f);
    ASSERT_TRUE(engine.playPause());
    expectPositionMatchesTheSound(*this, 30000, 0.5, "after the wrap");
    EXPECT_GE(engine.currentSampleTime(), 25000.0);
    EXPECT_LT(engine.currentSampleTime(), 75000.0);
}

TEST_F(PlaybackTest, SpeedPitchFilterVolumeAndSoloShapeWhatIsHeard)
{
    ASSERT_TRUE(load(sine(6 * kRate, 440, 0.5f, 0.0)));
    engine.setPitch(100.0f);
    engine.pitchEnable(true);
    ASSERT_TRUE(engine.playPause());
    auto left = channel(pull(kRate), 0);
    EXPECT_NEAR(measure::cents(measure::zeroCrossingFrequency(left, 8192, left.size(), kRate), 466.1638), 0.0, 2.0);
    engine.setPitch(1200.0f);
    pull(8192);
    left = channel(pull(kRate / 2), 0);
    EXPECT_NEAR(measure::zeroCrossingFrequency(left, 0, left.size(), kRate), 880.0, 880.0 * 0.0012);

    engine.pitchEnable(false);
    engine.setVolume(0.5f);
    pull(8192);
    left = channel(pull(kRate / 2), 0);
    EXPECT_NEAR(measure::zeroCrossingFrequency(left, 0, left.size(), kRate), 440.0, 0.5);
    EXPECT_NEAR(measure::sineAmplitude(left, 0, left.size()), 0.25, 0.02) << "volume is linear";
}

TEST_F(PlaybackTest, SoloPutsOneChannelOnBothSidesEvenThroughAPause)
{
    // Left 440 Hz, right 660 Hz.
    ASSERT_TRUE(load(sine(4 * kRate, 440, 0.5f, 660)));
    engine.soloLeft(true);
    engine.setVolume(0.5f);
    ASSERT_TRUE(engine.playPause());
    EXPECT_FALSE(engine.playPause());
    ASSERT_TRUE(engine.playPause()) << "the restart reapplies solo and volume";
    pull(8192);
    const auto out = pull(kRate / 2);
    for (int c : {0, 1}) {
        const auto side = channel(out, c);
        EXPECT_NEAR(measure::zeroCrossingFrequency(side, 0, side.size(), kRate), 440.0, 1.0) << c;
        EXPECT_NEAR(measure::sineAmplitude(side, 0, side.size()), 0.25, 0.03) << c;
    }
    engine.soloRight(true);
    engine.soloLeft(false);
    EXPECT_EQ(engine.solo(), 0) << "whichever button switched it off";
}

TEST_F(PlaybackTest, ShapingValuesAreClampedAndKeptAsWritten)
{
    ASSERT_TRUE(load(sine(kRate, 440)));
    engine.setSpeed(0.2f);
    EXPECT_FLOAT_EQ(engine.speed(), 0.25f);
    engine.setSpeed(1.6f);
    EXPECT_FLOAT_EQ(engine.speed(), 1.5f);
    engine.setPitch(1300.0f);
    EXPECT_EQ(engine.pitch(), 1200.0);
    EXPECT_EQ(engine.graph()->pitchNode().pitch(), 1200.0);
    engine.pitchEnable(false);
    EXPECT_EQ(engine.graph()->pitchNode().pitch(), 0.0);
    engine.pitchEnable(true);
    EXPECT_EQ(engine.graph()->pitchNode().pitch(), 1200.0);
    engine.setVolume(2.0f);
    EXPECT_EQ(engine.volume(), 1.0f);
    EXPECT_EQ(engine.graph()->mixer().parameter(MatrixMixer::Global, MatrixMixer::kMasterElement), 1.0f);

    Equalizer& eq = engine.graph()->eqNode();
    engine.setFilter(1520.0f);
    EXPECT_EQ(eq.frequency(0), 1520.0f);
    EXPECT_NEAR(eq.gain(1), 12.0 - 1520.0 / 300.0, 1e-5);
    engine.filterEnable(false);
    EXPECT_TRUE(eq.isBypassed(0) && eq.isBypassed(1));
    engine.setFilter(10000.0f);
    EXPECT_EQ(eq.frequency(1), 1520.0f) << "out of range keeps the frequency";
    EXPECT_FALSE(eq.isBypassed(0) || eq.isBypassed(1)) << "but switches the filter on";

    engine.soloLeft(true);
    ASSERT_TRUE(engine.setupEngine());
    EXPECT_EQ(engine.solo(), 1) << "a new setup keeps the solo";
    EXPECT_EQ(engine.graph()->mixer().parameter(MatrixMixer::Input, 1), 0.0f);
    EXPECT_EQ(engine.speed(), 1.0f);
    EXPECT_EQ(engine.pitch(), 0.0);
    EXPECT_TRUE(eq.isBypassed(0) && eq.isBypassed(1));
    EXPECT_EQ(eq.frequency(0), 2000.0f);
}

TEST_F(PlaybackTest, TheEndOfARangeIsReportedOnceAndAStopNeverIs)
{
    ASSERT_TRUE(load(sine(3 * kRate, 440)));
    engine.fillBufferFrom(0.1f, 0.2f, 0.1f); // 0.3 s, plain
    ASSERT_TRUE(engine.playPause());
    pull(kRate);
    ASSERT_TRUE(waitFor([&] { return delegate.finished > 0; }));
    EXPECT_EQ(delegate.finished, 1);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_FALSE(engine.isScheduled());
    // The same range plays again from its start.
    ASSERT_TRUE(engine.playPause());
    EXPECT_EQ(engine.from(), int64_t(0.1f * float(3 * kRate)));
    pull(4096);
    EXPECT_TRUE(engine.stop());
    pull(kRate);
    waitFor([] { return false; }, 300);
    EXPECT_EQ(delegate.finished, 1) << "a stop is not an end";
}

TEST_F(PlaybackTest, StopInALoopSetsUpTheRestOfThePassThenTheWholeLoop)
{
    ASSERT_TRUE(load(sine(100000, 441)));
    engine.setLoop(true);
    engine.fillBufferFrom(0.2f, 0.8f, 0.2f);
    ASSERT_TRUE(engine.playPause());
    pull(20000);
    const double heard = engine.currentSampleTime();
    EXPECT_TRUE(engine.stop());
    EXPECT_TRUE(engine.playFromPosition());
    EXPECT_EQ(engine.from(), 20000);
    EXPECT_EQ(engine.len(), 60000u);
    EXPECT_EQ(engine.cursorPosition(), int64_t(heard - 20000.0));
    EXPECT_EQ(engine.preRollBuffer().start, int64_t(heard));
    EXPECT_EQ(engine.preRollBuffer().length, int64_t(80000 - int64_t(heard)));
    EXPECT_EQ(engine.currentSampleTime(), 20000.0) << "stopped, the position is the range's start";
}

TEST_F(PlaybackTest, PositionAndProgressWhileStoppedAndWithNothingLoaded)
{
    LogCapture log;
    EXPECT_FALSE(engine.playPause());
    EXPECT_TRUE(log.contains("AudioEngine playPause: Error while trying to start engine"));
    EXPECT_TRUE(log.anyStartsWith("couldn't start engine, "));
    EXPECT_EQ(engine.progress(), 0.0);
    EXPECT_EQ(engine.duration(), 0.0);

    ASSERT_TRUE(load(sine(3 * kRate, 440)));
    engine.fillBufferFrom(0.5f, 1.0f, 0.5f);
    EXPECT_EQ(engine.progress(), 0.0) << "the graph is stopped";
    EXPECT_EQ(engine.currentSampleTime(), double(int64_t(0.5f * float(3 * kRate))));
    EXPECT_DOUBLE_EQ(engine.duration(), 3.0);
}

TEST_F(PlaybackTest, AnInterruptionResetsTheGraphAndTheNextPlayStartsAtTheRange)
{
    ASSERT_TRUE(load(sine(3 * kRate, 440)));
    engine.setLoop(true);
    engine.fillBufferFrom(0.25f, 0.5f, 0.25f);
    engine.setSpeed(0.5f);
    ASSERT_TRUE(engine.playPause());
    pull(20000);
    engine.handleInterruption();
    EXPECT_EQ(delegate.resets, 1);
    EXPECT_FALSE(engine.isEngineRunning());
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.speed(), 1.0f);
    const int setups = delegate.setups;
    ASSERT_TRUE(engine.playPause());
    EXPECT_EQ(delegate.setups, setups + 1);
    pull(512);
    EXPECT_NEAR(engine.currentSampleTime(), double(engine.from() + 512), 0.010 * kRate)
        << "at the range's start, at speed 1 again";
}
