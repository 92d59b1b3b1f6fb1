#include "EngineHarness.h"

#include <atomic>

namespace {

// A virtual output that can refuse to open, as a machine without a device does, or report that
// its device went away.
class ScriptedOutput : public VirtualOutput {
public:
    inline static std::atomic<bool> refuseOpen{false}, lost{false};
    bool open(double sampleRate, int channels) override { return !refuseOpen && VirtualOutput::open(sampleRate, channels); }
    bool isLost() const override { return lost; }
};

} // namespace

// Without a device a track opens and exports, play tells the owner, and a device that appears plays it;
// a lost device resets the graph and its rate, and sleep stops it too but keeps the place.
TEST(Lifecycle, WithoutADeviceATrackOpensAndExportsAndALostDeviceOrASleepResetsTheGraph)
{
    EngineHarness h({[] { return std::make_unique<ScriptedOutput>(); }, AudioGraph::Rendering::InOutputCallback, true});
    AudioEngine& engine = h.engine;
    ScriptedOutput::refuseOpen = true;
    LogCapture log;
    ASSERT_TRUE(h.load(fixtures::stereoSines(44100, 3 * 44100)));
    ASSERT_NE(engine.graph(), nullptr);
    EXPECT_GT(engine.waveData()->numBins(), 0);
    for (int attempt = 1; attempt <= 2; ++attempt) {
        EXPECT_FALSE(engine.playPause());
        EXPECT_EQ(h.delegate.noOutput, attempt);
        EXPECT_FALSE(engine.isPlaying());
    }
    EXPECT_TRUE(log.contains("couldn't start engine, the output device could not be opened"));
    EXPECT_EQ(h.delegate.setups, 0);
    engine.fillBufferFrom(0.0f, 0.5f, 0.0f);
    engine.setSpeed(0.5f);
    EXPECT_EQ(h.exportTo("out.wav").frames(), 3 * 44100) << "half the track at half speed";

    ScriptedOutput::refuseOpen = false;
    EXPECT_TRUE(engine.playPause()) << "the device that appeared plays the same track";
    EXPECT_EQ(h.delegate.setups, 1);
    h.pull(22050);
    EXPECT_GT(engine.currentSampleTime(), 0.0);

    ScriptedOutput::lost = true;
    EXPECT_TRUE(EngineHarness::waitFor([&] { return h.delegate.resets > 0; }, 3000));
    ScriptedOutput::lost = false;
    EXPECT_EQ(h.delegate.resets, 1);
    EXPECT_FALSE(engine.isEngineRunning());
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(engine.speed(), 1.0f) << "a reset takes the rate back";
    EXPECT_EQ(h.delegate.finished, 0) << "an interruption is not an end";
    EXPECT_TRUE(engine.playPause()) << "the next play starts the graph again";
    EXPECT_EQ(h.delegate.setups, 2);

    h.pull(44100);
    const double heard = engine.currentSampleTime();
    engine.handleSleep();
    EXPECT_EQ(h.delegate.resets, 2);
    EXPECT_FALSE(engine.isEngineRunning());
    EXPECT_NEAR(engine.currentSampleTime(), heard, 1.0) << "the place is kept for the next play";
}

// The offline output keeps a device's contract: it opens only at a real rate, and starts only while open.
TEST(VirtualOutput, StartsOnlyWhileOpenAndNeverAtARateOfZero)
{
    VirtualOutput output(512, 0);
    EXPECT_FALSE(output.open(0.0, 2));
    EXPECT_FALSE(output.start());
    ASSERT_TRUE(output.open(44100.0, 1)) << "mono";
    EXPECT_TRUE(output.start());
    output.close();
    EXPECT_FALSE(output.start()) << "closed";
}
