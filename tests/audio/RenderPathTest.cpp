// The engine as people hear it: the render thread feeding a clock-paced output that records what
// it consumes, with the position sampled while it plays.
#include "EngineHarness.h"

#include "audio/Limiter.h"
#include "common/Sanitizers.h"

#include <fstream>
#include <string>

using fixtures::Signal;

namespace {

constexpr int kRate = EngineHarness::kRate;

using measure::onsets;
int64_t residentBytes()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stoll(line.substr(6)) * 1024;
    return 0;
}

struct RenderPathTest : ::testing::Test, EngineHarness {
    RenderPathTest() : EngineHarness(pacedOutput()) {}

    // Before a start: what the output consumes from then on is kept.
    void record(double seconds) { output().record(int64_t(seconds * kRate)); }
    std::vector<float> heardLeft() { return channel(output().recorded(), 0); }
};

TEST_F(RenderPathTest, HeadModeStartsAtThePlayheadWithNothingLost)
{
    const int64_t playhead = 5 * kRate, spacing = kRate / 25; // bursts every 40 ms from the playhead
    ASSERT_TRUE(load(burstTrack(10 * kRate, {playhead, playhead + spacing, playhead + 2 * spacing, playhead + 3 * spacing})));
    engine.setLoop(true);
    for (int attempt = 0; attempt < 3; ++attempt) {
        engine.fillBufferFrom(0.2f, 0.8f, 0.5f);
        record(0.6);
        ASSERT_TRUE(engine.playPause());
        ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= int64_t(0.5 * kRate); }));
        const auto heard = onsets(heardLeft(), 0.4f);
        ASSERT_GE(heard.size(), 4u) << "attempt " << attempt;
        EXPECT_LT(heard[0], kRate / 10) << "the first burst starts the sound";
        for (size_t i = 1; i < 4; ++i)
            EXPECT_NEAR(double(heard[i] - heard[i - 1]), double(spacing), 0.003 * kRate) << "attempt " << attempt;
        EXPECT_FALSE(engine.playPause());
    }
}

TEST_F(RenderPathTest, TheEndOfARangeIsReportedOnceItsLastFrameWasHeard)
{
    // A tone that fills the range [1 s, 1.5 s) exactly, silence around it.
    ASSERT_TRUE(load(fixtures::synthesise(kRate, 2, 3 * kRate, [](int64_t f, int) {
        return f >= kRate && f < kRate * 3 / 2 ? float(0.5 * std::sin(2 * M_PI * 300.0 * double(f) / kRate)) : 0.0f;
    })));
    for (float speed : {0.25f, 0.5f}) {
        delegate.finished = 0;
        engine.fillBufferFrom(1.0f / 3.0f, 0.5f, 1.0f / 3.0f);
        engine.setSpeed(speed);
        record(3.0);
        ASSERT_TRUE(engine.playPause());
        ASSERT_TRUE(waitFor([&] { return delegate.finished > 0; }, 6000)) << "speed " << speed;
        const int64_t heardAtReport = output().recordedFrames();
        const auto left = heardLeft();
        const auto loud = [](float v) { return std::fabs(v) > 0.05f; };
        const auto firstLoud = std::find_if(left.begin(), left.end(), loud);
        ASSERT_NE(firstLoud, left.end());
        const int64_t first = firstLoud - left.begin(), last = left.rend() - std::find_if(left.rbegin(), left.rend(), loud) - 1;
        // A cut end is short; the stretcher may smear the tone's abrupt end by a few milliseconds.
        const double sounded = double(last - first), expected = 0.5 * kRate / speed;
        EXPECT_GT(sounded, expected - 0.012 * kRate) << "the whole range sounds, speed " << speed;
        EXPECT_LT(sounded, expected + 0.03 * kRate) << "and nothing after it, speed " << speed;
        EXPECT_GE(heardAtReport, last) << "reported after the last frame was heard, speed " << speed;
        runFor(150);
        EXPECT_EQ(delegate.finished, 1);
        engine.graph()->stop();
    }
    // A range to the end longer than two seconds plays as one piece, and its end is told the same way.
    delegate.finished = 0;
    engine.fillBufferFrom(0.2f, 1.0f, 0.2f);
    engine.setSpeed(1.5f);
    record(3.0);
    ASSERT_TRUE(engine.playPause());
    ASSERT_TRUE(waitFor([&] { return delegate.finished > 0; }, 6000)) << "to the end";
    EXPECT_GE(output().recordedFrames(), int64_t(0.8 * 3 * kRate / 1.5));
}

TEST_F(RenderPathTest, ARestartWhilePlayingIsHeardAtOnce)
{
    ASSERT_TRUE(load(fixtures::stereoSines(kRate, 4 * kRate, 300.0, 0.5f)));
    // Straight through, and through the stretcher, which must start afresh.
    for (float speed : {1.0f, 0.5f}) {
        engine.setSpeed(speed);
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
        record(3.0);
        ASSERT_TRUE(engine.playPause());
        ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= int64_t(0.3 * kRate); }));
        // What the window does for a click in the track while it plays.
        engine.stop();
        engine.fillBufferFrom(0.5f, 1.0f, 0.5f);
        const int64_t asked = output().recordedFrames();
        ASSERT_TRUE(engine.playPause());
        ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= asked + int64_t(0.3 * kRate); }));
        const auto left = heardLeft();
        // The new sound begins after the silence that follows the stop's fade.
        auto quietEnd = size_t(asked - kRate / 20);
        for (int quiet = 0; quietEnd < left.size() && quiet < 64; ++quietEnd)
            quiet = std::fabs(left[quietEnd]) < 0.01f ? quiet + 1 : 0;
        const int64_t onset = measure::onset(left, 0.05f, quietEnd);
        ASSERT_GE(onset, 0);
        EXPECT_LT(onset - asked, int64_t(0.03 * kRate)) << "nothing of the old play waits in front of the new one, speed " << speed;
        EXPECT_FALSE(engine.playPause());
    }
    // A restart right at the range's end: the old play's end does not stop the new one.
    engine.setSpeed(0.5f);
    for (int attempt = 0; attempt < 4; ++attempt) {
        delegate.finished = 0;
        engine.fillBufferFrom(0.5f, 0.6f, 0.5f);
        ASSERT_TRUE(engine.playPause());
        // Within 80 ms of the end as heard at half speed: 40 ms of the track.
        ASSERT_TRUE(waitFor([&] { return engine.currentSampleTime() >= 0.6 * 4 * kRate - 0.04 * kRate; }));
        engine.stop();
        engine.fillBufferFrom(0.5f, 0.6f, 0.5f);
        ASSERT_TRUE(engine.playPause());
        runFor(250);
        EXPECT_TRUE(engine.isPlaying()) << "attempt " << attempt;
        EXPECT_EQ(delegate.finished, 0) << "attempt " << attempt;
        engine.stop();
    }
}

// Bursts every half second over a soft bed, the speed halved while playing just before a burst, so
// that burst falls in what the ring rendered at the old speed: the playhead sampled meanwhile is where
// each burst was heard, runs on between the output's blocks and never steps back; a pause keeps the
// place heard and fades out.
TEST_F(RenderPathTest, ThePlayheadIsTheSoundNeverStepsBackAndAPauseKeepsItAndFadesOut)
{
    std::vector<int64_t> at;
    for (int k = 1; k <= 11; ++k)
        at.push_back(int64_t(k) * kRate / 2);
    ASSERT_TRUE(load(burstTrack(6 * kRate, at, 0.3f)));
    engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
    record(7.0);
    ASSERT_TRUE(engine.playPause());
    std::vector<std::pair<int64_t, double>> samples; // frames heard, playhead
    waitFor([&] {
        samples.push_back({output().recordedFrames(), engine.currentSampleTime()});
        if (samples.back().second >= 2.46 * kRate && engine.speed() == 1.0f)
            engine.setSpeed(0.5f);
        return samples.back().second >= 4.2 * kRate;
    }, 10000);
    const int64_t consumed = output().recordedFrames();
    EXPECT_FALSE(engine.playPause());
    size_t moved = 0;
    for (size_t i = 1; i < samples.size(); ++i) {
        ASSERT_GE(samples[i].second, samples[i - 1].second) << "a step back at sample " << i;
        moved += samples[i].second > samples[i - 1].second;
    }
    EXPECT_GT(double(moved), 0.6 * double(samples.size())) << "the playhead runs on with the clock between blocks";

    const auto heard = onsets(heardLeft(), 0.6f);
    ASSERT_GE(heard.size(), 8u);
    for (size_t k = 0; k < 8; ++k) {
        const auto nearest = std::min_element(samples.begin(), samples.end(), [&](const auto& a, const auto& b) {
            return std::llabs(a.first - heard[k]) < std::llabs(b.first - heard[k]);
        });
        const double rate = at[k] >= int64_t(2.5 * kRate) ? 0.5 : 1.0;
        EXPECT_NEAR(nearest->second, double(at[k]) + double(nearest->first - heard[k]) * rate, 0.02 * kRate) << "burst " << k;
    }
    EXPECT_NEAR(double(engine.from()), double(at[7]) + double(consumed - heard[7]) * 0.5, 0.02 * kRate) << "the place paused";

    // The last of the sound against the sound just before it: a cut would step by its level.
    runFor(150);
    const auto left = heardLeft();
    size_t end = left.size();
    while (end > 0 && std::fabs(left[end - 1]) < 1e-4f)
        --end;
    ASSERT_GT(end, 3000u);
    EXPECT_LE(measure::largestStep(left, end - 400, end + 1), 1.5f * measure::largestStep(left, end - 2400, end - 400));
    EXPECT_LT(std::fabs(left.back()), 0.01f);
}

// Thirty harmonics in phase: the stretcher at a slow speed lifts such material far above full scale.
Signal pulseTrain()
{
    std::vector<double> one(kRate / 110);
    double peak = 0.0;
    for (size_t i = 0; i < one.size(); ++i) {
        for (int h = 1; h <= 30; ++h)
            one[i] += std::cos(2 * M_PI * 110.0 * h * double(i) / kRate);
        peak = std::max(peak, std::fabs(one[i]));
    }
    return fixtures::synthesise(kRate, 2, 4 * kRate, [one, peak](int64_t f, int) {
        return float(0.95 * one[size_t(f % int64_t(one.size()))] / peak);
    });
}

TEST_F(RenderPathTest, NothingClipsInPlaybackOrExport)
{
    ASSERT_TRUE(load(pulseTrain()));
    engine.setSpeed(0.25f);
    engine.setPitch(-300.0f);
    engine.pitchEnable(true);
    record(1.5);
    ASSERT_TRUE(engine.playPause());
    ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= int64_t(1.4 * kRate); }));
    EXPECT_FALSE(engine.playPause());
    const auto left = heardLeft();
    EXPECT_LE(measure::peak(left, 0, left.size()), Limiter::kCeiling + 1e-6f);
    EXPECT_GT(measure::peak(left, 0, left.size()), 0.5f);

    engine.fillBufferFrom(0.0f, 0.25f, 0.0f);
    const Signal out = exportTo(QStringLiteral("loud.wav"));
    EXPECT_LE(measure::peak(out.interleaved, 0, out.interleaved.size()), Limiter::kCeiling + 1.0f / 32768.0f);
}

// A minute of stereo, 21 MB decoded, played twice round as fast as the graph renders: neither the
// read nor the pages a pass let go stay resident.
TEST(RenderPath, NeitherTheReadNorALoopPlayedAgainKeepsTheTrackInMemory)
{
    if (LENTO_SANITIZER_OWNS_THE_HEAP)
        GTEST_SKIP() << "the sanitizer's allocator keeps freed memory resident in its quarantine";
    EngineHarness h;
    const int64_t frames = 60 * kRate;
    const Signal track = fixtures::synthesise(kRate, 2, frames, [](int64_t f, int) { return float(0.2 * std::sin(double(f) * 0.05)); });
    const int64_t before = residentBytes();
    ASSERT_TRUE(h.load(track));
    const int64_t read = residentBytes();
    EXPECT_LT(read - before, int64_t(20) << 20) << "the read, which decoded would take 21 MB more";
    h.engine.setLoop(true);
    h.engine.fillBufferFrom(0.0f, 1.0f, 0.0f);
    h.engine.setSpeed(1.5f);
    ASSERT_TRUE(h.engine.playPause());
    // A second at a time, with a pause in which the player's helper thread catches up.
    for (int64_t heard = 0; heard < frames * 19 / 10; heard += kRate * 3 / 2) {
        h.pull(kRate);
        QThread::msleep(3);
    }
    EXPECT_GT(h.engine.currentSampleTime(), 0.8 * double(frames)) << "well into the second pass";
    EXPECT_LT(residentBytes() - read, int64_t(8) << 20) << "the loop";
}

TEST_F(RenderPathTest, TracksOfManyChannelsPlayAndExportWithTheirChannels)
{
    for (int channels : {6, 10}) {
        // Each channel its own frequency, so the export shows the order kept.
        const Signal in = fixtures::synthesise(kRate, channels, kRate, [](int64_t f, int c) {
            return float(0.3 * std::sin(2 * M_PI * (200.0 + 100.0 * c) * double(f) / kRate));
        });
        ASSERT_TRUE(load(in, QStringLiteral("many%1.wav").arg(channels)));
        record(0.4);
        ASSERT_TRUE(engine.playPause());
        ASSERT_TRUE(waitFor([&] { return output().recordedFrames() >= int64_t(0.3 * kRate); }));
        EXPECT_FALSE(engine.playPause());
        const auto left = heardLeft();
        EXPECT_GT(measure::peak(left, 0, left.size()), 0.1f) << channels << " channels heard";

        engine.setSpeed(0.5f);
        engine.fillBufferFrom(0.0f, 1.0f, 0.0f); // the pause moved the range's start
        const Signal out = exportTo(QStringLiteral("out%1.wav").arg(channels));
        EXPECT_EQ(out.channels, channels);
        EXPECT_EQ(out.frames(), 2 * in.frames());
        const std::vector<float> last = out.channel(channels - 1);
        EXPECT_NEAR(measure::zeroCrossingFrequency(last, 4096, last.size() - 4096, kRate), 200.0 + 100.0 * (channels - 1), 2.0);
        engine.setSpeed(1.0f);
    }
}

} // namespace
